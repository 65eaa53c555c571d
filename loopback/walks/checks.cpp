// What must hold whatever happens, and that all comes in the end.
#include <dirent.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>

#include "base/code.h"
#include "disk.h"
#include "engine/part_files.h"
#include "engine/states.h"
#include "platform/fibers.h"
#include "platform/text.h"
#include "platform/window.h"
#include "postprocess/par.h"
#include "postprocess/tool_window.h"
#include "store/writers.h"
#include "world.h"

namespace gravlin::walks {
namespace {

namespace fs = std::filesystem;

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

}  // namespace

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
