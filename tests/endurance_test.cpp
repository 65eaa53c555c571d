// Repeats the same thing many times: nothing accumulates.  GRAVLIN_TEST_ROUNDS multiplies the
// rounds, for a long run by hand.
#include <gtest/gtest.h>
#include <malloc.h>

#include <QApplication>
#include <QProcess>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "paths.h"
#include "postprocess/outcome_windows.h"
#include "postprocess/par.h"
#include "postprocess/rar.h"
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

template <class... Windows>
void OpenAndClose() {
  const auto one = [](auto& window) {
    window.Show();
    window.Close();
  };
  (one(Window::New<Windows>()), ...);
}

using WindowRounds = StoreTest;

// Widgets stay exactly the same; memory grows by caches and a few bytes for each round.
TEST_F(WindowRounds, NothingPilesUpWhenWindowsOpenAndClose) {
  const auto open = [this](int rounds) {
    for (int round = 0; round < rounds; ++round) {
      OpenAndClose<Par, Rar, ParFailed, RarFailed, RarNotes, AfterRAR, About, ServerConnectionError,
                   Compacting, FileTypesWin, grvFiles, TestServer, GetMessage>();
      Save();
      clock.Advance(1);
    }
    return static_cast<double>(mallinfo2().uordblks);
  };
  const double bytes = open(20);
  const qsizetype widgets = QApplication::allWidgets().size();
  const int rounds = Rounds(20);
  EXPECT_LT(open(rounds) - bytes, 400'000 + 50 * rounds);
  EXPECT_EQ(QApplication::allWidgets().size(), widgets);
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
