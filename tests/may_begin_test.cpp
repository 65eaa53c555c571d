// What may begin in each situation that occurs.
#include "base/may_begin.h"

#include <gtest/gtest.h>

#include <string>

namespace gravlin::testing {
namespace {

std::string Allowed(const Situation& now) {
  std::string all;
  const auto add = [&](const char* what, bool may) {
    if (may) all += std::string(all.empty() ? "" : " ") + what;
  };
  add("data", may::TakeData(now));
  add("tick", may::Tick(now));
  add("next", may::BeginNextFile(now));
  add("watch", may::WatchSilence(now));
  add("start", may::Start(now));
  add("button", may::ChangeStart(now));
  add("connect", may::Connect(now));
  add("again", may::CallAgainAtOnce(now));
  add("drop", may::DropParts(now));
  add("assemble", may::Assemble(now));
  add("outside", may::AssembleOutsideRun(now));
  add("finish", may::Finish(now));
  return all;
}

TEST(MayBegin, InEachSituationThatOccurs) {
  const struct {
    const char* what;
    Situation now;
    const char* allowed;
  } rows[] = {
      {"nothing is under way",
       {},
       "data tick watch start button connect drop assemble outside finish"},
      {"a list is loaded",
       {.loading_list = true},
       "data tick watch button connect drop assemble outside finish"},
      {"a file complete at launch is joined",
       {.assembling = true, .joining = true, .assemblies = 1},
       "data tick start button connect outside finish"},
      {"it is decoded, and another one waits",
       {.decoding = true, .joining = true, .assemblies = 2},
       "data tick start button connect outside finish"},
      {"it has ended before Start",
       {.thread_flag = true},
       "data tick watch start button connect drop assemble outside finish"},
      {"the log-on is under way",
       {.running = true},
       "data tick watch start connect drop assemble finish"},
      {"a step of the log-on lets events run",
       {.step = true, .running = true},
       "watch start connect assemble finish"},
      {"a file complete at launch is joined during the log-on",
       {.running = true, .assembling = true, .joining = true, .assemblies = 1},
       "data tick start connect finish"},
      {"logged on",
       {.running = true, .logged_on = true},
       "data tick next watch start connect again drop assemble finish"},
      {"logged on while that file is joined",
       {.running = true, .logged_on = true, .assembling = true, .joining = true, .assemblies = 1},
       "data tick start connect again finish"},
      {"logged on, and no tick has taken its end",
       {.running = true, .logged_on = true, .thread_flag = true},
       "data tick watch start connect again drop assemble finish"},
      {"its thread has not ended yet",
       {.running = true, .logged_on = true, .assemblies = 1},
       "data tick watch start connect again assemble finish"},
      {"a list is loaded in a run",
       {.running = true, .logged_on = true, .loading_list = true},
       "data tick next watch connect again drop assemble finish"},
      {"Stop",
       {.running = true, .signing_off = true},
       "data tick watch start drop assemble finish"},
      {"Stop in an assembly",
       {.running = true, .signing_off = true, .decoding = true, .joining = true, .assemblies = 1},
       "data tick start finish"},
      {"Stop in an assembly that has ended",
       {.running = true, .signing_off = true, .thread_flag = true},
       "data tick watch start drop assemble finish"},
      {"a quit in a run",
       {.running = true, .logged_on = true, .quitting = true},
       "data tick next watch again drop assemble"},
  };
  for (const auto& [what, now, allowed] : rows) EXPECT_EQ(Allowed(now), allowed) << what;
}

TEST(MayBegin, AToolOnlyWhereNoneRuns) {
  for (const bool job : {false, true}) {
    EXPECT_EQ(may::BeginTool({ToolPhase::kReady, job}), !job);
    EXPECT_EQ(may::BeginTool({ToolPhase::kWaiting, job}), !job);
    EXPECT_FALSE(may::BeginTool({ToolPhase::kClearing, job}));
    EXPECT_FALSE(may::BeginTool({ToolPhase::kFollowing, job}));
  }
}

TEST(MayBegin, AQuitOnceNoWriteCanEndAnyMore) {
  EXPECT_TRUE(may::Quit({.pending = 0}));
  EXPECT_FALSE(may::Quit({.pending = 1}));
  EXPECT_TRUE(may::Quit({.pending = 1, .kept = true}));
}

}  // namespace
}  // namespace gravlin::testing
