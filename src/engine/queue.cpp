// From one file to the next: Start, the files that are passed over, and the end of a run.
#include <algorithm>

#include "engine/active_files.h"
#include "engine/engine.h"
#include "engine/engine_step.h"
#include "engine/part_files.h"
#include "engine/run_view.h"
#include "engine/states.h"
#include "nzb/names.h"
#include "platform/application.h"
#include "platform/desktop.h"
#include "platform/text.h"
#include "platform/thread.h"
#include "store/database.h"

namespace gravlin {
namespace {

// What a user who sees the end of a run for the first time may do.  The names are those of the
// set's first repair file and first volume.
std::string AdviceAfter(int errors, const std::string& par, const std::string& rar) {
  std::string advice;
  if (errors > 0)
    advice = Format(errors, "###,###,##0") + (errors == 1 ? " post has" : " posts have") +
             " not come. Show Files says of which files; Start asks for them again. ";
  if (!par.empty()) return advice + "The set is now checked, and unpacked if it is an archive.";
  if (!rar.empty())
    return advice +
           "A set without PAR2 files is not unpacked by itself: choose RAR Decoder in the File "
           "menu, and there " +
           rar + ".";
  return advice + "Your files are in the Downloads folder. Step 6 opens it.";
}

}  // namespace

void Engine::pbStart_Action() {
  if (!button_stops_ && !RoomForTheRest()) return;
  const EngineStep step(*this);
  if (button_stops_) {
    SetStartButton(false);
    StopScanning();
    return;
  }
  Files.clear();
  for (int row = 0; row < List.ListCount(); ++row) {
    Files.push_back(List.At(row).id);
    Thread::Yield();
  }
  // Changed before LogOn has looked at the list: Start with an empty list leaves the button at
  // "Stop", and the press after it signs off from nothing.
  SetStartButton(true);
  SessionStartTick = Ticks();
  SessionBytes = 0;
  TotalErrors = 0;
  given_up_.clear();
  foreign_.clear();
  disk_failures_ = 0;
  stop_reason_.clear();
  if (!FirstStartDone) {
    FirstStartDone = true;
    OverallStartTick = Ticks();
    LogOn();
    return;
  }
  for (int row = 0; row < List.ListCount(); ++row) {
    if (List.At(row).done) continue;
    FilesIndex = row - 1;
    LogOn();
    return;
  }
  MsgBox("All files have been downloaded.");
  Stop();
}

// Files that are passed over would lead here again from inside the call.  Such a call only leaves a
// request, so that the stack stays flat however many files are finished.
void Engine::GetNextFile() {
  ++next_file_requests_;
  if (walking_queue_) return;
  struct Walk {
    Engine& engine;
    explicit Walk(Engine& e) : engine(e) { engine.walking_queue_ = true; }
    ~Walk() {
      engine.walking_queue_ = false;
      engine.next_file_requests_ = 0;
    }
  } walk(*this);
  const EngineStep step(*this);
  while (next_file_requests_ > 0) {
    --next_file_requests_;
    Code::RemoveFromActiveFiles(PartFileName);
    if (Reconecting) {
      if (FilesIndex == -1) FilesIndex = 0;
      Reconecting = false;
    } else {
      ++FilesIndex;
    }
    if (FilesIndex >= static_cast<std::int32_t>(Files.size()))
      Finish();
    else if (!LoadNextFile())
      ++next_file_requests_;
    Thread::Yield();
  }
}

bool Engine::LoadNextFile() {
  const auto file = db->SQLSelect("Select * From NZBFiles where ID=" + Str(Files[FilesIndex]));
  if (!file) {
    RecordUnreadRow(db->ErrorMessage());
    return false;
  }
  if (file->EndOfFile()) return false;  // a new import has taken the row away
  const std::string filename = file->Field("Filename").StringValue();
  Groups = Split(file->Field("Groups").StringValue(), ",");
  iGroups = 0;
  if (SameText(file->Field("Done").StringValue(), "Yes")) {
    if (const int row = SelectRowOf(filename); row >= 0) List.SetMessage(row, "File already done.");
    WriteDebug("LoadNextFile", "File already done: " + filename);
    return false;
  }
  if (IsInDownloads(filename)) {
    if (const int row = SelectRowOf(filename); row >= 0)
      List.SetMessage(row, "File present in Downloads folder.");
    WriteDebug("LoadNextFile", "File present in Downloads folder: " + filename);
    return false;
  }
  // Together and before events run: an import compares them with its list.
  TheFilename = filename;
  file_replaced_ = false;
  DownloaderFilesID = file->Field("ID").IntegerValue();
  ArticleIndex = -1;
  Article = Split(file->Field("Parts").StringValue(), ",");
  for (const std::string& entry : Article) {
    LargestPartNo = std::max(LargestPartNo, ToInt32(Val(entry)));
    Thread::Yield();
  }
  WriteDebug("LoadNextFile",
             Str(static_cast<std::int64_t>(Article.size())) + " article numbers in Article array.");
  TotalParts = file->Field("TotalParts").IntegerValue();
  TheExt = file->Field("Ext").StringValue();
  const auto [present, missing] = FindParts();
  if (present == TotalParts) {
    // The rest of the reply that led here may still be on its way.  In this state nothing judges
    // it.
    ClearNewsBuffer();
    EnterState(states::kArticleDone);
    StartConcat();
    return true;
  }
  if (!missing.IsNil() && !DiskTakes(missing)) {
    GiveUpFile("Disk error: the disk does not take the name " + missing.Name(), present);
    return false;
  }
  SelectRowOf(TheFilename);
  InitGroup();
  return true;
}

// Fills parts_on_disk_.  Gives how many of the first TotalParts entries lie there, and the part of
// the first entry that does not.
std::pair<std::int32_t, FolderItem> Engine::FindParts() {
  parts_on_disk_.Clear();
  std::int32_t present = 0;
  FolderItem missing;
  for (std::size_t i = 0; i < Article.size(); ++i) {
    const std::int32_t number = ToInt32(Val(Article[i]));
    const FolderItem part = fParts.Child(PartName(number));
    if (PartIsThere(part)) {
      parts_on_disk_.Add(number);
      if (static_cast<std::int32_t>(i) < TotalParts) ++present;
    } else if (missing.IsNil()) {
      missing = part;
    }
    Thread::Yield();
  }
  return {present, missing};
}

// The store cannot be read: the file is an error of this run, and its turn comes again in the next.
void Engine::RecordUnreadRow(std::string_view why) {
  const std::string text = "Store error: " + std::string(why);
  WriteDebug("LoadNextFile", text);
  TheFilename.clear();
  for (int row = 0; row < List.ListCount() && TheFilename.empty(); ++row)
    if (List.At(row).id == Files[FilesIndex]) TheFilename = List.At(row).filename;
  RecordError(text);
}

// Before the first request of a file: a name that the disk refuses, as FAT refuses "?", would have
// each article fetched and thrown away.  Takes the same steps as SavePart.  Where not even the
// scratch file can be made the name is not the reason, and SavePart finds the one that is.
bool Engine::DiskTakes(const FolderItem& part) {
  FolderItem scratch = ScratchFile();
  scratch.Delete();  // of a run that was killed
  if (part.Exists() && part.Length() == 0) part.Delete();
  if (!scratch.CreatePrivateFile()) return true;
  const bool taken = scratch.SetName(part.Name());
  scratch.Delete();
  return taken;
}

// One error for the file, whose missing parts count as dealt with.
void Engine::GiveUpFile(const std::string& why, std::int32_t present) {
  SetStatus(why);
  WriteDebug("LoadNextFile", why);
  RecordError(why);
  PartsDone += TotalParts - present;
  UpdateBar1();
}

void Engine::Finish() {
  if (!may::Finish(CurrentSituation())) return;
  EnterState(states::kSentQuit);
  WriteDebug("Finish", "Sending command: Quit");
  Send("Quit");
  std::string status = "All done!", logged = "All done.";
  if (TotalErrors != 0) {
    status = "All done, but with errors on " + Format(TotalErrors, "###,###,##0") + " posts.";
    logged = status;
  }
  SetStatus(status);
  WriteDebug("Finish", logged);
  SetStartButton(false);
  SetRunning(false);
  AllowStart();
  if (FileCreated) OpenDownloadsFolder();
  view_.ShowTotalTime((Ticks() - OverallStartTick) / 60);
  view_.ShowBar(100);
  Code::RemoveFromActiveFiles(PartFileName);
  ParFilename.clear();
  RarFilename.clear();
  for (int row = 0; row < List.ListCount(); ++row) {
    const std::string name = List.At(row).filename;
    if (ParFilename.empty() &&
        (EndsWith(name, ".par") || (EndsWith(name, "par2") && !InStr(name, ".vol"))))
      ParFilename = name;
    if (RarFilename.empty() && Code::IsFirstVolume(name)) RarFilename = name;
    Thread::Yield();
  }
  view_.ShowAdvice(AdviceAfter(TotalErrors, ParFilename, RarFilename));
  if (!ParFilename.empty()) StartPar();
}

void Engine::OpenDownloadsFolder() {
  if (!fDownloads.IsNil()) fDownloads.Launch();
}

// Without an archive in the set, `rar` is the folder itself; see Par::Finish.
void Engine::StartPar() {
  const std::string folder = fDownloads.AbsolutePath();
  const FolderItem par = FolderItem::FromAbsolutePath(folder + ParFilename);
  const FolderItem rar = FolderItem::FromAbsolutePath(folder + RarFilename);
  WriteDebug("Gravlin.StartPar()", "fPAR = " + par.AbsolutePath());
  WriteDebug("Gravlin.StartPar()", "fRAR = " + rar.AbsolutePath());
  view_.BeginRepair(par, rar);
}

// Equal values sort as "before", in both directions.
bool Engine::List_CompareRows(int row1, int row2, int column, int& result) const {
  if (column < ListColumn::kTotalParts || column > ListColumn::kErrors) return false;
  result = Val(List.Cell(row2, column)) < Val(List.Cell(row1, column)) ? 1 : -1;
  return true;
}

}  // namespace gravlin
