// The tools' command lines, the paths that get none, and the shell that runs them.
#include "postprocess/commands.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>

#include "platform/scheduler.h"
#include "platform/shell.h"
#include "support/temp_folder.h"

namespace gravlin {
namespace {

using testing::TempFolder;

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

TEST(Commands, UnrarGetsAbsolutePathsAndATargetThatEndsInASlash) {
  const TempFolder folder;
  const std::string in = folder.Path().string();
  const auto command = [&](int fix_path, const std::string& target) {
    return UnrarCommand(At("/usr/bin/unrar"), At("/d/a b.rar"), fix_path, At(target), At("/u.txt"));
  };
  EXPECT_EQ(command(1, in), "'/usr/bin/unrar' e -o+ '/d/a b.rar' '" + in + "/' > '/u.txt'");
  EXPECT_EQ(command(2, "/not/there"),
            "'/usr/bin/unrar' e -o+ '/d/a b.rar' '/not/there/' > '/u.txt'");
  EXPECT_EQ(command(0, in), "'/usr/bin/unrar' e -o+ '/usr/bin/unrar' '" + in + "/' > '/u.txt'");
}

int signal_pipe[2];

// The program's handler must not run in a child that has not become its tool yet.
TEST(Shell, ACloseRightBehindTheStartReachesTheChildAlone) {
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

TEST(Commands, APathWithASingleQuoteIsNeverHandedToTheShell) {
  const FolderItem plain = At("/a/b"), name = At("/a/b';touch x;'.par2"), above = At("/it's/b");
  for (const FolderItem& bad : {name, above}) {
    EXPECT_FALSE(Par2Command(bad, plain, 1, plain));
    EXPECT_FALSE(Par2Command(plain, bad, 2, plain));
    EXPECT_FALSE(Par2Command(plain, plain, 1, bad));
    EXPECT_FALSE(UnrarCommand(bad, plain, 1, plain, plain));
    EXPECT_FALSE(UnrarCommand(plain, bad, 1, plain, plain));
    EXPECT_FALSE(UnrarCommand(plain, plain, 2, bad, plain));
    EXPECT_FALSE(UnrarCommand(plain, plain, 2, plain, bad));
  }
}

}  // namespace
}  // namespace gravlin
