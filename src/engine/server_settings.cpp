// The server in its row and in a socket, and the table of the SSL choices.
#include "engine/server_settings.h"

#include <algorithm>
#include <array>

#include "platform/ssl_socket.h"
#include "platform/text.h"
#include "store/database.h"

namespace gravlin {
namespace {

struct SSLChoice {
  std::string_view menu;
  std::string_view column;  // of Servers.SSL
  std::int32_t code;        // the socket's connection type
  std::string_view words;   // in messages
};

constexpr std::array<SSLChoice, 5> kSSLChoices = {{{"Off", "off", kPlainTcp, "without SSL"},
                                                   {"v3", "v3", 2, "with SSL v3"},
                                                   {"v2 or 3", "v2 or 3", 1, "with SSL v2 or v3"},
                                                   {"v2", "v2", 0, "with SSL v2"},
                                                   {"v1", "v1", 3, "with SSL v1"}}};

}  // namespace

ServerSettings ServerInRow(const RecordSet& row) {
  return {.URL = row.Field("URL").StringValue(),
          .Username = row.Field("Username").StringValue(),
          .Password = row.Field("Password").StringValue(),
          .Port = row.Field("Port").IntegerValue(),
          .SSL = Code::SSLStringToCode(row.Field("SSL").StringValue())};
}

void SetServer(SSLSocket& socket, const std::string& url, std::int32_t port, std::int32_t ssl) {
  socket.SetAddress(url);
  socket.SetPort(port);
  socket.SetSecure(ssl != kPlainTcp);
  if (ssl != kPlainTcp) socket.SetConnectionType(ssl);
}

std::vector<std::string_view> SSLMenu() {
  std::vector<std::string_view> entries;
  for (const SSLChoice& choice : kSSLChoices) entries.push_back(choice.menu);
  return entries;
}

std::string_view SSLColumn(int menu_index) {
  const bool known = menu_index >= 0 && menu_index < static_cast<int>(kSSLChoices.size());
  return kSSLChoices[known ? static_cast<std::size_t>(menu_index) : 0].column;
}

int SSLMenuIndex(std::string_view column) {
  for (std::size_t i = 0; i < kSSLChoices.size(); ++i)
    if (SameText(kSSLChoices[i].column, column)) return static_cast<int>(i);
  return 0;
}

std::int32_t Code::SSLStringToCode(std::string_view text) {
  for (const SSLChoice& choice : kSSLChoices)
    if (SameText(choice.column, text)) return choice.code;
  return kPlainTcp;
}

std::string Code::SSLCodeToString(std::int32_t code) {
  for (const SSLChoice& choice : kSSLChoices)
    if (choice.code == code) return std::string(choice.words);
  return "without SSL";
}

}  // namespace gravlin
