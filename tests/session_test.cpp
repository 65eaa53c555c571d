// The exchange with the news server, through the socket, and the watchdog of its silence.
#include <gtest/gtest.h>

#include <atomic>

#include "engine/usenet.h"
#include "platform/text.h"
#include "support/engine_fixture.h"

namespace gravlin::testing {
namespace {

TEST(EndOfResponse, WorksOnTheLastDot) {
  const std::pair<const char*, bool> cases[] = {
      {"t\r\n.\r\n", true}, {"\n.\r\n", true}, {"\n.\n", true},     {"\r\n.\r", true},
      {".\r\n", true},      {".\n", true},     {"..\r\n", false},   {"\n..\r\n", false},
      {".\r\n\r", false},   {"a.\r\n", false}, {"\n.a\n", false},   {"\n.", false},
      {"", false},          {"\r\n", false},   {"\n.\r\n\n", false}};
  for (const auto& [tail, whole] : cases) {
    const std::string_view all = tail;
    EXPECT_EQ(Usenet::EndOfResponse(all.substr(all.size() - std::min<std::size_t>(5, all.size()))),
              whole)
        << ::testing::PrintToString(tail);
  }
}

using SessionTest = EngineTest;

// A reply is handled as soon as its code has arrived; the rest of the line must not be taken for
// the next reply, even if it begins with a "4".
TEST_F(SessionTest, TheRestOfALineIsNoReply) {
  Post({"a.rar", "b.avi"});
  server->On("GROUP", [](Reply reply) {
    reply.bytes = "211 4 430 4 misc\r\n";
    reply.borders = {3, 4, 6};
    reply.held = true;
    return reply;
  });
  server->On("ARTICLE", [](Reply reply) {
    reply.borders = {reply.bytes.size() - 1};  // the article is complete at its last CR
    reply.held = true;
    return reply;
  });
  Start();
  int held = 0;
  ASSERT_TRUE(clock.RunUntil([&] {
    held += server->Held();
    server->Release();
    return engine->State() == "logged off";
  }));
  EXPECT_GE(held, 2 * 3 + 6) << "a piece was not sent by itself";
  EXPECT_EQ(engine->TotalErrors, 0);
  ExpectAllFiles();
}

TEST_F(SessionTest, ARefusedLogOnIsShownAndTheSessionStays) {
  const struct {
    const char* request;
    const char* answer;
    const char* state;
  } cases[] = {{"AUTHINFO USER", "482 no such user", "sent username"},
               {"AUTHINFO USER", "281 come in", "sent username"},
               {"AUTHINFO PASS", "481 wrong password", "sent password"}};
  Post({"a.rar", "b.avi"}, 3, WithLogOn());
  for (const auto& c : cases) {
    SCOPED_TRACE(c.answer);
    server->ClearRules();
    server->On(c.request, Answer(c.answer));
    Start();
    ASSERT_TRUE(clock.RunUntil([&] { return InStr(view.status, c.answer) > 0; }));
    EXPECT_EQ(engine->State(), c.state);
    engine->Stop();
  }
  server->ClearRules();
  server->On(NewsServer::kGreeting, Answer("502 closed"));
  Start();
  ASSERT_TRUE(clock.RunUntil([&] { return InStr(view.status, "502 closed") > 0; }));
  EXPECT_EQ(engine->State(), "connect");
}

TEST_F(SessionTest, ARefusedArticleIsCountedAndNotAskedAgain) {
  Post({"a.rar", "b.avi"});
  const std::string id = posted.Files()[0].ids[1];
  server->On("ARTICLE <" + id, Answer("423 no such number"));
  server->On("QUIT", Silence());
  Start();
  ASSERT_TRUE(RunToState("sent quit"));
  EXPECT_EQ(view.status, "All done, but with errors on 1 posts.");
  engine->Stop();
  EXPECT_EQ(Cell(0, ListColumn::kErrors), "1");
  EXPECT_EQ(Cell(0, ListColumn::kMessage),
            "Last error: 423 - post probably expired or removed from server.");
  EXPECT_EQ(Cell(0, ListColumn::kDone) + Cell(1, ListColumn::kDone), "NoYes");
  EXPECT_FALSE(std::filesystem::exists(Downloads() / "a.rar"));
  // The next Start requests only the refused article.
  server->ClearRules();
  DownloadAll();
  EXPECT_EQ(server->ArticleCount(id), 2);
  EXPECT_EQ(server->ArticleCount(posted.Files()[0].ids[0]), 1);
}

TEST_F(SessionTest, AServerThatCannotBeReachedIsNamedWithTheReason) {
  Post({"a.rar"});
  for (const auto& [host, why] : {std::pair("no such host", "Host not found"),
                                  {"127.0.0.1", "There is no port 0"},
                                  {" localhost\t", nullptr}}) {
    FillForm({.URL = host, .Port = why && host[0] == '1' ? 0 : server->Port()});
    Start();
    if (!why) break;
    const std::string text = std::string("Could not connect to ") + host + ": " + why;
    ASSERT_TRUE(clock.RunUntil([&] { return view.status == text; }, 10'000)) << text;
    engine->Stop();
  }
  ASSERT_TRUE(RunToEnd());
  ExpectAllFiles();
}

TEST_F(SessionTest, PortsThatDoNotFitGetAdvice) {
  Post({"a.rar"});
  std::string advice;
  for (const auto& [port, ssl] : {std::pair(563, 999), {119, 2}, {119, 999}}) {
    Asked().Clear();
    FillForm({.URL = "127.0.0.1", .Port = port, .SSL = ssl});
    Start();
    ASSERT_TRUE(clock.RunUntil([&] { return view.status.starts_with("Could not"); }, 10'000));
    for (const auto& box : Asked().boxes) advice += box.text.substr(18, 49) + "|";
    engine->Stop();
  }
  EXPECT_EQ(advice,
            "Port 563 usually requires that SSL be turned on. |"
            "Port 119 usually requires that SSL be turned off.|");
}

// Each is reported in the status line and in the log, and nothing of the log-on is sent before.
TEST_F(SessionTest, ACertificateThatCannotBeTrustedIsToldAndKeepsThePasswordAtHome) {
  const struct {
    Identity identity;
    const char* reason;  // nullptr: trusted
    bool tls = true;
  } cases[] = {
      {Identity::kExpired, "The certificate has expired"},
      {Identity::kWrongHost, "The host name did not match any of the valid hosts"},
      {Identity::kSelfSigned, "The certificate is self-signed, and untrusted"},
      {Identity::kUnknownIssuer, "The issuer certificate of a locally looked up certificate"},
      {Identity::kGood, "Error during SSL handshake", false},  // it does not use TLS at all
      {Identity::kGood, nullptr}};
  for (const char* name : {"a.rar", "b.avi"}) posted.Add(name, 3000, 2000);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.reason ? c.reason : "good");
    NewsServer::Options options = WithLogOn();
    options.tls = c.tls;
    options.identity = c.identity;
    Serve(options);
    if (c.tls) server->WriteAuthority(data / "ca.pem");
    ASSERT_TRUE(SSLSocket::TrustCertificates(data.Item("ca.pem")));
    FillForm({.URL = "localhost",
              .Username = options.user,
              .Password = options.password,
              .Port = server->Port(),
              .SSL = 2});
    Import();
    Code::DebugOn = true;
    Start();
    if (!c.reason) {
      ASSERT_TRUE(RunToEnd());
      ExpectAllFiles();
      break;
    }
    const std::string told = std::string("No secure connection to localhost: ") + c.reason;
    ASSERT_TRUE(clock.RunUntil([&] { return view.status.starts_with(told); }, 10'000))
        << view.status;
    EXPECT_NE(ReadFile(data / "Gravlin/Gravlin_Debug..txt").find(c.reason), std::string::npos);
    // A server without TLS takes the handshake's greeting for a request.
    for (const std::string& request : server->Requests()) {
      EXPECT_FALSE(c.tls) << request;
      EXPECT_EQ(request.find("AUTHINFO"), std::string::npos) << request;
    }
    engine->Stop();
  }
}

// Beyond the limit the reply and the connection are dropped, the article is an error of the run,
// and the run continues with the next one.
TEST_F(SessionTest, AReplyWithoutAnEndIsGivenUp) {
  Post({"a.rar", "b.avi"});
  const std::string id = posted.Files()[0].ids[1];
  server->On("ARTICLE <" + id, [](Reply reply) {
    reply.bytes = "220 0 article\r\n" + std::string(SSLSocket::kReceiveLimit + 1000, 'x');
    reply.then = Reply::Then::kStall;
    return reply;
  });
  Start();
  ASSERT_TRUE(clock.RunUntil([&] { return engine->TotalErrors == 1; }, 50'000));
  EXPECT_LT(engine->News.Lookahead().size(), 10'000u);
  ASSERT_TRUE(RunToEnd());
  EXPECT_EQ(server->Connections(), 2);
  EXPECT_EQ(server->ArticleCount(id), 1);
  EXPECT_EQ(Cell(0, ListColumn::kMessage),
            "Last error: Reply thrown away: more than 64 MiB came without an end.");
  EXPECT_EQ(Cell(1, ListColumn::kDone), "Yes");
  // The next Start requests it again.
  server->ClearRules();
  DownloadAll();
}

// Each command after it would be answered by the reply to the one before.
TEST_F(SessionTest, ARefusalThatComesTwiceGivesNoPartTheTextOfAnother) {
  Post({"a.rar"});
  const auto held_after = [](std::size_t border, std::string refusal) {
    return [border, refusal](Reply reply) {
      if (!refusal.empty()) reply.bytes = refusal;
      reply.borders = {border};
      reply.held = true;
      return reply;
    };
  };
  const std::string line = "430 no such article\r\n";
  const std::vector<std::string>& ids = posted.Files()[0].ids;
  server->On("ARTICLE <" + ids[0], held_after(line.size(), line + line), 1);
  server->On("ARTICLE <" + ids[1], held_after(1, ""), 1);
  Start();
  for (const int part : {2, 3}) {
    ASSERT_TRUE(clock.RunUntil([&] { return server->Held() == 1 && engine->PartNo == part; }));
    server->Release();
  }
  ASSERT_TRUE(RunToEnd());
  EXPECT_EQ(server->Connections(), 2);
  ExpectAllFiles();
}

// The driver timer on a set clock: silence, reconnecting, the displays.
class WatchdogTest : public EngineTest {
 protected:
  // Stops in "receiving article", with `count` bytes of the second part received.
  void StallInTheSecondPart(std::size_t count) {
    posted.Add("film.avi", 30000, 10000);
    Serve();
    Import();
    server->On("ARTICLE <" + posted.Files()[0].ids[1], StallAfter(count), 1);
    Start();
    ASSERT_TRUE(TestClock::PumpUntil([&] {
      return engine->State() == "receiving article" && engine->News.Lookahead().size() == count &&
             engine->PartNo == 2;
    }));
  }
};

TEST_F(WatchdogTest, SilenceIsCountedDownAndEndsInANewSession) {
  StallInTheSecondPart(5000);
  clock.Advance(30000);
  EXPECT_TRUE(view.status.starts_with("Receiving post: 4kb - Part: 2 - film.avi")) << view.status;
  clock.Advance(1000);
  EXPECT_TRUE(view.status.starts_with("Receiving post: "));
  clock.Advance(29000);
  EXPECT_EQ(server->Connections(), 1);
  std::atomic<bool> silent = false;
  const auto fall_silent = [&silent](const Reply&) {
    silent = true;
    return Reply();
  };
  server->On(NewsServer::kGreeting, fall_silent, 1);
  clock.Advance(1000);
  EXPECT_EQ(view.status, "Trying to reconnect to 127.0.0.1...");
  ASSERT_TRUE(TestClock::PumpUntil([&] { return silent.load(); }));
  EXPECT_TRUE(engine->Reconecting);
  clock.Advance(31000);
  EXPECT_TRUE(view.status.ends_with(". Will try to reconnect in 29 seconds..."));
  clock.Advance(29000);
  EXPECT_TRUE(view.status.ends_with(". Will try to reconnect in 0 seconds..."));
  clock.Advance(1000);
  ASSERT_TRUE(RunToEnd());
  EXPECT_EQ(server->Connections(), 3);
  EXPECT_EQ(server->ArticleCount(posted.Files()[0].ids[0]), 1);
  EXPECT_EQ(server->ArticleCount(posted.Files()[0].ids[1]), 2);
  ExpectAllFiles();
}

TEST_F(WatchdogTest, TheTickShowsSpeedPeakAndTimeLeft) {
  StallInTheSecondPart(8192);
  clock.Advance(10);  // less than a sixtieth of a second
  engine->TheTimer_Action();
  EXPECT_EQ(view.speed, 6400);
  clock.Advance(2000);
  EXPECT_EQ(view.speed, 32);
  EXPECT_EQ(view.peak, 6400);
  engine->BytesLeft = 3 * 3600 * engine->CurrentBytes / 2;
  engine->UpdateTime();
  EXPECT_EQ(view.time_left, 3 * 3600);
  engine->BytesLeft = -5000000;
  engine->UpdateTime();
  EXPECT_EQ(view.time_left, 3 * 3600);
}

}  // namespace
}  // namespace gravlin::testing
