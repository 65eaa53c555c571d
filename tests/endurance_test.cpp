// Repeats the same thing many times: nothing accumulates.  GRAVLIN_TEST_ROUNDS multiplies the
// rounds, for a long run by hand.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/file.h>
#include <unistd.h>

#include <QApplication>
#include <QProcess>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "paths.h"
#include "postprocess/outcome_windows.h"
#include "postprocess/par.h"
#include "postprocess/rar.h"
#include "support/engine_fixture.h"
#include "support/store_fixture.h"
#include "ui/console.h"
#include "ui/file_types_window.h"
#include "ui/files_window.h"
#include "ui/message_window.h"
#include "ui/small_windows.h"

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

// Compares what is held now: widgets exactly, a few descriptors more, memory for caches and a few
// bytes for each round.
class NothingPilesUp {
 public:
  NothingPilesUp(const char* what, int rounds) : what_(what), rounds_(rounds) {}
  // Background work may still be ending: the server's side of the last connections, the store's
  // checkpoint.  SQLite closes a descriptor only when no other connection holds a lock.
  ~NothingPilesUp() {
    EXPECT_TRUE(TestClock::PumpUntil([this] {
      return Descriptors() < descriptors_ + rounds_ / 2 && Grown() < kCaches + 50 * rounds_;
    })) << what_
        << ": " << Grown() << " bytes and " << Descriptors() - descriptors_ << " descriptors in "
        << rounds_ << " rounds";
    EXPECT_EQ(QApplication::allWidgets().size(), widgets_);
  }

 private:
  static constexpr double kCaches = 400'000;  // above all a socket's buffer of 256 KiB
  double Grown() const { return static_cast<double>(mallinfo2().uordblks) - bytes_; }
  const char* const what_;
  const int rounds_;
  const long descriptors_ = Descriptors();
  const qsizetype widgets_ = QApplication::allWidgets().size();
  const double bytes_ = static_cast<double>(mallinfo2().uordblks);
};

template <class... Windows>
void OpenAndClose() {
  const auto one = [](auto& window) {
    window.Show();
    window.Close();
  };
  (one(Window::New<Windows>()), ...);
}

using WindowRounds = StoreTest;

TEST_F(WindowRounds, EachWindowOpensAndCloses) {
  const auto open = [this](int rounds) {
    for (int round = 0; round < rounds; ++round) {
      OpenAndClose<Par, Rar, ParFailed, RarFailed, RarNotes, AfterRAR, About, ServerConnectionError,
                   Compacting, FileTypesWin, grvFiles, TestServer, GetMessage>();
      Save();
      clock.Advance(1);
    }
  };
  open(20);
  const int rounds = Rounds(20);
  const NothingPilesUp nothing("windows", rounds);
  open(rounds);
}

using RunRounds = EngineTest;

TEST_F(RunRounds, ConnectionsComeAndGoAndFilesAreImportedAgain) {
  Post({"film.avi"});
  const int rounds = Rounds(20);
  server->On(NewsServer::kGreeting, CutAfter(0));
  int connected = 0;
  const auto connect = [&](int times) {
    for (int i = 0; i < times; ++i) {
      connected++ ? engine->Reconnect() : Start();
      ASSERT_TRUE(TestClock::PumpUntil([&] { return server->Ended() >= connected; }));
    }
  };
  connect(50);
  {
    const NothingPilesUp nothing("connections", rounds);
    connect(rounds);
  }
  engine->Stop();
  for (int i = 0; i < 5; ++i) Import();
  {
    const NothingPilesUp nothing("imports", rounds);
    for (int i = 0; i < rounds; ++i) Import();
  }
  server->ClearRules();
  DownloadAll();
}

// The real program, with a home of its own.
struct Program : QProcess {
  explicit Program(const TempFolder& home, const QStringList& documents = {}) {
    const QString own = QString::fromStdString(home.Path().string());
    setEnvironment(
        {"HOME=" + own, "XDG_RUNTIME_DIR=" + own, "QT_QPA_PLATFORM=offscreen", "LC_ALL=C.UTF-8"});
    start(kProgram, documents);
  }
  bool Runs() const { return state() != NotRunning; }
  std::string Read(const char* what) const {
    return ReadFile("/proc/" + std::to_string(processId()) + "/" + what);
  }
  bool EndsWell() {
    terminate();
    return waitForFinished() && exitStatus() == NormalExit;
  }
};

