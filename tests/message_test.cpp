// The vendor's message, fetched from a web server on the loopback interface, and the small windows.
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

#include "engine/gravlin.h"
#include "platform/native.h"
#include "support/store_fixture.h"
#include "ui/message_window.h"
#include "ui/small_windows.h"

namespace gravlin::testing {
namespace {

// Answers each request with the bytes that stand for its path.
class WebServer {
 public:
  WebServer() {
    server_.listen(QHostAddress::LocalHost);
    QObject::connect(&server_, &QTcpServer::newConnection, [this] {
      QTcpSocket* visitor = server_.nextPendingConnection();
      QObject::connect(visitor, &QTcpSocket::readyRead, [this, visitor] {
        const QByteArray request = visitor->readAll();
        const std::string path = request.split(' ').value(1).toStdString();
        ++requests;
        const auto page = pages.find(path);
        visitor->write(page == pages.end() ? "" : QByteArray::fromStdString(page->second));
        visitor->disconnectFromHost();
      });
    });
  }
  std::string Address(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(server_.serverPort()) + path;
  }
  static std::string Page(const std::string& body, const std::string& status = "200 OK") {
    return "HTTP/1.1 " + status + "\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\n\r\n" + body;
  }

  std::map<std::string, std::string> pages;
  int requests = 0;

 private:
  QTcpServer server_;
};

class MessageTest : public StoreTest {
 protected:
  WebServer web;
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
  web.pages["/message"] = WebServer::Page(kMessage);
  Code::MessageFileURL = web.Address("/message");
  CheckForMessage();
  auto& window = Window::Shared<GetMessage>();
  EXPECT_TRUE(TestClock::PumpUntil([&] { return window.Visible(); }));
  EXPECT_EQ(window.efMessage.Text(), "First line.\rSecond line.");
  window.Close();
  CheckForMessage();
  EXPECT_TRUE(TestClock::PumpUntil([] { return !Window::IfOpen<GetMessage>(); }));
  FetchMessage(true);
  EXPECT_TRUE(TestClock::PumpUntil([] { return Window::Shared<GetMessage>().Visible(); }));
}

TEST_F(MessageTest, AFetchGivesThePageOrNothing) {
  web.pages["/good"] = WebServer::Page("good");
  web.pages["/missing"] = WebServer::Page("not here", "404 Not Found");
  web.pages["/moved"] = "HTTP/1.1 302 Found\r\nLocation: /good\r\nContent-Length: 0\r\n\r\n";
  web.pages["/circle"] = "HTTP/1.1 302 Found\r\nLocation: /circle\r\nContent-Length: 0\r\n\r\n";
  web.pages["/cut"] = "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nno more";
  web.pages["/huge"] = WebServer::Page(std::string(2 << 20, 'x'));
  const std::string file = "file://" + folder.Write("secret", "secret").NativePath();
  const std::pair<std::string, std::string> cases[] = {
      {web.Address("/good"), "200 good"},  {web.Address("/missing"), "404 not here"},
      {web.Address("/moved"), "200 good"}, {web.Address("/circle"), ""},
      {web.Address("/cut"), ""},           {web.Address("/huge"), ""},
      {web.Address("/empty"), ""},         {file, ""},
  };
  for (const auto& [address, expected] : cases) {
    HTTPSocket socket;
    std::string got;
    socket.PageReceived = [&](std::string_view, int status, std::string_view,
                              const std::string& content) { got = Str(status) + " " + content; };
    const int before = web.requests;
    socket.Get(address);
    if (address != file) TestClock::PumpUntil([&] { return web.requests > before; });
    TestClock::PumpUntil([&, turns = 0]() mutable { return !got.empty() || ++turns > 100; });
    EXPECT_EQ(got, expected) << address;
  }
}

TEST_F(MessageTest, TheSmallWindowsOpenTheirPages) {
  Code::ServerErrorPage = "https://www.ardentis.example/usenet/support/problems?source=Gravlin";
  auto& about = Window::New<About>();
  EXPECT_EQ(about.Title(), "About Gravlin");
  EXPECT_EQ(about.Width(), 437);
  EXPECT_EQ(InStr(about.stVersion.Text(), "Version: "), 1);
  QTest::mouseClick(about.stHomePage.Native().widget, Qt::LeftButton);
  EXPECT_EQ(Asked().urls.back(), "https://www.ardentis.example/usenet/nzb/gravlin");

  ShowServerConnectionError("first");
  ShowServerConnectionError("second");
  auto& error = Window::Shared<ServerConnectionError>();
  EXPECT_EQ(Window::All().size(), 2U);
  EXPECT_EQ(error.efErrorText.Text(), "second");
  EXPECT_TRUE(Code::ServerConnectionErrorOpen);
  EXPECT_EQ(error.StaticText2.Text(), "https://www.ardentis.example/usenet/support/problems");
  QTest::mouseClick(error.StaticText2.Native().widget, Qt::LeftButton);
  EXPECT_EQ(Asked().urls.back(), Code::ServerErrorPage);
  error.Close();
  EXPECT_FALSE(Code::ServerConnectionErrorOpen);
}

}  // namespace
}  // namespace gravlin::testing
