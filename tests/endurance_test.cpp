// The same thing many times over: nothing piles up.  GRAVLIN_TEST_ROUNDS multiplies the rounds, for
// a long run by hand.
#include <gtest/gtest.h>
#include <malloc.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <QApplication>
#include <cstdlib>
#include <filesystem>

#include "paths.h"
#include "postprocess/outcome_windows.h"
#include "postprocess/par.h"
#include "postprocess/rar.h"
#include "support/engine_fixture.h"
#include "support/window_fixture.h"
#include "ui/file_types_window.h"
#include "ui/files_window.h"
#include "ui/message_window.h"
#include "ui/small_windows.h"
#include "ui/test_server.h"

extern char** environ;

namespace gravlin::testing {
namespace {

int Rounds(int few) {
  const char* const factor = std::getenv("GRAVLIN_TEST_ROUNDS");
  return few * (factor ? std::atoi(factor) : 1);
}

long Descriptors() {
  const std::filesystem::directory_iterator begin("/proc/self/fd"), end;
  return std::distance(begin, end);
}

// What is held now: descriptors and widgets exactly, memory within what caches may take and a few
// bytes a round.
class NothingPilesUp {
 public:
  NothingPilesUp(const char* what, int rounds) : what_(what), rounds_(rounds) {}
  ~NothingPilesUp() {
    // The server's side of the last connections may still be on its way out.
    EXPECT_TRUE(TestClock::PumpUntil([this] { return Descriptors() <= descriptors_; }));
    EXPECT_EQ(QApplication::allWidgets().size(), widgets_);
    const double grown = static_cast<double>(mallinfo2().uordblks) - bytes_;
    EXPECT_LT(grown, 100'000 + 50 * rounds_)
        << what_ << ": " << grown << " bytes in " << rounds_ << " rounds";
  }

 private:
  const char* const what_;
  const int rounds_;
  const long descriptors_ = Descriptors();
  const qsizetype widgets_ = QApplication::allWidgets().size();
  const double bytes_ = static_cast<double>(mallinfo2().uordblks);
};

class WindowRounds : public WindowTest {
 protected:
  template <class... Windows>
  void OpenAndClose(int rounds) {
    for (int round = 0; round < rounds; ++round) {
      (Open<Windows>(), ...);
      Save();
      clock.Advance(1);
    }
  }
  template <class Kind>
  void Open() {
    Kind& window = Window::New<Kind>();
    window.Show();
    window.Close();
  }
};

TEST_F(WindowRounds, EachWindowOpensAndCloses) {
  const auto open = [this](int rounds) {
    OpenAndClose<Par, Rar, ParFailed, RarFailed, RarNotes, AfterRAR, About, ServerConnectionError,
                 Compacting, FileTypesWin, grvFiles, TestServer, GetMessage>(rounds);
  };
  open(20);
  const int rounds = Rounds(20);
  const NothingPilesUp nothing("windows", rounds);
  open(rounds);
}

class RunRounds : public EngineTest {};

TEST_F(RunRounds, ConnectionsComeAndGoAndFilesAreImportedAgain) {
  posted.Add("film.avi", 30'000, 10'000);
  Serve();
  const int rounds = Rounds(20);
  server->On(NewsServer::kGreeting, CutAfter(0));
  int connected = 0;
  const auto reconnect = [&](int times) {
    for (int i = 0; i < times; ++i) {
      window->Reconnect();
      ++connected;
      ASSERT_TRUE(TestClock::PumpUntil([&] { return server->Ended() >= connected; }));
    }
  };
  Import();
  Start();
  ++connected;
  ASSERT_TRUE(TestClock::PumpUntil([&] { return server->Ended() >= connected; }));
  reconnect(50);
  {
    const NothingPilesUp nothing("connections", rounds);
    reconnect(rounds);
  }
  window->Stop();
  for (int i = 0; i < 5; ++i) Import();
  {
    const NothingPilesUp nothing("imports", rounds);
    for (int i = 0; i < rounds; ++i) Import();
  }
  server->ClearRules();
  Start();
  ASSERT_TRUE(RunToEnd());
  ExpectAllFiles();
}

// Of several starts at the same instant one stays; the others hand over and end.
TEST(OneInstance, OfManyStartsAtTheSameInstantOneStays) {
  constexpr int kStarts = 4;
  for (int round = 0; round < Rounds(3); ++round) {
    const TempFolder home;
    std::vector<std::string> variables = {"HOME=" + home.Path().string(),
                                          "XDG_RUNTIME_DIR=" + home.Path().string(),
                                          "QT_QPA_PLATFORM=offscreen", "LC_ALL=C.UTF-8"};
    std::vector<char*> environment;
    for (std::string& variable : variables) environment.push_back(variable.data());
    environment.push_back(nullptr);
    std::string program = kProgram;
    char* arguments[] = {program.data(), nullptr};
    std::vector<pid_t> running(kStarts);
    for (pid_t& pid : running)
      ASSERT_EQ(posix_spawn(&pid, arguments[0], nullptr, nullptr, arguments, environment.data()),
                0);
    int status = 0;
    while (running.size() > 1) {
      const pid_t ended = waitpid(-1, &status, 0);
      EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
      ASSERT_EQ(std::erase(running, ended), 1u);
    }
    EXPECT_EQ(waitpid(running[0], &status, WNOHANG), 0);
    kill(running[0], SIGTERM);
    ASSERT_EQ(waitpid(running[0], &status, 0), running[0]);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    Database store(FolderItem::FromPath((home / ".local/share/Gravlin/Gravlin.rsd").string()));
    ASSERT_TRUE(store.Connect());
    EXPECT_EQ(store.SQLSelect("pragma integrity_check")->Field("integrity_check").StringValue(),
              "ok");
    EXPECT_EQ(store.SQLSelect("Select * from Servers")->RecordCount(), 1);
  }
}

}  // namespace
}  // namespace gravlin::testing
