// The choices of the SSL menu, and what stands for each in the store, in the socket and in
// messages.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace gravlin {

constexpr std::int32_t kPlainTcp = 999;  // the code of a socket without SSL

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
