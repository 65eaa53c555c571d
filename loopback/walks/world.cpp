// What happens, and what must hold.
#include "world.h"

#include <dirent.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "base/code.h"
#include "disk.h"
#include "engine/part_files.h"
#include "engine/states.h"
#include "engine/work_ahead.h"
#include "platform/calls.h"
#include "platform/fibers.h"
#include "platform/streams.h"
#include "platform/text.h"
#include "platform/thread.h"
#include "platform/window.h"
#include "postprocess/par.h"
#include "postprocess/tool_window.h"
#include "store/writers.h"

namespace gravlin::walks {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kUser = "lena";
// Events of the toolkit itself may lead to others; no walk has seen more than two in a row.
constexpr int kQuietTurns = 3;
constexpr int kNestedTurns = 5;  // of the event loop inside one turn of it: a box or a wait

// How many there are of each kind: files by their path, "socket:" and the like.
std::map<std::string, int> Descriptors() {
  std::map<std::string, int> kinds;
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    const std::string target = fs::read_symlink(entry.path(), gone).string();
    ++kinds[target.substr(0, target.find('['))];
  }
  return kinds;
}

// A child of this process that has not ended.
bool ToolRuns() {
  siginfo_t child{};
  return waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT) == 0 && child.si_pid == 0;
}

}  // namespace

World::World(const std::string& folder, std::uint64_t seed) : random_(seed), folder_(folder) {
  fs::remove_all(folder_);
  fs::create_directories(folder_ + "/kept");
  // A tool that notes its last word, and mostly is through at once.
  std::ofstream(folder_ + "/tool")
      << "#!/bin/sh\nfor last; do :; done\necho \"$last\" >>" << folder_ << "/tool.log\n"
      << "case $last in *[369].par2) ;; *.par2) echo 'All files are correct, repair is not "
         "required.' ;; "
         "*) echo 'All OK' ;; esac\n";
  fs::permissions(folder_ + "/tool", fs::perms::owner_all);
  SetClock(this);
  SetDesktop(this);
  SetSlice(random_.OneIn(2) ? 0 : 1'000'000);
  WorkAhead::SetLeastBytes(0);
  SetOffload([this](const std::function<void()>& work) {
    if (offload_delay > 0) Thread::Sleep(random_.Below(offload_delay));
    work();
    Thread::Sleep(offload_delay > 0 ? random_.Below(offload_delay) : 0);
  });
  MakeSets();
  server = std::make_unique<Server>(
      [this](std::string_view id) { return Article(std::string(id)); }, [this] { return now_; });
  server->requested = [this](const std::string& id) { Requested(id); };
  if (random_.OneIn(2)) server->user = kUser, server->password = kPassword;
  Disk::Get().Watch(folder_ + "/Gravlin", folder_ + "/kept");
  SpecialFolder::SetApplicationData(FolderItem::FromPath(folder_));
  Code::GotMessage = true;
  Rearm();
  Launch();
  FillForm();
}

World::~World() {
  Kill();
  *armed_ = false;
  SpecialFolder::SetApplicationData({});
  Disk::Get().Forget();
  SetOffload(nullptr);
  SetSlice(8);
  SetDesktop(nullptr);
  SetClock(nullptr);
  std::error_code ignored;
  fs::remove_all(folder_, ignored);
}

// --- The program ---

Gravlin* World::Window() const { return gravlin::Window::IfOpen<Gravlin>(); }

void World::Launch() {
  static int argc = 1;
  static char name[] = "gravlin";
  static char* argv[] = {name, nullptr};
  odd_stop_ = false;
  app = std::make_unique<App>(argc, argv);
  app->Event_Open();
  Code::fParApp = Code::fRarApp = FolderItem::FromPath(folder_ + "/tool");
  Settle();
}

// The destructors run, which a kill would not let them; nothing waits for work under way.
void World::Kill() {
  FreeStore();
  app.reset();
  if (LiveThreads() > 0) Fail("threads live on after the end of the program");
  if (Code::PendingWrites() > 0) Fail("writers live on after the end of the program");
  if (NextCallDue() >= 0) Fail("a timer runs after the end of the program");
  // Those of the server's connections come and go.
  server->CutAll();
  for (int passes = 0; passes < 4; ++passes) Pump();
  const std::map<std::string, int> descriptors = Descriptors();
  if (descriptors_.empty()) descriptors_ = descriptors;
  for (const auto& [kind, count] : descriptors)
    // Those without a name wake the toolkit's own threads, which come and go.
    if (kind != "anon_inode:" && count > descriptors_[kind] + 2)
      Fail(std::to_string(count - descriptors_[kind]) + " descriptors stay open: " + kind);
  stopped_ = false;
  imported_ = -1;
  LoseDocuments();
  Code::ActiveFiles.clear();
  Code::ParJobRunning = Code::RarJobRunning = false;
  seen_.clear();
  checked_ = 0;
}

void World::Quit() {
  if (!app) return;
  Application::Quit();
  // The end of the process; the pause between two looks whether writers have ended may be running.
  for (int waits = 0; waits < 60 && Code::PendingWrites() > 0; ++waits) Advance(200);
  app.reset();
  Advance(1000);
  Kill();
}

void World::LosePower() {
  Kill();
  Disk::Get().LosePower(random_);
}

