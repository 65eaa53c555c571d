// Guards the tests of broken replies: the server breaks them as it was told.
#include "support/news_server.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace gravlin::testing {
namespace {

TEST(NewsServer, DotsAreStuffedAndFaultsComeWhenAsked) {
  NewsServer server;
  server.Add("a", ".one\r\n..two\r\nthree.\r\n");
  const std::string whole = "220 0 <a> article\r\n..one\r\n...two\r\nthree.\r\n.\r\n";
  server.On("ARTICLE <a>", CutAfter(30), 1);
  server.On("ARTICLE <a>", SplitAt({1, 20}), 1);
  server.On("article", Answer("430 gone"), 1);

  const int client = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(server.Port()));
  ASSERT_EQ(connect(client, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  const auto ask = [client] { send(client, "ARTICLE <a>\r\n", 13, MSG_NOSIGNAL); };
  // Reads until the text ends so, or until the server closes.
  const auto hear = [client](std::string_view end) {
    std::string heard;
    char byte;
    while (!heard.ends_with(end) && recv(client, &byte, 1, 0) == 1) heard += byte;
    return heard;
  };
  hear("\r\n");
  ask();
  EXPECT_EQ(hear("\r\n"), "430 gone\r\n");
  ask();
  EXPECT_EQ(hear("2"), "2");
  EXPECT_TRUE(server.WaitFor([&] { return server.Held() == 1; }));
  char byte;
  EXPECT_EQ(recv(client, &byte, 1, MSG_DONTWAIT), -1) << "a held piece went out";
  server.Release(2);
  EXPECT_EQ("2" + hear("\r\n.\r\n"), whole);
  ask();
  EXPECT_EQ(hear("never"), whole.substr(0, 30));
  close(client);
}

}  // namespace
}  // namespace gravlin::testing
