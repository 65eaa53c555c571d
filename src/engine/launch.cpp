// What a start, or a finished import, finds: settings, folders, and how far each file has come.
#include <algorithm>
#include <string>
#include <vector>

#include "base/code.h"
#include "engine/gravlin.h"
#include "engine/part_files.h"
#include "platform/desktop.h"
#include "platform/text.h"
#include "platform/thread.h"
#include "store/writers.h"

namespace gravlin {

void Gravlin::LoadSettings() {
  const auto settings = db->SQLSelect("Select * from Settings_Gravlin");
  if (settings && !settings->EndOfFile()) {
    BytesLeft = settings->Field("ExpectedBytes").DoubleValue() -
                settings->Field("CompletedBytes").DoubleValue();
    stStatus.SetText("Click start to resume downloading.");
  }
  barProgress.SetValue(0);
  FilesIndex = -1;
  LoadServer();
}

bool Gravlin::CheckFolders() {
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
void Gravlin::LoadFiles() {
  PartsDone = 0;
  // The articles of a long set are many megabytes, and are not looked at here.
  const auto files = db->SQLSelect(
      "Select ID, Filename, TotalParts, ServerErrors, Groups from NZBFiles Order by Filename");
  if (!files || files->EndOfFile()) return;
  for (; !files->EndOfFile(); files->MoveNext()) {
    AddFileRow(*files);
    Thread::Yield();
  }
  stStatus.SetText("Scanning parts folder...");
  stStatus.Refresh();
  const std::string complete = ScanPartsFolder();
  UpdateBar1();
  List.SetListIndex(0);
  List.SetScrollPosition(0);
  List.Refresh();
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

bool Gravlin::IsInDownloads(std::string_view filename) const {
  const FolderItem finished = fDownloads.Child(filename);
  return !finished.IsNil() && finished.Exists();
}

void Gravlin::RemoveLeftovers() {
  const auto is_finished = [this](std::string_view filename) {
    const int row = filename.empty() ? -1 : List.FindRow(filename);
    return row >= 0 && List.Cell(row, ListColumn::kFilename) == filename &&
           SameText(List.Cell(row, ListColumn::kDone), "Yes");
  };
  for (const std::string& name : fParts.ChildNames()) {
    const std::string_view filename = FilenameOfPart(name);
    const bool temporary = filename.empty() && name.starts_with("nzb_temp.");
    const bool joined = name.ends_with(".txt") && is_finished(gravlin::Left(name, Len(name) - 4));
    if (temporary || joined || is_finished(filename)) fParts.Child(name).Delete();
  }
  for (const std::string& name : fDownloads.ChildNames())
    if (name.starts_with(FolderItem::kHalfMoved) && List.FindRow(name) < 0)
      fDownloads.Child(name).Delete();
}

void Gravlin::AddFileRow(const RecordSet& row) {
  const std::string filename = row.Field("Filename").StringValue();
  const std::int32_t total = row.Field("TotalParts").IntegerValue();
  List.AddRow(filename);
  const int index = List.LastIndex();
  const bool done = IsInDownloads(filename);
  List.SetCell(index, ListColumn::kDone, done ? "Yes" : "No");
  List.SetCell(index, ListColumn::kTotalParts, Str(total));
  List.SetCell(index, ListColumn::kPartsPresent, done ? Str(total) : "0");
  List.SetCell(index, ListColumn::kErrors, Str(row.Field("ServerErrors").IntegerValue()));
  List.SetCell(index, ListColumn::kGroups, row.Field("Groups").StringValue());
  List.SetCell(index, ListColumn::kID, Str(row.Field("ID").IntegerValue()));
  ExpectedParts +=
      total;  // a second import adds to the first, until Finish sets the bar to its end
  if (done) PartsDone += total;
}

// Counts the parts of each file and returns the name of the last one found complete; empty if none
// is.
std::string Gravlin::ScanPartsFolder() {
  std::string complete;
  std::vector<FolderItem::Entry> entries;
  Thread::Offload([&entries, folder = fParts] { entries = folder.Entries(); });
  for (const FolderItem::Entry& entry : entries) {
    Thread::Yield();
    const std::string_view filename = FilenameOfPart(entry.name);
    if (filename.empty()) continue;
    const int row = List.FindRow(filename);
    if (row < 0 || SameText(List.Cell(row, ListColumn::kDone), "Yes")) continue;
    if (entry.length == 0) continue;  // what a crash can leave: counts as absent
    const std::string present = Str(ToInt32(Val(List.Cell(row, ListColumn::kPartsPresent))) + 1);
    List.SetCell(row, ListColumn::kPartsPresent, present);
    if (present == List.Cell(row, ListColumn::kTotalParts))
      complete = List.Cell(row, ListColumn::kFilename);
    ++PartsDone;
    List.SetListIndex(row);
  }
  return complete;
}

// Only the position: the window keeps its size.
void Gravlin::SaveSize() {
  if (!DoneLoading || Top() <= 0) return;
  Code::SaveToDB({"Update Settings_Gravlin Set Top=" + Str(Top()) + ", " + "Left=" + Str(Left())},
                 "none");
}

}  // namespace gravlin
