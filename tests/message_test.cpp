// The vendor's message, fetched from a web server on the loopback interface, and the window of a
// connection error.
#include "loopback/news_server.h"
#include "support/store_fixture.h"
#include "ui/gravlin.h"
#include "ui/message_window.h"
#include "ui/small_windows.h"

namespace gravlin::testing {
namespace {

using loopback::NewsServer, loopback::Reply, loopback::Silence;

// A page as a web server sends it.
std::string Page(const std::string& body, const std::string& status = "200 OK") {
  return "HTTP/1.1 " + status + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" +
         body;
}

class MessageTest : public StoreTest {
 protected:
  MessageTest() { server.On("", Silence()); }  // to the greeting, and to the lines of a header
  void Serve(const std::string& path, const std::string& bytes,
             Reply::Then then = Reply::Then::kGoOn) {
    server.On("GET " + path + " ", [=](const Reply&) {
      Reply reply;
      reply.bytes = bytes;
      reply.then = then;
      return reply;
    });
  }
  std::string Address(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(server.Port()) + path;
  }
  NewsServer server;
};

constexpr char kMessage[] = "6\nhttps://www.ardentis.example/news\nFirst line.\nSecond line.";

TEST_F(MessageTest, OnlyWhatIsNewOrAskedForIsShown) {
  const struct {
    const char* what;
    int seen;
    bool asked, first_run, shown;
    const char* stored;
  } cases[] = {{"the same again", 6, false, false, false, "6"},
               {"a new one", 5, false, false, true, "6"},
               {"an older one, asked for", 7, true, false, true, "6"},
               {"a new one at the first run", 5, false, true, false, "6"},
               {"asked for at the first run", 5, true, true, true, "6"}};
  for (const auto& [what, seen, asked, first_run, shown, stored] : cases) {
    SCOPED_TRACE(what);
    Code::ArdentisMessageID = seen;
    Code::FirstRun = first_run;
    Store("Update Settings Set LastMessageID=" + Str(seen));
    auto& window = Window::New<GetMessage>();
    window.GetMsgAgain = asked;
    EXPECT_FALSE(window.Visible() || window.pbGo.Enabled());
    window.Web_PageReceived(kMessage);
    EXPECT_EQ(window.Visible(), shown);
    Save();
    EXPECT_EQ(Stored("Settings", "LastMessageID"), stored);
    if (shown) {
      EXPECT_EQ(window.efMessage.Text(), "First line.\rSecond line.");
      EXPECT_TRUE(window.pbGo.HasFocus());
      window.pbGo.Push();
      EXPECT_EQ(Asked().urls.back(), "https://www.ardentis.example/news");
    }
    window.Close();
  }
}

TEST_F(MessageTest, AFileThatIsNoMessageIsTakenAsItCame) {
  auto& window = Window::New<GetMessage>();
  window.GetMsgAgain = true;
  window.Web_PageReceived("<html>\r\nhttps://x.example/\r\nText");
  // Each CR LF counts as two ends, so that the address is empty.
  EXPECT_EQ(window.URL, "");
  EXPECT_EQ(window.efMessage.Text(), "ml>\r\rhttps://x.example/\r\rText");
  EXPECT_EQ(Code::ArdentisMessageID, 0);
  EXPECT_TRUE(window.pbGo.Enabled());
}

TEST_F(MessageTest, TheAutomaticCheckFetchesOverTheWebAndClosesWhenNothingIsNew) {
  Serve("/message", Page(kMessage));
  Code::MessageFileURL = Address("/message");
  CheckForMessage();
  auto& window = Window::Shared<GetMessage>();
  EXPECT_TRUE(TestClock::PumpUntil([&] { return window.Visible(); }));
  EXPECT_EQ(window.efMessage.Text(), "First line.\rSecond line.");
  window.Close();
  CheckForMessage();
  EXPECT_TRUE(TestClock::PumpUntil([] { return !Window::IfOpen<GetMessage>(); }));
}

TEST_F(MessageTest, AFetchGivesThePageOrNothing) {
  Serve("/good", Page("good"));
  Serve("/missing", Page("not here", "404 Not Found"));
  Serve("/moved", Page("", "302 Found\r\nLocation: /good"));
  Serve("/circle", Page("", "302 Found\r\nLocation: /circle"));
  Serve("/cut", Page(std::string(100, 'x')).substr(0, 60), Reply::Then::kClose);
  Serve("/huge", Page(std::string(2 << 20, 'x')));
  Serve("/empty", "", Reply::Then::kClose);
  const std::string file = "file://" + folder.Write("secret", "secret").NativePath();
  const std::pair<std::string, std::string> cases[] = {
      {Address("/good"), "200 good"},  {Address("/missing"), "404 not here"},
      {Address("/moved"), "200 good"}, {Address("/circle"), ""},
      {Address("/cut"), ""},           {Address("/huge"), ""},
      {Address("/empty"), ""},         {file, ""},
  };
  for (const auto& [address, expected] : cases) {
    HTTPSocket socket;
    std::string got;
    socket.PageReceived = [&](std::string_view, int status, std::string_view,
                              const std::string& content) { got = Str(status) + " " + content; };
    const std::size_t before = server.Requests().size();
    socket.Get(address);
    if (address != file) TestClock::PumpUntil([&] { return server.Requests().size() > before; });
    TestClock::PumpUntil([&, turns = 0]() mutable { return !got.empty() || ++turns > 100; });
    EXPECT_EQ(got, expected) << address;
  }
}

TEST_F(MessageTest, TheWindowOfAConnectionErrorIsShared) {
  ShowServerConnectionError("first");
  ShowServerConnectionError("second");
  auto& error = Window::Shared<ServerConnectionError>();
  EXPECT_EQ(Window::All().size(), 1U);
  EXPECT_EQ(error.efErrorText.Text(), "second");
  EXPECT_TRUE(Code::ServerConnectionErrorOpen);
  error.Close();
  EXPECT_FALSE(Code::ServerConnectionErrorOpen);
}

}  // namespace
}  // namespace gravlin::testing