void World::LeaveParts(int set) {
  std::error_code ignored;
  fs::create_directories(folder_ + "/Gravlin/Parts", ignored);
  for (const auto& [first, expected] : expected_) {
    if (random_.OneIn(2) || (set >= 0 && expected.name[0] != 'a' + set)) continue;
    const bool some = random_.OneIn(4);
    for (const std::string& id : expected.ids) {
      const auto part = part_of_.find(id);
      if (part == part_of_.end() || !saved_.contains(id) || (some && random_.OneIn(3))) continue;
      std::ofstream(folder_ + "/Gravlin/Parts/" + part->second, std::ios::binary) << saved_.at(id);
    }
  }
}

void World::Import(int set) {
  if (!Window()) return;
  Window()->fNZB = FolderItem::FromPath(folder_ + "/set" + std::to_string(set) + ".nzb");
  Window()->InitNZBFile();
  imported_ = set;
  Settle();
}

void World::OpenDocument() {
  if (!app) return;
  const std::string name = "doc" + std::to_string(++documents_) + ".par2";
  app->Event_OpenDocument(FolderItem::FromPath(folder_ + "/" + name));
  Settle();
}

void World::StartTwice() {
  if (!app || !Window()) return;
  if (LockFile(Code::AppDataFolder.Child("Gravlin.lock")))
    Fail("a second program could work in the folder");
  gravlin::Window::All().front()->Show();
  OpenDocument();
}

void World::ImportText(const std::string& text) {
  if (!Window()) return;
  imported_ = -1;
  std::ofstream(folder_ + "/broken.nzb", std::ios::binary) << text;
  Window()->pbSelect.DropObject(DragItem{FolderItem::FromPath(folder_ + "/broken.nzb")});
  Settle();
}

void World::PressStart() {
  Gravlin* const window = Window();
  if (!window) return;
  // Start without a list keeps its odd end.
  if (window->pbStart.Enabled()) {
    odd_stop_ = window->List.ListCount() == 0;
    stopped_ = window->pbStart.Caption() == "Stop";
  }
  window->pbStart.Push();
  Settle();
}

void World::FillForm() {
  Gravlin* const window = Window();
  if (!window) return;
  window->efURL.SetText("127.0.0.1");
  window->efPort.SetText(std::to_string(server->Port()));
  window->efUserName.SetText(server->user);
  window->efPassword.SetText(server->password);
  window->pmSSL.SetListIndex(0);
  Settle();
}

// --- Time ---

void World::Pump() {
  nested_ = 0;
  PumpEvents(0);
}

void World::Settle() {
  ++depth_;
  // Of the calls one is always our own.
  for (int quiet = 0, turns = 0; quiet < kQuietTurns && turns < 50'000; ++turns) {
    bool busy = server && server->Turn();
    Pump();
    busy = busy || ReadyThreads() > 0 || CallsWaiting() > 1;
    quiet = busy ? 0 : quiet + 1;
    if (quiet < kQuietTurns) continue;
    for (int waits = 0; ToolRuns() && waits < 5'000; ++waits) PumpEvents(1), quiet = 0;
  }
  --depth_;
}

void World::Advance(std::int64_t milliseconds) {
  ++depth_;
  const std::int64_t target = now_ + milliseconds;
  Settle();
  for (int turns = 0; turns < 100'000; ++turns) {
    std::int64_t due = NextCallDue();
    const std::int64_t bytes = server ? server->NextDue() : -1;
    if (due < 0 || (bytes >= 0 && bytes < due)) due = bytes;
    if (locker_ && (due < 0 || locked_until_ < due)) due = locked_until_;
    if (due < 0 || due > target) break;
    now_ = std::max(now_, due);
    if (locker_ && now_ >= locked_until_) FreeStore();
    RunDueCalls();
    Settle();
  }
  now_ = std::max(now_, target);
  Settle();
  --depth_;
}

// Stays in the queue of the event loop.  In a loop inside another one, of a box or a wait, nobody
// else lets the time pass.
void World::Rearm() {
  armed_ = std::make_shared<bool>(true);
  struct Again {
    static void Post(World* world, std::shared_ptr<bool> armed) {
      CallSoon([world, armed] {
        if (!*armed) return;
        Post(world, armed);
        world->Nested();
      });
    }
  };
  Again::Post(this, armed_);
}

void World::Nested() {
  if (++nested_ <= kNestedTurns) return;
  if (server) server->Turn();
  now_ += 5;
  if (locker_ && now_ >= locked_until_) FreeStore();
  RunDueCalls();
}

void World::LockStore(std::int64_t milliseconds) {
  if (locker_ || !app) return;
  // It may itself have to wait for the program.
  auto locker = std::make_unique<Database>(Code::fGlobalDB);
  if (!locker->Connect()) return;
  locker->SQLExecute("Update Settings Set LastMessageID=LastMessageID");
  locker_ = std::move(locker);
  locked_until_ = now_ + milliseconds;
}

void World::FreeStore() {
  if (!locker_) return;
  locker_->Rollback();
  locker_.reset();
}

int World::MsgBox(std::string_view text, int code, std::string_view) {
  if (text.find(kPassword) != text.npos) Fail("the password is in a box");
  if (text.find("could not be imported") != text.npos) imported_ = -1;
  if (depth_ < 8 && random_.OneIn(2)) Advance(random_.Below(3000));
  return code == 0 ? 1 : random_.Between(1, 2);
}

}  // namespace gravlin::walks
