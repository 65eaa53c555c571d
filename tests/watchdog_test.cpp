// The driver timer on a set clock: silence, reconnecting, the displays.
#include <gtest/gtest.h>

#include "platform/text.h"
#include "support/engine_fixture.h"

namespace gravlin::testing {
namespace {

class WatchdogTest : public EngineTest {
 protected:
  // Stands in "receiving article", with `count` bytes of the second part received.
  void StallInTheSecondPart(std::size_t count) {
    posted.Add("film.avi", 30000, 10000);
    Serve();
    Import();
    server->On("ARTICLE <" + posted.Files()[0].ids[1], StallAfter(count), 1);
    Start();
    ASSERT_TRUE(TestClock::PumpUntil([&] {
      return window->State == "receiving article" && window->News.Lookahead().size() == count &&
             window->PartNo == 2;
    }));
  }
};

TEST_F(WatchdogTest, SilenceIsCountedDownAndEndsInANewSession) {
  StallInTheSecondPart(5000);
  clock.Advance(30000);
  EXPECT_TRUE(window->stStatus.Text().starts_with("Receiving post: 4kb - Part: 2 - film.avi"))
      << window->stStatus.Text();
  clock.Advance(1000);
  EXPECT_TRUE(window->stStatus.Text().starts_with("Receiving post: "));
  EXPECT_EQ(server->Connections(), 1);
  clock.Advance(29000);
  EXPECT_EQ(server->Connections(), 1);
  server->On(NewsServer::kGreeting, Silence(), 1);
  clock.Advance(1000);
  EXPECT_EQ(window->stStatus.Text(), "Trying to reconnect to 127.0.0.1...");
  EXPECT_TRUE(window->Reconecting);
  clock.Advance(61000);
  ASSERT_TRUE(RunToEnd());
  EXPECT_EQ(server->Connections(), 3);
  EXPECT_EQ(server->ArticleCount(posted.Files()[0].ids[0]), 1);
  EXPECT_EQ(server->ArticleCount(posted.Files()[0].ids[1]), 2);
  ExpectAllFiles();
}

TEST_F(WatchdogTest, TheCountDownRunsFrom29) {
  Post({"film.avi"}, 1);
  server->On("GROUP", Silence());
  Start();
  ASSERT_TRUE(TestClock::PumpUntil([&] { return window->State == "sent group"; }));
  clock.Advance(30000);
  EXPECT_EQ(window->stStatus.Text(), "Selecting group: " + window->Groups[0]);
  clock.Advance(1000);
  EXPECT_TRUE(window->stStatus.Text().ends_with(". Will try to reconnect in 29 seconds..."));
  clock.Advance(29000);
  EXPECT_TRUE(window->stStatus.Text().ends_with(". Will try to reconnect in 0 seconds..."));
  server->ClearRules();
  clock.Advance(1000);
  ASSERT_TRUE(RunToEnd());
  ExpectAllFiles();
}

TEST_F(WatchdogTest, ASignOffGets30Seconds) {
  StallInTheSecondPart(5000);
  server->On("QUIT", Silence());
  window->pbStart.Push();
  clock.Advance(30000);
  EXPECT_EQ(window->stStatus.Text(), "Signing off...");
  clock.Advance(1000);
  EXPECT_EQ(window->stStatus.Text(), "Done.");
  EXPECT_EQ(window->State, "logged off");
  EXPECT_EQ(window->TheTimer.Mode(), 0);
}

TEST_F(WatchdogTest, NothingIsWatchedDuringAssembly) {
  StallInTheSecondPart(5000);
  window->Decoding = true;
  clock.Advance(600000);
  EXPECT_EQ(server->Connections(), 1);
  EXPECT_FALSE(InStr(window->stStatus.Text(), "No response") > 0);
  window->Decoding = false;
}

TEST_F(WatchdogTest, TheTickShowsSpeedPeakAndTimeLeft) {
  StallInTheSecondPart(8192);
  clock.Advance(1000);
  EXPECT_EQ(window->Throughput, 64);  // 8 KiB in one second
  EXPECT_EQ(window->stThroughput.Text(), "Speed: 64");
  clock.Advance(1000);
  EXPECT_EQ(window->stThroughput.Text(), "Speed: 32");
  EXPECT_EQ(window->stPeak.Text(), "Peak: 64");
  window->BytesLeft = 3 * 3600 * window->CurrentBytes / 2;
  window->UpdateTime();
  EXPECT_EQ(window->stTime.Text(), "03:00:00");
  window->BytesLeft = -5000000;
  window->UpdateTime();
  EXPECT_EQ(window->stTime.Text(), "03:00:00");
}

}  // namespace
}  // namespace gravlin::testing
