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

constexpr std::string_view kUser = "lena", kPassword = "S3cr3t-Pw";
// Events of the toolkit itself may lead to others; no walk has seen more than two in a row.
constexpr int kQuietTurns = 3;
constexpr int kNestedTurns = 5;  // of the event loop inside one turn of it: a box or a wait

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

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

// The bytes that a yEnc article holds (yEnc draft 1.3).
std::string YencBytes(const std::string& text) {
  std::string bytes;
  std::size_t at = text.find("\r\n", text.find("=ybegin")) + 2;
  if (text.compare(at, 6, "=ypart") == 0) at = text.find("\r\n", at) + 2;
  const std::size_t end = text.find("\r\n=yend");
  for (; at < end; ++at) {
    char c = text[at];
    if (c == '\r' || c == '\n') continue;
    if (c == '=') c = static_cast<char>(text[++at] - 64);
    bytes += static_cast<char>(c - 42);
  }
  return bytes;
}

// One byte of its data is another.
void Damage(std::string& text) {
  std::size_t at = text.find("\r\n", text.find("=ybegin")) + 2;
  if (text.compare(at, 6, "=ypart") == 0) at = text.find("\r\n", at) + 2;
  const std::string_view special = "=\r\n.\0\x0b\x0c<>/\x01\x2f";
  for (at += 3;; ++at) {
    const char to = static_cast<char>(text[at] ^ 1);
    if (special.find(text[at]) == special.npos && special.find(to) == special.npos &&
        text[at - 1] != '=') {
      text[at] = to;
      return;
    }
  }
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

// --- What is posted ---

void World::MakeSets() {
  static constexpr const char* kNames[] = {"film.rar", "FILM.RAR", "a b.avi",  "set.part1.rar",
                                           "x.nfo",    "y.mp3",    "set.par2", "z.rar"};
  for (int number = 0; number < 3; ++number) {
    loopback::PostedSet& set = sets.emplace_back(random_.Next() % 1'000'000);
    const int files = random_.Between(1, 5), first = random_.Below(8);
    for (int i = 0; i < files; ++i) {
      const int part = 45 * random_.Between(3, 30), parts = random_.Between(1, 4);
      const int size = part * (parts - 1) + 45 * random_.Between(1, part / 45);
      // Two files of one NZB with the very same name share their parts: that is no fault.
      const std::string name =
          std::string(1, static_cast<char>('a' + number)) + kNames[(first + i) % std::size(kNames)];
      const int coding = random_.Below(8);
      const std::string body = random_.OneIn(4) ? "body" + std::to_string(random_.Below(4)) +
                                                      std::to_string(number) + ".rar"
                                                : "";
      set.Add(name, size, part,
              coding == 0   ? loopback::Coding::kUu
              : coding == 1 ? loopback::Coding::kBase64
                            : loopback::Coding::kYenc,
              body);
      const loopback::PostedFile& posted = set.Files().back();
      for (const std::string& id : posted.ids) {
        // Often the last one: what follows it is another file's.
        if (random_.OneIn(&id == &posted.ids.back() ? 8 : 25)) missing.insert(id);
        if (random_.OneIn(12) && posted.coding == loopback::Coding::kYenc) damaged.insert(id);
      }
    }
    AddExpected(set);
    set.WriteNzb(folder_ + "/set" + std::to_string(number) + ".nzb");
  }
}

void World::AddExpected(const loopback::PostedSet& set) {
  std::map<std::string, int> named, named_in_all;
  for (const loopback::PostedFile& file : set.Files()) {
    ++named[Lowercase(file.name)];
    ++named_in_all[Lowercase(file.name)];
    if (!SameText(file.name, file.body_name)) ++named_in_all[Lowercase(file.body_name)];
  }
  for (const loopback::PostedFile& file : set.Files()) {
    Expected expected{
        file.name,
        file.body_name,
        {},
        file.ids,
        true,
        named_in_all[Lowercase(file.name)] > 1 || named_in_all[Lowercase(file.body_name)] > 1};
    for (std::size_t part = 0; part < file.ids.size(); ++part) {
      const std::string& id = file.ids[part];
      const std::string text = Article(id).value_or("");
      expected.whole = expected.whole && !missing.contains(id);
      if (text.empty()) continue;
      std::string saved = WireForm(id, text);
      if (file.coding == loopback::Coding::kYenc) {
        saved = ReplaceAll(saved, "\r\n..", "\r\n.");
        expected.bytes += YencBytes(text);
      }
      saved_[id] = saved;
      if (named[Lowercase(file.name)] == 1)
        part_of_[id] = PartFileNameOf(file.name, static_cast<std::int32_t>(part + 1));
    }
    if (file.coding != loopback::Coding::kYenc) expected.bytes = file.read(0, file.size);
    if (expected.whole) contents_.insert(expected.bytes);
    expected_.emplace(file.ids[0], expected);
  }
}

std::optional<std::string> World::Article(const std::string& id) const {
  if (missing.contains(id)) return std::nullopt;
  for (const loopback::PostedSet& set : sets)
    if (auto text = set.Article(id)) {
      if (damaged.contains(id)) Damage(*text);
      return text;
    }
  return std::nullopt;
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
    if (count > descriptors_[kind] + 2)
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

void World::LeaveParts() {
  std::error_code ignored;
  fs::create_directories(folder_ + "/Gravlin/Parts", ignored);
  for (const auto& [first, expected] : expected_) {
    if (random_.OneIn(2)) continue;
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

// --- What must hold ---

void World::Requested(const std::string& id) {
  const auto part = part_of_.find(id);
  if (part == part_of_.end()) return;
  struct stat about {};
  if (stat((folder_ + "/Gravlin/Parts/" + part->second).c_str(), &about) == 0 && about.st_size > 0)
    Fail(part->second + " is asked for, and is there");
}

void World::Check() {
  if (!server->Complaint().empty()) Fail(server->Complaint());
  if (std::exchange(checked_, Disk::Get().ChangeCount()) != Disk::Get().ChangeCount()) {
    CheckParts();
    CheckDownloads();
  }
  if (Window()) {
    CheckFlags();
    CheckRest();
    CheckImport();
    CheckDocuments();
    CheckTools();
  }
}

void World::CheckParts() {
  const std::string folder = folder_ + "/Gravlin/Parts";
  DIR* const entries = opendir(folder.c_str());
  if (!entries) return;
  while (const dirent* const entry = readdir(entries)) {
    const std::string_view filename = FilenameOfPart(entry->d_name);
    if (filename.empty()) continue;
    const std::string path = folder + "/" + entry->d_name;
    struct stat about {};
    if (stat(path.c_str(), &about) != 0 || about.st_size == 0) continue;
    const std::int64_t changed = about.st_ctim.tv_sec * 1'000'000'000 + about.st_ctim.tv_nsec;
    if (std::exchange(seen_[path], changed) == changed) continue;
    std::string text = ReadFile(path);
    const std::size_t begin = text.find("220 0 <");
    const std::size_t end = text.find('>', begin);
    if (begin == text.npos || end == text.npos) {
      Fail(path + " is no article, it begins with \"" +
           ReplaceAll(text.substr(0, 60), "\r\n", "|") + "\"");
      continue;
    }
    const std::string id = text.substr(begin + 7, end - begin - 7);
    text.erase(0, begin);
    const auto saved = saved_.find(id);
    // Its last LF may be missing, or lost.
    if (saved == saved_.end() || text.size() > saved->second.size() ||
        text.size() + 1 < saved->second.size() ||
        text.substr(0, saved->second.size() - 1) !=
            saved->second.substr(0, saved->second.size() - 1))
      Fail(path + " is not the whole article " + id);
    const auto part = part_of_.find(id);
    if (part != part_of_.end() && !SameText(part->second, entry->d_name))
      Fail(path + " holds the article of " + part->second);
  }
  closedir(entries);
}

void World::CheckDownloads() {
  const std::string folder = folder_ + "/Gravlin/Downloads";
  DIR* const entries = opendir(folder.c_str());
  if (!entries) return;
  while (const dirent* const entry = readdir(entries)) {
    const std::string path = folder + "/" + entry->d_name;
    struct stat about {};
    if (lstat(path.c_str(), &about) != 0 || !S_ISREG(about.st_mode)) continue;
    if (std::string_view(entry->d_name).starts_with(FolderItem::kHalfMoved)) continue;
    const std::int64_t changed = about.st_ctim.tv_sec * 1'000'000'000 + about.st_ctim.tv_nsec;
    if (std::exchange(seen_[path], changed) == changed) continue;
    const std::string bytes = ReadFile(path);
    if (contents_.contains(bytes)) continue;
    Fail(path + " is no file that was posted");
  }
  closedir(entries);
}

void World::CheckFlags() {
  const Gravlin& window = *Window();
  const Situation now = window.CurrentSituation();
  if (now.step) Fail("a step of the engine has not ended");
  if (now.loading_list && LiveThreads() == 0) Fail("the list is being loaded by nobody");
  if (now.joining && now.assemblies == 0) Fail("a file is joined by nobody");
  if (now.assemblies > LiveThreads()) Fail("assemblies are counted that are no threads");
  if (now.logged_on && !now.running) Fail("logged on outside a run");
  const bool stop = window.pbStart.Caption() == "Stop";
  if (stop && !now.running && !odd_stop_) Fail("the button says Stop and no run is under way");
  if (!stop && now.running && !now.signing_off) Fail("the button says Start in a run");
  if (!window.pbStart.Enabled() && !now.signing_off && !now.loading_list && !odd_stop_)
    Fail("the button is disabled for no reason");
  if (stopped_ && now.running && window.State() != states::kSentQuit) Fail("a Stop was undone");
  if (LiveThreads() == 0) {
    if (!Code::DBFree && !Code::DBKept) Fail("the right to write is held by nobody");
    if (Code::PendingWrites() > 0) Fail("writes wait without a thread");
    if (now.assembling && !now.thread_flag && now.running) Fail("an assembly that nobody does");
  }
}

void World::CheckRest() {
  if (Window()->stStatus.Text().find(kPassword) != std::string::npos)
    Fail("the password is in the status");
  const std::string log = folder_ + "/Gravlin/Gravlin_Debug..txt";
  struct stat about {};
  if (stat(log.c_str(), &about) == 0 && std::exchange(seen_[log], about.st_size) != about.st_size &&
      ReadFile(log).find(kPassword) != std::string::npos)
    Fail("the password is in the log");
}

// A list that is said to be imported is there, and no other.
void World::CheckImport() {
  if (imported_ < 0 || LiveThreads() > 0 || locker_) return;
  const std::string text =
      "set" + std::to_string(imported_) + ".nzb imported. Click Start to begin downloading.";
  if (Window()->stStatus.Text() != text) return;
  const int files = static_cast<int>(sets[static_cast<std::size_t>(imported_)].Files().size());
  const auto rows = Window()->db->SQLSelect("Select ID from NZBFiles");
  if (!rows) return;  // the disk does not let it be read
  if (Window()->List.ListCount() != files || rows->RecordCount() != files)
    Fail("the list is not the one that was imported: " + std::to_string(files) + " files were, " +
         std::to_string(Window()->List.ListCount()) + " are in the list and " +
         std::to_string(rows->RecordCount()) + " in the store");
}

// Each document is run, in its turn.
void World::CheckDocuments() {
  std::ifstream log(folder_ + "/tool.log");
  int last = 0;
  for (std::string line; std::getline(log, line);) {
    const std::size_t at = line.rfind("/doc");
    if (at == line.npos) continue;
    const int number = std::atoi(line.c_str() + at + 4);
    if (number < last || (number > last + 1 && number > lost_documents_ + 1))
      Fail("document " + std::to_string(number) + " runs after " + std::to_string(last));
    last = number;
  }
}

// One run of a tool in the whole program.
void World::CheckTools() {
  int repairs = 0, extractions = 0;
  for (gravlin::Window* const window : gravlin::Window::All()) {
    const auto* const tool = dynamic_cast<const ToolWindow*>(window);
    if (!tool || tool->Phase() == ToolPhase::kReady || tool->Phase() == ToolPhase::kWaiting)
      continue;
    ++(dynamic_cast<const Par*>(tool) ? repairs : extractions);
  }
  if (repairs > 1 || extractions > 1) Fail("two runs of one tool");
  if ((repairs > 0 && !Code::ParJobRunning) || (extractions > 0 && !Code::RarJobRunning))
    Fail("a tool runs without the right");
}

// --- The end ---

void World::StopFaults() {
  FreeStore();
  Disk::Get().Fail(DiskFault::kNone, 0);
  server->BehaveWell();
  offload_delay = 0;
}

bool World::AllThere() {
  if (current_set_ < 0) return true;
  for (const loopback::PostedFile& file : sets[static_cast<std::size_t>(current_set_)].Files()) {
    const Expected& expected = expected_.at(file.ids[0]);
    if (!expected.whole || expected.collides) continue;
    bool there = false;
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(folder_ + "/Gravlin/Downloads", ignored))
      there = there || (entry.is_regular_file() && ReadFile(entry.path()) == expected.bytes);
    if (!there) return false;
  }
  return true;
}

// A set is imported anew, since the last import may have been a broken one.
void World::Finish() {
  StopFaults();
  if (!app || Application::Quitting()) Kill();
  Kill();
  Launch();
  FillForm();
  Advance(3000);
  current_set_ = random_.Below(static_cast<int>(sets.size()));
  Import(current_set_);
  Advance(10'000);
  for (int runs = 0; runs < 6 && !AllThere(); ++runs) {
    if (!Window()) {
      Fail("there is no window");
      return;
    }
    PressStart();
    for (int waits = 0; waits < 30; ++waits) {
      Advance(10'000);
      Check();
      if (!failure_.empty()) return;
      if (!Window()->CurrentSituation().running && LiveThreads() == 0) break;
    }
    if (Window()->CurrentSituation().running)
      Fail("a run does not end: " + Window()->State() + " " + Window()->stStatus.Text());
    if (!failure_.empty()) return;
  }
  if (AllThere()) return;
  Fail("not every file came: " + Window()->stStatus.Text());
}

}  // namespace gravlin::walks
