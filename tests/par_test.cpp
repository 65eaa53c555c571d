// The repair window on the real par2 and on a fake one.
#include "postprocess/par.h"

#include <gtest/gtest.h>

#include "postprocess/outcome_windows.h"
#include "postprocess/rar.h"
#include "support/tool_fixture.h"

namespace gravlin::testing {
namespace {

class ParTest : public ToolTest {
 protected:
  std::string Rows(const Par& par) {
    std::string rows;
    for (int row = 0; row < par.List.ListCount(); ++row)
      rows += par.List.Cell(row, 0) + "=" + par.List.Cell(row, 1) + "|";
    return rows;
  }
  static bool Over(const Par& par) { return par.tPar.Mode() == 0; }
};

TEST_F(ParTest, ThePlaceIsReadAndSaved) {
  Store("Update Settings Set ParTop=0, ParLeft=795, ParWidth=10, ParCols='300,100'");
  Par& par = Window::New<Par>();
  EXPECT_TRUE(par.Top() == 70 && par.Left() < 500) << "of a screen of 800 pixels";
  EXPECT_EQ(par.List.ColumnWidths(), "300,100");
  par.SetTop(0);
  par.SetWidth(700);
  Save();
  EXPECT_EQ(Stored("Settings", "ParWidth"), "10") << "its title is out of reach";
  par.SetTop(90);
  par.List.SetColumnWidths("250,150");
  par.Close();
  Save();
  EXPECT_EQ(Stored("Settings", "ParTop||' '||ParCols"), "90 250,150");
}

TEST_F(ParTest, ARunFollowsTheOutputToItsEnd) {
  folder.Write("Gravlin/unPar.txt", "Repair complete.\n");  // of an earlier run
  Par& par = Drop<Par>(
      Script("write Loading \"set.par2\".\\nLoading: 40.0%\\r\nuntil go1\n"
             "write Verifying source files:\\nTarget: \"a.bin\" - damaged.\\nTarg\nuntil go2\n"
             "write et: \"b.bin\" - found.\\nYou need 3 more\\n\n"));
  clock.Advance(1000);
  EXPECT_EQ(par.stStatus.Text(), "File selected: set.par2. Starting...");
  EXPECT_FALSE(par.pbSelectFile.Enabled());
  WaitFor([&] { return par.fOutput.Length() > 0; });
  clock.Advance(250);
  EXPECT_EQ(par.stStatus.Text(), "Loading PAR's...");
  EXPECT_EQ(par.Bar.Value(), 40);
  clock.Advance(59'000);  // silence of less than a minute
  const std::int64_t length = par.fOutput.Length();
  folder.Write("go1", "");
  WaitFor([&] { return par.fOutput.Length() > length; });
  clock.Advance(59'000);
  EXPECT_EQ(Rows(par), "set.par2=|a.bin=damaged|");
  EXPECT_FALSE(Over(par));
  folder.Write("go2", "");
  ASSERT_TRUE(RunTool([&] { return Over(par); }));
  EXPECT_EQ(Rows(par), "set.par2=|a.bin=damaged|") << "the torn line is no target";
  EXPECT_EQ(par.stStatus.Text(), "You need 3 more");
  EXPECT_EQ(par.Bar.Value(), 100);
  EXPECT_TRUE(par.pbSelectFile.Enabled());
  EXPECT_EQ(Asked().beeps, 1);
  EXPECT_FALSE(Code::ParJobRunning);
}

TEST_F(ParTest, TheTimeLeftIsCountedFromTheFractionDone) {
  Par& par = Window::New<Par>();
  par.StartTick = Ticks();
  clock.Advance(4'000'000);
  for (const auto& [percent, shown] :
       {std::pair(0.0, "00:00:00"), {1.0, "110:00:00"}, {50.0, "01:06:40"}, {110.0, "00:00:00"}}) {
    par.stTime.SetText("00:00:00");
    par.UpdateTime(percent);
    EXPECT_EQ(par.stTime.Text(), shown) << percent;
  }
}

TEST_F(ParTest, AToolThatWritesNothingIsStartedAgainWithoutEnd) {
  Par& par = Drop<Par>(Script("pid tool\nchild child\nhang\n"));
  clock.Advance(1000);
  for (int attempt = 1; attempt <= 5; ++attempt) {
    if (attempt > 1) {
      EXPECT_TRUE(par.stStatus.Text().ends_with("Trying to start par2. Attempt: " + Str(attempt)));
    }
    EXPECT_EQ(Window::IfOpen<ParFailed>() != nullptr, attempt >= 4);
    const pid_t tool = Noted("tool"), child = Noted("child");
    EXPECT_FALSE(Gone(tool) || Gone(child));
    Shell("rm tool child");
    if (attempt == 5) Script("write \\n\\n\nuntil never\n");  // for the next start
    clock.Advance(15'250);
    EXPECT_TRUE(WaitFor([&] { return Gone(tool) && Gone(child); }));
  }
  ASSERT_TRUE(WaitFor([&] { return par.fOutput.Length() > 0; }));
  const int attempts = par.Attempts;
  clock.Advance(61'000);
  ASSERT_TRUE(Over(par)) << "content, and then silence, is no failed start";
  EXPECT_EQ(par.Attempts, attempts);
  EXPECT_EQ(par.stStatus.Text(), "Process incomplete.");
}

TEST_F(ParTest, SilenceEndsTheRunAndKeepsTheFlag) {
  for (const std::string writes : {"write Loading \"a\".\\n\npid tool\nhang\n",
                                   "write Loading \"a\".\\nSomething else\npid tool\n",
                                   "write Repair complete.\\n\\n\\n\npid tool\n"}) {
    Par& par = Drop<Par>(Script(writes));
    clock.Advance(1000);
    const pid_t tool = Noted("tool");
    clock.Advance(59'000);
    EXPECT_FALSE(Over(par)) << writes;
    clock.Advance(2'000);
    EXPECT_TRUE(Over(par)) << writes;
    EXPECT_EQ(par.stStatus.Text(), "Process incomplete.") << writes;
    EXPECT_TRUE(par.pbSelectFile.Enabled());
    EXPECT_EQ(std::exchange(Asked().beeps, 0), 1) << writes;
    EXPECT_TRUE(std::exchange(Code::ParJobRunning, false)) << writes;
    par.Close();
    EXPECT_TRUE(WaitFor([&] { return Gone(tool); }));
    Shell("rm tool");
  }
}

TEST_F(ParTest, AToolThatIsMissingAndAnOutputFileThatStaysAreReported) {
  Shell("mkdir -p Gravlin/unPar.txt/keep");
  Par& par = Drop<Par>(Script("write Repair complete.\\n\n"));
  clock.Advance(160'500);
  ASSERT_EQ(Asked().boxes.size(), 1u);
  EXPECT_EQ(Asked().boxes[0].text,
            "Please go into your Gravlin folder and remove the unPar.txt file.");
  EXPECT_TRUE(par.pbSelectFile.Enabled());
  EXPECT_TRUE(std::exchange(Code::ParJobRunning, false));
  Code::fParApp = folder.Item("par2");
  Drop<Par>(Script(""));
  ASSERT_EQ(Asked().boxes.size(), 2u);
  EXPECT_EQ(Asked().boxes[1].text, "The par2 file is missing from your Gravlin folder.");
}

TEST_F(ParTest, ClosingAWindowInMidRunEndsTheToolAndItsChildren) {
  for (const char* manners : {"", "deaf\n"}) {  // a deaf one is killed
    Par& par = Drop<Par>(
        Script(std::string(manners) + "write Loading \"a\".\\n\npid tool\nchild child\nhang\n"));
    clock.Advance(2000);
    const pid_t tool = Noted("tool"), child = Noted("child");
    EXPECT_FALSE(Gone(tool) || Gone(child));
    par.Close();
    if (*manners) {
      EXPECT_FALSE(WaitFor([&] { return Gone(tool) || Gone(child); }, 50));
      clock.Advance(3'000);
    }
    EXPECT_TRUE(WaitFor([&] { return Gone(tool) && Gone(child); })) << manners;
    EXPECT_TRUE(std::exchange(Code::ParJobRunning, false));
    Shell("rm tool child");
  }
}

TEST_F(ParTest, TheRealToolRepairsASetThatIsDamagedUnlessItLacksBlocks) {
  const struct {
    const char *spoil, *status, *row;
    bool whole;
  } cases[] = {
      {":", "All files are correct, repair is not required.", "ä - b: [c].bin=found|", true},
      // A repair that was killed: half a new file, and the old one put aside.
      {"printf X | dd of=set.part1.rar bs=1 seek=9000 conv=notrunc 2>/dev/null;"
       "mv set.part1.rar set.part1.rar.1; head -c 90000 set.part1.rar.1 > set.part1.rar;"
       "truncate -s 228894 set.part1.rar; touch .5 other.bin other.bin.1",
       "Repair complete.", "set.part1.rar=found|", true},
      {"rm set.part1.rar", "You need ", "set.part1.rar=missing|", false}};
  UseRealTools();
  for (const auto& c : cases) {
    SCOPED_TRACE(c.status);
    // Two files of 200 kB with 20 recovery blocks of 8000 bytes.
    Shell(
        "rm -f set.* *.bin; seq 1 40000 > set.part1.rar; seq 50000 90000 > 'ä - b: [c].bin';"
        "par2 create -q -q -s8000 -c20 -n2 set.par2 set.part1.rar 'ä - b: [c].bin';"
        "sha256sum *.rar *.bin > sums;");
    Shell(c.spoil);
    Par& par = Drop<Par>(folder.Item("set.par2"));
    std::string told;
    par.stStatus.TextChange = [&] { told += par.stStatus.Text() + "|"; };
    ASSERT_TRUE(RunTool([&] { return Over(par); }));
    EXPECT_FALSE(Code::ParJobRunning);
    EXPECT_NE(told.find(c.status), std::string::npos) << told;
    EXPECT_NE(Rows(par).find(c.row), std::string::npos) << Rows(par);
    EXPECT_EQ(Window::IfOpen<Rar>() != nullptr, c.whole);
    EXPECT_EQ(Asked().beeps, c.whole ? 0 : 1);
    if (c.whole) {
      EXPECT_EQ(par.fRAR, folder.Item("set.part1.rar"));
      Shell("sha256sum --quiet -c sums");
    }
    Window::CloseAll();
    Code::RarJobRunning = false;
    PumpEvents(0);
  }
}

}  // namespace
}  // namespace gravlin::testing
