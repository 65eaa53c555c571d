// The quick test, the console, the vendor's message and the window of a connection error, against a
// server on the loopback interface.
#include <gtest/gtest.h>

#include "loopback/news_server.h"
#include "support/store_fixture.h"
#include "ui/console.h"
#include "ui/gravlin.h"
#include "ui/message_window.h"
#include "ui/small_windows.h"

namespace gravlin::testing {
namespace {

using loopback::Answer, loopback::NewsServer, loopback::Reply, loopback::Silence;
constexpr int kReturn = 13;

class ServerTest : public StoreTest {
 protected:
  void UseServer(int port, const std::string& user, const std::string& password,
                 const std::string& ssl = "off") {
    Store("Update Servers Set URL='127.0.0.1', Port='" + Str(port) + "', Username='" + user +
          "', Password='" + password + "', SSL='" + ssl + "'");
  }
  static bool Comes(const TextArea& view, const std::string& text) {
    return TestClock::PumpUntil([&] { return InStr(view.Text(), text) > 0; });
  }
};

TEST_F(ServerTest, TheQuickTestTellsHowTheLogOnWent) {
  const struct {
    const char *user, *password, *refused, *outcome;  // `refused`: a command
  } cases[] = {{"", "", "", "Connected to server."},
               {"me", "right", "", "Connected to server."},
               {"me", "wrong", "", "Invalid Username or Password"},
               {"me", "right", "AUTHINFO USER", "Invalid Username"}};
  auto& window = Window::New<Gravlin>();
  for (const auto& [user, password, refused, outcome] : cases) {
    NewsServer server({.user = user, .password = "right"});
    if (*refused) server.On(refused, Answer("482 refused"));
    UseServer(server.Port(), user, password);
    window.pbTest.Push();
    EXPECT_EQ(window.stTest.Text(),
              "Connecting to 127.0.0.1 on port " + Str(server.Port()) + " without SSL...");
    EXPECT_TRUE(TestClock::PumpUntil([&] { return window.stTest.Text() == outcome; }))
        << outcome << ", not " << window.stTest.Text();
    EXPECT_TRUE(window.State().empty());
  }
}

TEST_F(ServerTest, TheQuickTestWarnsOfAnOddPortAndTriesAllTheSame) {
  auto& window = Window::New<Gravlin>();
  const struct {
    int port;
    const char *ssl, *turned, *with;
  } cases[] = {{563, "off", "on", "without SSL"}, {119, "v2 or 3", "off", "with SSL v2 or v3"}};
  for (const auto& [port, ssl, turned, with] : cases) {
    UseServer(port, "", "", ssl);
    window.pbTest.Push();
    EXPECT_EQ(LastBox(), "Port " + Str(port) + " usually requires that SSL be turned " + turned +
                             ". Check with your provider.");
    EXPECT_EQ(window.stTest.Text(),
              "Connecting to 127.0.0.1 on port " + Str(port) + " " + with + "...");
  }
  Store("Update Servers Set URL=''");
  window.pbTest.Push();
  EXPECT_EQ(LastBox(), "Please set up your news server.");
}

TEST_F(ServerTest, TheConsoleLogsOnSendsWhatIsTypedAndSignsOff) {
  NewsServer server({.user = "me", .password = "right"});
  UseServer(server.Port(), "me", "right");
  auto& console = Window::New<TestServer>();
  console.pbConnect.Push();
  ASSERT_TRUE(TestClock::PumpUntil([&] { return console.pbSend.Enabled(); }));
  EXPECT_TRUE(InStr(console.efResponse.Text(), "-->Sending password...\r281"));
  console.efCommand.SetText("HELP ME");
  EXPECT_FALSE(console.efCommand.KeyDown(kReturn));
  EXPECT_TRUE(Comes(console.efResponse, "-->Sending command HELP ME...\r500"));
  EXPECT_TRUE(TestClock::PumpUntil([&] { return console.efCommand.SelLength() == 7; }));
  console.pbDisconnect.Push();
  EXPECT_TRUE(TestClock::PumpUntil([&] { return console.pbConnect.Enabled(); }));
  EXPECT_FALSE(console.efCommand.Enabled());
  EXPECT_TRUE(InStr(console.efResponse.Text(), "-->Signing off...\r205"));
}

// Its opening blocks no one; during an import the typed values wait outside the store.
TEST_F(ServerTest, TheConsoleWaitsForTheStoreAndTakesWhatWasTyped) {
  auto& window = Window::New<Gravlin>();
  Save();
  Code::DBFree = false;
  window.efURL.SetText("typed.example\r\n");
  clock.Advance(10);
  const FolderItem there = std::exchange(Code::fGlobalDB, folder.Item("locked.rsd"));
  auto& console = Window::New<TestServer>();
  clock.Advance(1000);
  EXPECT_FALSE(console.pbConnect.Enabled());
  Code::fGlobalDB = there;
  console.db->SetDatabaseFile(there);
  clock.Advance(100);
  EXPECT_TRUE(console.pbConnect.Enabled());
  EXPECT_EQ(console.stServer.Text(), "typed.example") << "without the line end of what was pasted";
  Code::DBFree = true;
}

TEST_F(ServerTest, TheConsoleKeepsAboutTenThousandCharacters) {
  auto& console = Window::New<TestServer>();
  const std::string filled(9'980, 'a'), long_reply(20'000, 'd');
  console.efResponse.SetText("0123456789" + filled);
  console.WriteResponse("bbbb");
  console.WriteResponse("cccccccccc");
  EXPECT_EQ(console.efResponse.Text(), filled + "bbbb\rcccccccccc\r");
  console.WriteResponse(long_reply);
  EXPECT_EQ(console.efResponse.Text(), long_reply + "\r");
}

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
