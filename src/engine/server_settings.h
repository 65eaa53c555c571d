// The news server as the user describes it, and the choices of the SSL menu: what each is called in
// the store, in the socket and in messages.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace gravlin {

class RecordSet;
class SSLSocket;

constexpr std::int32_t kPlainTcp = 999;  // the code of a socket without SSL

struct ServerSettings {
  std::string URL, Username, Password;
  std::int32_t Port = 0;
  std::int32_t SSL = kPlainTcp;  // the socket's connection type
};

// The current row of Servers.
ServerSettings ServerInRow(const RecordSet& row);
// The next connection of the socket goes to that server.
void SetServer(SSLSocket& socket, const std::string& url, std::int32_t port, std::int32_t ssl);

// The entries of the menu, in their order.
std::vector<std::string_view> SSLMenu();
// What Servers.SSL holds for an entry of the menu; "off" for what is none.
std::string_view SSLColumn(int menu_index);
// The other way round; the first entry for what is none.
int SSLMenuIndex(std::string_view column);

namespace Code {
// The socket's connection type; kPlainTcp for a text that is none of the five.
std::int32_t SSLStringToCode(std::string_view text);
std::string SSLCodeToString(std::int32_t code);
}  // namespace Code

}  // namespace gravlin
