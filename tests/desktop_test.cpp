// What the program asks of the desktop's services, over a real bus.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <QApplication>
#include <QElapsedTimer>
#include <csignal>
#include <cstdlib>

#include "loopback/rar_writer.h"
#include "paths.h"
#include "platform/native.h"
#include "platform/session_bus.h"
#include "postprocess/hand_off.h"
#include "postprocess/par.h"
#include "support/engine_fixture.h"
#include "support/test_bus.h"

namespace gravlin::testing {
namespace {

constexpr int kAnswered = 5'000;  // milliseconds; the toolkit would wait 25,000

TEST(DesktopTest, SleepIsHeldOffByWhateverServiceThereIsAndForNoLongerThanWanted) {
  for (const QStringList& services : {QStringList{kPortal, kPower}, {kPortal}, {kPower}, {}}) {
    TestBus bus(services);
    const auto desktop = MakeRealDesktop();
    const auto held = [&] { return bus.held.size() == static_cast<std::size_t>(services.size()); };
    for (int work = 0; work < 2; ++work) {
      desktop->KeepAwake(true);
      EXPECT_TRUE(TestClock::PumpUntil(held));
      desktop->KeepAwake(false);
      EXPECT_TRUE(TestClock::PumpUntil([&] { return bus.held.empty(); }));
    }
    // Work that ends before the services have answered.
    bus.slow = true;
    desktop->KeepAwake(true);
    EXPECT_TRUE(TestClock::PumpUntil(held));
    desktop->KeepAwake(false);
    bus.SendKept();
    EXPECT_TRUE(TestClock::PumpUntil([&] { return bus.held.empty(); }));
  }
}

TEST(DesktopTest, ABusThatDoesNotAnswerIsNotWaitedFor) {
  const TempFolder folder;
  sockaddr_un place{};
  place.sun_family = AF_UNIX;
  (folder / "bus").string().copy(place.sun_path, sizeof place.sun_path - 1);
  const int mute = socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_EQ(bind(mute, reinterpret_cast<sockaddr*>(&place), sizeof place), 0);
  ASSERT_EQ(listen(mute, 5), 0);
  const QByteArray mute_address =
      "unix:path=" + QByteArray::fromStdString((folder / "bus").string());
  QElapsedTimer time;
  time.start();
  const auto use = [&](const QByteArray& address) {
    qputenv("DBUS_SESSION_BUS_ADDRESS", address);
    const auto desktop = MakeRealDesktop();
    desktop->KeepAwake(true);
    desktop->Notify("All done!", nullptr);
    PumpEvents(20);
    desktop->KeepAwake(false);
  };
  use(mute_address);
  use("unix:path=/nowhere");
  use("autolaunch:");
  qputenv("DBUS_SESSION_BUS_ADDRESS", mute_address);
  LeaveMuteBus(20);
  EXPECT_EQ(qgetenv("DBUS_SESSION_BUS_ADDRESS"), "disabled:");
  close(mute);

  TestBus bus;
  const QByteArray address = qgetenv("DBUS_SESSION_BUS_ADDRESS");
  LeaveMuteBus();
  EXPECT_EQ(qgetenv("DBUS_SESSION_BUS_ADDRESS"), address);
  {
    const auto desktop = MakeRealDesktop();
    desktop->KeepAwake(true);
    desktop->Notify("<i> & b.par2", nullptr);
    EXPECT_TRUE(TestClock::PumpUntil([&] { return bus.held.size() + bus.notified.size() == 3; }));
    EXPECT_EQ(bus.notified.at(0).at(4), "&lt;i&gt; &amp; b.par2");
    kill(static_cast<pid_t>(bus.daemon.processId()), SIGSTOP);
    desktop->KeepAwake(false);
    desktop->KeepAwake(true);
    desktop->Notify("All done!", nullptr);
    PumpEvents(20);
  }
  EXPECT_LT(time.elapsed(), kAnswered);
  kill(static_cast<pid_t>(bus.daemon.processId()), SIGCONT);
  EXPECT_TRUE(TestClock::PumpUntil([&] { return bus.held.empty(); }));
}

// The real services, and boxes that a test answers.
struct BusDesktop : TestDesktop {
  std::unique_ptr<Desktop> real = MakeRealDesktop();
  std::vector<int> progress;
  void KeepAwake(bool wanted) override { real->KeepAwake(wanted); }
  void Notify(std::string_view text, const std::function<void()>& clicked) override {
    real->Notify(text, clicked);
  }
  void ShowProgress(int percent) override {
    progress.push_back(percent);
    real->ShowProgress(percent);
  }
};

class NightTest : public ProgramTest {
 protected:
  NightTest() { SetDesktop(&desktop); }
  ~NightTest() override {
    End();
    SetDesktop(&Asked());
    Code::ParJobRunning = Code::RarJobRunning = false;
  }
  // While the user works with another program.
  bool RunUnwatched(const std::function<bool()>& done) {
    return clock.RunUntil([&] {
      QApplication::setActiveWindow(nullptr);
      return done();
    });
  }
  // Several looks of the program at its own work; true if it holds no lock then.  All that it sent
  // has come in.
  bool AllQuiet() {
    QApplication::setActiveWindow(nullptr);
    clock.Advance(10'000);
    const auto holds = [&](std::size_t locks) {
      return TestClock::PumpUntil([&] { return bus.held.size() == locks; });
    };
    if (!holds(0)) return false;
    desktop.KeepAwake(true);
    EXPECT_TRUE(holds(2));
    desktop.KeepAwake(false);
    return holds(0);
  }

  TestBus bus;
  BusDesktop desktop;
};

// The news server is silent for most of it.
TEST_F(NightTest, EightHoursTakeOneLockAndGiveItBackAndEndInOneNotification) {
  const std::string film = loopback::RandomBytes(3, 0, 90'000);
  std::filesystem::create_directory(data / "post");
  loopback::WriteRar(data / "post", "set", {{"film.mkv", film}},
                     {.volume_size = 50'000, .comment = ""});
  ASSERT_EQ(std::system(("cd '" + (data / "post").string() +
                         "' && par2 create -q -q -s4000 -c12 s.par2 *.rar")
                            .c_str()),
            0);
  for (const auto& entry : std::filesystem::directory_iterator(data / "post"))
    posted.AddFile(entry.path(), 15'000);
  Serve();
  Import();
  EXPECT_TRUE(bus.locked.empty());
  server->On("ARTICLE", StallAfter(0));
  Start();
  ASSERT_TRUE(clock.RunUntil([&] { return server->Held() > 0 && bus.held.size() == 2; }));
  for (int hour = 0; hour < 8; ++hour) {
    clock.Advance(3'600'000);
    EXPECT_EQ(bus.held.size(), 2u);
  }
  EXPECT_EQ(bus.locked.size(), 2u);
  server->ClearRules();
  for (const PostedFile& file : posted.Files())
    if (file.name == "set.part1.rar")
      server->On("ARTICLE <" + file.ids[0], loopback::FlipByteAt(2000), 1);
  clock.Advance(61'000);
  ASSERT_TRUE(RunUnwatched([&] { return !bus.notified.empty(); }));
  EXPECT_TRUE(AllQuiet());
  EXPECT_TRUE(ReadFile(Downloads() / "Extracted_Files/film.mkv") == film);
  ASSERT_EQ(bus.notified.size(), 1u);
  EXPECT_EQ(bus.notified[0].at(4), "Extraction complete.");
  EXPECT_EQ(desktop.progress.front(), 0);
  EXPECT_TRUE(std::is_sorted(desktop.progress.begin(), desktop.progress.end() - 1));
  EXPECT_EQ(desktop.progress.back(), -1);
  EXPECT_EQ(window->Title(), "Gravlin");

  window->Native().frame->hide();
  bus.Click(8);  // another program's
  EXPECT_TRUE(AllQuiet());
  EXPECT_FALSE(window->Visible());
  bus.Click(7);
  EXPECT_TRUE(TestClock::PumpUntil([&] { return Window::AnyActive(); }));
  EXPECT_TRUE(window->Visible());
}

TEST_F(NightTest, ANotificationNamesWhatHappenedAndNoneComesOfWhatTheUserDid) {
  Post({"a.mkv", "b.mkv"});
  server->On("ARTICLE", Answer("430 gone"), 2);
  server->On("ARTICLE", StallAfter(0), 1);
  Start();
  ASSERT_TRUE(clock.RunUntil([&] { return bus.held.size() == 2; }));
  clock.Advance(61'000);
  ASSERT_TRUE(RunToEnd());
  EXPECT_TRUE(AllQuiet());
  ASSERT_EQ(bus.notified.size(), 1u);
  EXPECT_EQ(bus.notified[0].at(4), "All done, but with errors on 2 posts.");

  server->On("ARTICLE", StallAfter(0));
  Start();
  ASSERT_TRUE(clock.RunUntil([&] { return bus.held.size() == 2; }));
  Start();
  ASSERT_TRUE(RunToEnd());
  EXPECT_TRUE(AllQuiet());
  EXPECT_EQ(bus.notified.size(), 1u) << "Stop";

  Code::fParApp = FolderItem::FromPath(kFakeTool);
  for (const char* set : {"a.par2", "hangs.par2", "seen.par2"}) {
    const std::string script =
        std::string(set) == "hangs.par2" ? "hang" : "write Repair complete.\\n\n";
    OpenParDocument(data.Write(set, script));
    Par& par = *Window::IfOpen<Par>();
    ASSERT_TRUE(clock.RunUntil([&] { return bus.held.size() == 2; }));
    if (script == "hang") {
      par.Close();
      Code::ParJobRunning = false;
    } else {
      ASSERT_TRUE(clock.RunUntil([&] { return par.Phase() == ToolPhase::kReady; }));
    }
    if (std::string(set) == "seen.par2") {
      window->Show();
      clock.Advance(10'000);
    }
    EXPECT_TRUE(AllQuiet());
    EXPECT_EQ(bus.notified.size(), 2u) << set;
  }
  EXPECT_EQ(bus.notified[1].at(4), "Repair complete.");
}

// A killed process gives back what it held.
TEST_F(NightTest, AKilledProgramHoldsNothing) {
  posted.Add("a.mkv", 6000, 2000);
  Serve();
  posted.WriteNzb(data / "set.nzb");
  server->On("ARTICLE", StallAfter(0));
  QProcess drive;
  drive.start(kDrive, {"--data", QString::fromStdString((data / "driven").string()), "--server",
                       "127.0.0.1", "--port", QString::number(server->Port()), "--nzb",
                       QString::fromStdString((data / "set.nzb").string())});
  EXPECT_TRUE(TestClock::PumpUntil([&] { return bus.held.size() == 2; }));
  drive.kill();
  drive.waitForFinished();
  EXPECT_TRUE(TestClock::PumpUntil([&] { return bus.held.empty(); }));
}

}  // namespace
}  // namespace gravlin::testing