// By the text of /proc/PID/status.
bool CatchesTerm(const std::string& status) {
  const std::size_t at = status.find("SigCgt:\t");
  return at != std::string::npos && std::stoull(status.substr(at + 8), nullptr, 16) >> 14 & 1;
}

// Of several starts at the same instant one stays; the others pass their documents on and exit.
TEST(OneInstance, OfManyStartsAtTheSameInstantOneStays) {
  constexpr int kStarts = 4;
  for (int round = 0; round < Rounds(3); ++round) {
    const TempFolder home;
    Program starts[kStarts] = {Program(home), Program(home), Program(home), Program(home)};
    ASSERT_TRUE(
        TestClock::PumpUntil([&] { return std::ranges::count_if(starts, &Program::Runs) <= 1; }));
    Program* const stays = std::ranges::find_if(starts, &Program::Runs);
    ASSERT_NE(stays, std::end(starts));
    EXPECT_TRUE(stays->EndsWell());
    for (const Program& start : starts) EXPECT_EQ(start.exitStatus() + start.exitCode(), 0);
    Database store(FolderItem::FromPath((home / ".local/share/Gravlin/Gravlin.rsd").string()));
    ASSERT_TRUE(store.Connect());
    EXPECT_EQ(store.SQLSelect("pragma integrity_check")->Field("integrity_check").StringValue(),
              "ok");
    EXPECT_EQ(store.SQLSelect("Select * from Servers")->RecordCount(), 1);
  }
}

// Another process that is ending holds the lock and no longer listens.
TEST(OneInstance, AStartWaitsForTheEndOfTheOneBefore) {
  const TempFolder home;
  const std::string lock = (home / "gravlin.lock").string();
  const int before = open(lock.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_EQ(flock(before, LOCK_EX | LOCK_NB), 0);
  Program program(home);
  int asleep = 0;  // between two tries to lock
  ASSERT_TRUE(TestClock::PumpUntil(
      [&] { return (asleep += InStr(program.Read("status"), "State:\tS") > 0) >= 50; }));
  EXPECT_TRUE(program.Runs());
  EXPECT_FALSE(std::filesystem::exists(home / "gravlin.socket"));
  close(before);
  EXPECT_TRUE(TestClock::PumpUntil(
      [&] { return std::filesystem::exists(home / "gravlin.socket") || !program.Runs(); }));
  // Only now does it handle a signal as it should.
  EXPECT_TRUE(TestClock::PumpUntil([&] { return CatchesTerm(program.Read("status")); }));
  EXPECT_TRUE(program.EndsWell());
}

// A second start keeps its documents until the start of the first one is over, and replaces the
// first one if that start fails.
TEST(OneInstance, TheProgramCanBeEndedWhileABoxOfItsStartIsOpen) {
  const TempFolder home;
  std::filesystem::create_directories(home / ".local/share/Gravlin");
  std::ofstream(home / ".local/share/Gravlin/Gravlin.rsd") << "no store";
  Program program(home);
  int asleep = 0;  // in a row: it waits for the user
  EXPECT_TRUE(TestClock::PumpUntil([&] {
    const std::string status = program.Read("status");
    asleep = CatchesTerm(status) && InStr(status, "State:\tS") > 0 ? asleep + 1 : 0;
    return asleep >= 10;
  }));
  Program second(home, {"set.par2"});
  EXPECT_TRUE(TestClock::PumpUntil([&] {
    return second.Read("wchan") != "" && InStr(second.Read("status"), "State:\tS") > 0 &&
           ++asleep >= 100;
  }));
  EXPECT_TRUE(second.Runs());
  std::filesystem::remove(home / ".local/share/Gravlin/Gravlin.rsd");
  EXPECT_TRUE(program.EndsWell());
  EXPECT_TRUE(TestClock::PumpUntil([&] { return CatchesTerm(second.Read("status")); }));
  EXPECT_TRUE(second.EndsWell());
}

}  // namespace
}  // namespace gravlin::testing
