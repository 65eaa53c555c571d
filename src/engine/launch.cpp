// What a start, or a finished import, finds: settings, folders, and how far each file has come.
#include <algorithm>
#include <string>
#include <vector>

#include "base/code.h"
#include "engine/active_files.h"
#include "engine/engine.h"
#include "engine/leftovers.h"
#include "engine/part_files.h"
#include "engine/run_view.h"
#include "platform/desktop.h"
#include "platform/folder_reader.h"
#include "platform/text.h"
#include "platform/thread.h"
#include "store/database.h"

namespace gravlin {

void Engine::OpenStore() {
  db = std::make_unique<Database>(Code::fGlobalDB);
  if (!db->Connect()) MsgBox("Gravlin.Open can't open Gravlin.rsd database file.");
}

void Engine::Resume() {
  LoadServer();
  LoadSettings();
  if (CheckFolders()) {
    LoadFiles();
    RemoveLeftovers();
  }
  SetStatus("Ready.");
}

void Engine::Abandon() {
  Code::RemoveFromActiveFiles(PartFileName);
  // Replies during the last writes would only add more writes.
  SetRunning(false);
  News.Close();
}

void Engine::LoadSettings() {
  const auto settings = db->SQLSelect("Select * from Settings_Gravlin");
  if (settings && !settings->EndOfFile()) {
    BytesLeft = settings->Field("ExpectedBytes").DoubleValue() -
                settings->Field("CompletedBytes").DoubleValue();
    SetStatus("Click start to resume downloading.");
  }
  view_.ShowBar(0);
  FilesIndex = -1;
  LoadServer();
}

bool Engine::CheckFolders() {
  const auto find_or_make = [](std::string_view name, FolderItem& folder) {
    folder = Code::AppDataFolder.Child(name);
    if (folder.IsNil()) {
      MsgBox("Can't find or create " + std::string(name) + " folder inside your Gravlin folder.");
      return false;
    }
    if (!folder.Exists()) folder.CreateAsFolder();
    return true;
  };
  if (!find_or_make("Parts", fParts) || !find_or_make("Downloads", fDownloads)) return false;
  part_flush_.Use(fParts);
  return true;
}

// What the folders say is the memory of earlier runs.
void Engine::LoadFiles() {
  PartsDone = 0;
  // The articles of a long set are many megabytes, and are not looked at here.
  const auto files = db->SQLSelect(
      "Select ID, Filename, TotalParts, ServerErrors, Groups from NZBFiles Order by Filename");
  if (!files || files->EndOfFile()) return;
  for (; !files->EndOfFile(); files->MoveNext()) {
    AddFileRow(*files);
    Thread::Yield();
  }
  SetStatus("Scanning parts folder...");
  const std::string complete = ScanPartsFolder();
  UpdateBar1();
  List.SetListIndex(0);
  // A run has a file of its own in these fields; the next Start finds the complete one.
  if (complete.empty() || !may::AssembleOutsideRun(CurrentSituation())) return;
  const auto file = db->SQLSelect(
      "Select TotalParts, ID, Ext, Parts from NZBFiles where Filename='" + complete + "'");
  if (!file || file->EndOfFile()) return;
  // Numbers may run beyond the count; a part that is left out here would be lost.
  const std::int32_t total = file->Field("TotalParts").IntegerValue();
  std::int32_t largest = total, present = 0;
  for (const std::string& entry : Split(file->Field("Parts").StringValue(), ",")) {
    const std::int32_t number = ToInt32(Val(entry));
    largest = std::max(largest, number);
    const FolderItem part = fParts.Child(PartFileNameOf(complete, number));
    if (PartIsThere(part)) ++present;
  }
  // The row may have been given the parts of another file, whose name differs in case alone.
  if (present < total) return;
  TheFilename = complete;
  TheExt = file->Field("Ext").StringValue();
  DownloaderFilesID = file->Field("ID").IntegerValue();
  LargestPartNo = largest;
  StartConcat();
}

bool Engine::IsInDownloads(std::string_view filename) const {
  const FolderItem finished = fDownloads.Child(filename);
  return !finished.IsNil() && finished.Exists();
}

void Engine::RemoveLeftovers() {
  const auto is_finished = [this](std::string_view filename) {
    const int row = filename.empty() ? -1 : List.FindRow(filename);
    return row >= 0 && List.At(row).filename == filename && List.At(row).done;
  };
  for (const std::string& name : fParts.ChildNames()) {
    const std::string_view filename = FilenameOfPart(name);
    const bool temporary = filename.empty() && name.starts_with("nzb_temp.");
    const bool joined = name.ends_with(".txt") && is_finished(Left(name, Len(name) - 4));
    if (temporary || joined || is_finished(filename)) fParts.Child(name).Delete();
  }
  for (const std::string& name : fDownloads.ChildNames())
    if (name.starts_with(FolderItem::kHalfMoved) && List.FindRow(name) < 0)
      fDownloads.Child(name).Delete();
}

void Engine::AddFileRow(const RecordSet& row) {
  const std::string filename = row.Field("Filename").StringValue();
  const std::int32_t total = row.Field("TotalParts").IntegerValue();
  const bool done = IsInDownloads(filename);
  List.Add({.filename = filename,
            .done = done,
            .total_parts = total,
            .parts_present = done ? total : 0,
            .errors = row.Field("ServerErrors").IntegerValue(),
            .groups = row.Field("Groups").StringValue(),
            .id = row.Field("ID").IntegerValue()});
  ExpectedParts +=
      total;  // a second import adds to the first, until Finish sets the bar to its end
  if (done) PartsDone += total;
}

// Counts the parts of each file and returns the name of the last one found complete; empty if none
// is.
std::string Engine::ScanPartsFolder() {
  std::string complete;
  std::vector<std::string> names;
  Thread::Offload([&names, folder = fParts, import = leftovers_.get()] {
    names = folder.ChildNames();
    const FolderReader reader(folder);
    // Empty is what a crash can leave: counts as absent.
    std::erase_if(names, [&](const std::string& name) {
      return !(import && import->HasSeen(name)) && reader.Length(name) == 0;
    });
  });
  for (const std::string& name : names) {
    Thread::Yield();
    const std::string_view filename = FilenameOfPart(name);
    if (filename.empty()) continue;
    const int row = List.FindRow(filename);
    if (row < 0 || List.At(row).done) continue;
    List.CountPart(row);
    const FileRow& file = List.At(row);
    if (file.parts_present == file.total_parts) complete = file.filename;
    ++PartsDone;
    List.SetListIndex(row);
  }
  return complete;
}

}  // namespace gravlin
