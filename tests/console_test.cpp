// The quick test of the wizard and the console, against a real news server.
#include <gtest/gtest.h>

#include "loopback/news_server.h"
#include "support/store_fixture.h"
#include "ui/console.h"
#include "ui/gravlin.h"

namespace gravlin::testing {
namespace {

using loopback::Answer, loopback::NewsServer;
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

}  // namespace
}  // namespace gravlin::testing
