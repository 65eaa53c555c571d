// Several starts of the real program.
#include <gtest/gtest.h>

#include <QProcess>
#include <algorithm>

#include "paths.h"
#include "store/database.h"
#include "support/temp_folder.h"
#include "support/test_clock.h"

namespace gravlin::testing {
namespace {

// The real program, with a home of its own.
struct Program : QProcess {
  explicit Program(const TempFolder& home) {
    const QString own = QString::fromStdString(home.Path().string());
    setEnvironment(
        {"HOME=" + own, "XDG_RUNTIME_DIR=" + own, "QT_QPA_PLATFORM=offscreen", "LC_ALL=C.UTF-8"});
    start(kProgram, QStringList());
  }
  bool Runs() const { return state() != NotRunning; }
  bool EndsWell() {
    terminate();
    return waitForFinished() && exitStatus() == NormalExit;
  }
};

// Of several starts at the same instant one stays; the others pass their documents on and exit.
TEST(OneInstance, OfManyStartsAtTheSameInstantOneStays) {
  constexpr int kStarts = 4;
  for (int round = 0; round < 3; ++round) {
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

}  // namespace
}  // namespace gravlin::testing
