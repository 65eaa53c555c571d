// From the end of a download, or a document, to repair and extraction and the tools' command lines.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>

#include "platform/native.h"
#include "platform/shell.h"
#include "postprocess/hand_off.h"
#include "postprocess/par.h"
#include "postprocess/rar.h"
#include "postprocess/tool_commands.h"
#include "support/tool_fixture.h"
#include "ui/gravlin.h"

namespace gravlin::testing {
namespace {

class HandOffTest : public ToolTest {
 protected:
  HandOffTest() : main_window(Window::New<Gravlin>()) {
    Code::DebugOn = true;
    main_window.StartDebugMode();
    main_window.fDownloads = folder.Item();
  }
  ~HandOffTest() override { Code::DebugOn = false; }
  std::string Log() { return ReadFile(folder / "Gravlin/Gravlin_Debug..txt"); }

  Gravlin& main_window;
};

TEST_F(HandOffTest, TheEndOfADownloadStartsTheRepairOfItsSet) {
  Script("write All files are correct, repair is not required.\\n\n", "a.par2");
  Script("write All OK\\n\n", "a.rar");
  main_window.ParFilename = "a.par2";
  main_window.RarFilename = "a.rar";
  main_window.StartPar();
  Par* par = Window::IfOpen<Par>();
  ASSERT_NE(par, nullptr);
  EXPECT_TRUE(par->Visible());
  EXPECT_EQ(par->FixPath, 2);
  const std::string place = folder.Item().AbsolutePath();
  EXPECT_NE(Log().find("Gravlin.StartPar(): fPAR = " + place + "a.par2\r\n"), std::string::npos);
  EXPECT_NE(Log().find("Gravlin.StartPar(): fRAR = " + place + "a.rar\r\n"), std::string::npos);
  ASSERT_TRUE(RunTool([&] { return !Asked().launched.empty(); }));
  EXPECT_EQ(Window::IfOpen<Rar>()->fInput, folder.Item("a.rar"));
  EXPECT_TRUE(Window::IfOpen<Rar>()->Visible());
  main_window.StartPar();
  EXPECT_EQ(Window::All().size(), 5u) << "a further window for each set, and that of the advice";
}

// It is not tried again, and the tool runs with the next file.
TEST_F(HandOffTest, APathOfWhichNoCommandCanBeMadeIsRefusedOnce) {
  Script("write Repair complete.\\n\n", "it's.par2");
  Script("write No files to extract\\n\n", "a*.rar");
  OpenRarWindow();
  OpenParDocument(folder.Item("it's.par2"));
  OpenRarDocument(folder.Item("a*.rar"));
  Par& par = *Window::IfOpen<Par>();
  clock.Advance(80'000);
  const std::string in = folder.Path().string();
  EXPECT_EQ(par.stStatus.Text(),
            "File selected: it's.par2. par2 not started: a single quote in the path " + in +
                "/it's.par2");
  EXPECT_EQ(Window::IfOpen<Rar>()->stStatus.Text(),
            "File selected: a*.rar. unrar not started: a mask in the path " + in + "/a*.rar");
  EXPECT_NE(Log().find("Par.StartProcess: par2 not started: a single quote"), std::string::npos);
  EXPECT_EQ(Window::IfOpen<Rar>()->FixPath, 2);
  EXPECT_EQ(Window::All().size(), 3u) << "no window comes up about a tool that never began";
  EXPECT_FALSE(Code::ParJobRunning || Code::RarJobRunning);
  EXPECT_EQ(Asked().beeps, 2);

  const FolderItem plain = folder.Write("a.par2", ReadFile(folder / "it's.par2"));
  OpenParDocument(plain);
  EXPECT_TRUE(RunTool([&] { return par.stStatus.Text() == "Repair complete."; }));
}

TEST_F(HandOffTest, AFileThatWaitsHidesNoFailureAndIsNotDroppedWithoutAWord) {
  Script("write Loading \"a\".\\n\nhang\n", "a.par2");
  OpenParDocument(folder.Item("a.par2"));
  Par& par = *Window::IfOpen<Par>();
  OpenParDocument(folder.Item("b.par2"));
  clock.Advance(1'000);
  ASSERT_TRUE(WaitFor([&] { return par.fOutput.Length() > 0; }));
  clock.Advance(66'000);
  EXPECT_EQ(par.stStatus.Text(), "Process incomplete. (1 more file waits)");
  Asked().answers = {1, 2};
  Asked().meanwhile = [&] { par.pbSelectFile.DropObject(DragItem{folder.Item("c.par2")}); };
  par.Native().frame->close();
  ASSERT_EQ(Asked().boxes.size(), 2u) << "the second file came while the first box was open";
  EXPECT_TRUE(LastBox().ends_with(":\rb.par2\rc.par2")) << LastBox();
  EXPECT_TRUE(par.Visible());
  par.Native().frame->close();
  EXPECT_FALSE(par.Visible());
  EXPECT_EQ(Asked().boxes.size(), 3u);
}

// The tools' command lines, the paths that are refused, and the shell that runs them.
FolderItem At(const std::string& path) { return FolderItem::FromPath(path); }

TEST(Commands, Par2GetsPathsFromTheRootWithoutASlash) {
  EXPECT_EQ(
      Par2Command(At("/usr/bin/par2"), At("/home/me/D l/a (1) [x].par2"), 2, At("/d/unPar.txt")),
      "'usr/bin/par2' repair 'home/me/D l/a (1) [x].par2' > 'd/unPar.txt'");
  EXPECT_EQ(Par2Command(At("/p"), At("/a/$(x)`y`\"\\.par2"), 1, At("/o")),
            "'p' repair 'a/$(x)`y`\"\\.par2' > 'o'");
  EXPECT_EQ(Par2Command(At("/p"), At("/a/b"), 3, At("/o")), "'p' repair '' > 'o'");
  // A ":" in the name becomes a "/" like those between the folders.
  EXPECT_EQ(Par2Command(At("/p"), At("/a/b: c"), 1, At("/o")), "'p' repair 'a/b/ c' > 'o'");
  EXPECT_EQ(Par2Command(At("/p"), At("/d:1/x:2"), 2, At("/o")), "'p' repair 'd/1/x/2' > 'o'");
}

int signal_pipe[2];

// A child that is not yet its tool must not run the program's signal handler.
TEST(Shell, ACloseRightAfterTheStartReachesTheChildAlone) {
  ASSERT_EQ(pipe2(signal_pipe, O_NONBLOCK | O_CLOEXEC), 0);
  const auto before = std::signal(
      SIGTERM, [](int) { [[maybe_unused]] const ssize_t told = write(signal_pipe[1], "!", 1); });
  for (int i = 0; i < 50; ++i) {
    Shell shell;
    shell.Execute("sleep infinity");
    shell.Close();
    PumpEvents(0);
  }
  char told;
  EXPECT_EQ(read(signal_pipe[0], &told, 1), -1);
  std::signal(SIGTERM, before);
}

}  // namespace
}  // namespace gravlin::testing
