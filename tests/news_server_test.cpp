// Guards the other tests: the server says what it should, and the posted articles decode to the
// bytes they stand for.
#include "support/news_server.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "support/posted_set.h"
#include "support/temp_folder.h"

namespace gravlin::testing {
namespace {

// A blocking client of a few lines.
class Client {
 public:
  explicit Client(const NewsServer& server) : descriptor_(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(server.Port()));
    EXPECT_EQ(connect(descriptor_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  }
  ~Client() { close(descriptor_); }

  void Say(std::string line) {
    line += "\r\n";
    EXPECT_EQ(send(descriptor_, line.data(), line.size(), MSG_NOSIGNAL), ssize_t(line.size()));
  }
  // Reads until the text ends so, or until the server closes.
  std::string Hear(std::string_view end = "\r\n") {
    std::string heard;
    char byte;
    while (!heard.ends_with(end) && recv(descriptor_, &byte, 1, 0) == 1) heard += byte;
    return heard;
  }
  int Descriptor() const { return descriptor_; }

 private:
  int descriptor_;
};

TEST(NewsServer, ALogOnIsAskedAndChecked) {
  NewsServer server({.user = "me", .password = "secret"});
  Client client(server);
  const char* const talk[][2] = {{nullptr, "200 "},
                                 {"GROUP a.b", "480 "},
                                 {"authinfo user me", "381 "},
                                 {"AUTHINFO PASS x", "481 "},
                                 {"AUTHINFO PASS secret", "281 "},
                                 {"GROUP a.b", "211 "},
                                 {"ARTICLE <none>", "430 "},
                                 {"CAPABILITIES", "500 "},
                                 {"Quit", "205 "}};
  for (const auto& [say, hear] : talk) {
    if (say) client.Say(say);
    EXPECT_EQ(client.Hear().substr(0, 4), hear) << (say ? say : "greeting");
  }
  EXPECT_EQ(client.Hear(), "");
  EXPECT_EQ(server.Requests().size(), 8u);
  EXPECT_EQ(server.ArticleCount("none"), 1);
}

TEST(NewsServer, DotsAreStuffedAndFaultsComeWhenAsked) {
  NewsServer server;
  server.Add("a", ".one\r\n..two\r\nthree.\r\n");
  const std::string whole = "220 0 <a> article\r\n..one\r\n...two\r\nthree.\r\n.\r\n";
  server.On("ARTICLE <a>", CutAfter(30), 1);
  server.On("ARTICLE <a>", SplitAt({1, 20}), 1);
  server.On("article", Answer("430 gone"), 1);
  Client client(server);
  client.Hear();
  client.Say("ARTICLE <a>");
  EXPECT_EQ(client.Hear(), "430 gone\r\n");
  client.Say("ARTICLE <a>");
  EXPECT_EQ(client.Hear("2"), "2");
  EXPECT_TRUE(server.WaitFor([&] { return server.Held() == 1; }));
  char byte;
  EXPECT_EQ(recv(client.Descriptor(), &byte, 1, MSG_DONTWAIT), -1) << "a held piece went out";
  server.Release(2);
  EXPECT_EQ("2" + client.Hear("\r\n.\r\n"), whole);
  client.Say("ARTICLE <a>");
  EXPECT_EQ(client.Hear("never"), whole.substr(0, 30));
}

// Decodes as a textbook has it, so that a fault of ours is not mended by another fault of ours.
std::string Unyenc(const std::string& article) {
  std::string out;
  std::size_t at =
      article.find("\r\n", article.find(article.find("=ypart") == std::string::npos ? "=ybegin"
                                                                                    : "=ypart")) +
      2;
  for (const std::size_t end = article.find("=yend"); at < end; ++at) {
    if (article[at] == '\r' || article[at] == '\n') continue;
    const bool escaped = article[at] == '=';
    if (escaped) ++at;
    out += static_cast<char>(article[at] - 42 - (escaped ? 64 : 0));
  }
  return out;
}

TEST(PostedSet, PartsJoinToTheOriginal) {
  EXPECT_EQ(Crc32("123456789"), 0xcbf43926u);
  EXPECT_EQ(UuLines("Cat"), "#0V%T\r\n");
  EXPECT_EQ(Base64Lines("Cats"), "Q2F0cw==\r\n");
  PostedSet set;
  const PostedFile& file = set.Add("a.mkv", 100'001, 30'000);
  std::string joined;
  for (const auto& id : file.ids) joined += Unyenc(*set.Article(id));
  EXPECT_EQ(file.ids.size(), 4u);
  EXPECT_EQ(joined, file.read(0, file.size));
  EXPECT_NE(file.Sha256(), set.Add("b.mkv", 100'001, 30'000).Sha256());
}

TEST(NewsServer, TlsClientsCanVerifyItUnlessItsCertificateIsBad) {
  struct Case {
    Identity identity;
    bool accepted;
  };
  for (const auto& [identity, accepted] : {Case{Identity::kGood, true},
                                           {Identity::kExpired, false},
                                           {Identity::kWrongHost, false},
                                           {Identity::kUnknownIssuer, false}}) {
    NewsServer server({.tls = true, .identity = identity});
    const TempFolder folder;
    server.WriteAuthority(folder / "ca.pem");
    Client client(server);
    const std::unique_ptr<SSL_CTX, void (*)(SSL_CTX*)> context(SSL_CTX_new(TLS_client_method()),
                                                               SSL_CTX_free);
    SSL_CTX_load_verify_file(context.get(), (folder / "ca.pem").c_str());
    SSL_CTX_set_verify(context.get(), SSL_VERIFY_PEER, nullptr);
    const std::unique_ptr<SSL, void (*)(SSL*)> tls(SSL_new(context.get()), SSL_free);
    SSL_set1_host(tls.get(), "localhost");
    SSL_set_fd(tls.get(), client.Descriptor());
    EXPECT_EQ(SSL_connect(tls.get()) == 1, accepted) << "identity " << static_cast<int>(identity);
  }
}

}  // namespace
}  // namespace gravlin::testing
