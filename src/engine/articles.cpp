// One article of the file after the other: which one is asked for, how its reply becomes a part on
// disk, and what is counted.
#include <algorithm>

#include "base/code.h"
#include "engine/active_files.h"
#include "engine/gravlin.h"
#include "engine/part_files.h"
#include "engine/states.h"
#include "platform/failures.h"
#include "platform/streams.h"
#include "platform/text.h"
#include "platform/thread.h"
#include "store/writers.h"

namespace gravlin {
namespace {

constexpr int kDiskFailures = 3;

// Undoes the dot-stuffing of the wire (RFC 3977, section 3.1.1) in place.
void UndoDotStuffing(std::string& article) {
  constexpr std::string_view kStuffed = "\r\n..";
  std::size_t found = article.find(kStuffed);
  if (found == std::string::npos) return;
  std::size_t to = found + 3, from = found + 4;
  for (;;) {
    found = article.find(kStuffed, from);
    const std::size_t end = found == std::string::npos ? article.size() : found + 3;
    std::copy(article.begin() + from, article.begin() + end, article.begin() + to);
    to += end - from;
    if (found == std::string::npos) break;
    from = end + 1;
  }
  article.resize(to);
}

}  // namespace

FolderItem Gravlin::ScratchFile() const { return fParts.Child("nzb_temp.txt"); }

std::string Gravlin::PartName(std::int32_t number) const {
  return PartFileNameOf(TheFilename, number);
}

void Gravlin::GetNextArticle() {
  Code::RemoveFromActiveFiles(PartFileName);
  ++ArticleIndex;
  if (ArticleIndex >= static_cast<std::int32_t>(Article.size()))
    GetNextFile();
  else
    GetArticle();
}

void Gravlin::GetArticle() {
  std::string part_name;
  bool taken = false;
  for (std::int32_t i = std::max(ArticleIndex, 0);
       i < static_cast<std::int32_t>(Article.size()) && !taken; ++i) {
    ArticleIndex = i;
    const std::string& entry = Article[i];
    const int first = InStr(entry, "-");
    const int second = InStr(first + 1, entry, "-");
    PartNo = ToInt32(Val(gravlin::Left(entry, first - 1)));
    TheBytes = ToInt32(Val(Mid(entry, first + 1)));
    MessageID = Mid(entry, second + 1, 999999);
    part_name = PartName(PartNo);
    const FolderItem part = fParts.Child(part_name);
    taken = !part.IsNil() && !endless_.contains(MessageID) && WantsArticle(part);
    if (!taken) Thread::Yield();
  }
  if (!taken) {
    GetNextFile();
    return;
  }
  PartFileName = part_name;
  ClearNewsBuffer();
  ArticleBody.clear();
  StartTick = Ticks();
  requested_at_ = TheClock().Nanoseconds();
  SetDeadline();
  State = states::kSentArticle;
  stStatus.SetText("Requesting post: " + MessageID);
  stStatus.Refresh();
  const std::string command = "ARTICLE <" + MessageID + ">";
  WriteDebug("GetArticle", "Sending Command: " + command);
  Send(command);
}

bool Gravlin::WantsArticle(const FolderItem& part) {
  if (PartIsThere(part)) {
    stStatus.SetText("Skipping post " + MessageID + ". File exists in Parts folder.");
    stStatus.Refresh();
    return false;
  }
  return !fDownloads.Child(TheFilename).IsNil() && !IsInDownloads(TheFilename) &&
         !Code::InActiveFiles(part.Name()) && !Code::InActiveFiles(TheFilename) &&
         Code::AddToActiveFiles(part.Name());
}

void Gravlin::GotArticle() {
  WriteDebug("GotArticle", "Got " + MessageID);
  State = states::kArticleDone;
  SaveAndDecodePart();
}

void Gravlin::SaveAndDecodePart() {
  WriteDebug("SaveAndDecodePart", "Saving: " + PartFileName);
  stStatus.SetText("Saving " + PartFileName + "...");
  stStatus.Refresh();
  if (!fParts.Exists()) fParts.CreateAsFolder();
  if (InStr(std::string_view(ArticleBody).substr(0, 5000), "=ybegin") > 0) {
    WriteDebug("SaveAndDecodePart", "Detected yEnc file: " + PartFileName);
    UndoDotStuffing(ArticleBody);
  }
  const bool saved = SavePart();
  Code::RemoveFromActiveFiles(PartFileName);
  if (!saved) {
    FailPart("could not save " + PartFileName);
    return;
  }
  CountPart(ArticleBody.size());
  ArticleBody.clear();
  const int row = SelectRowOf(TheFilename);
  if (row >= 0) {
    List.SetCell(row, ListColumn::kPartsPresent,
                 Str(ToInt32(Val(List.Cell(row, ListColumn::kPartsPresent))) + 1));
    ++PartsDone;
    UpdateBar1();
  }
  List.Refresh();
  parts_on_disk_.Add(PartNo);
  if (!PartsComplete()) {
    WriteDebug("SaveAndDecodePart", "Did not find all the parts for: " + TheFilename);
    GetNextArticle();
  } else {
    StartConcat();
  }
}

// Only the count that says "complete" is checked against the folder: parts may have been taken away
// meanwhile.
bool Gravlin::PartsComplete() {
  if (parts_on_disk_.Count() != TotalParts) return false;
  for (const std::string& entry : Article) {
    const std::int32_t number = ToInt32(Val(entry));
    if (!PartIsThere(fParts.Child(PartName(number)))) parts_on_disk_.Remove(number);
  }
  const bool complete = parts_on_disk_.Count() == TotalParts;
  if (!complete) RecordError("Disk error: parts have gone from the Parts folder");
  return complete;
}

// The part gets its name only when every byte has been taken, so that a file with a part's name is
// a whole article.
bool Gravlin::SavePart() {
  part_flush_.BeforePart();
  FolderItem scratch = ScratchFile();
  try {
    LongBinaryStream stream(scratch, true, 4096);
    ++disk_failures_;
    const bool written = stream.Write(ArticleBody);
    if (!stream.Close() || !written) return false;
    disk_failures_ = 0;
  } catch (const NilObjectException&) {
    ++disk_failures_;
    return false;
  }
  const FolderItem empty_part = fParts.Child(PartFileName);
  if (empty_part.Exists() && empty_part.Length() == 0) empty_part.Delete();
  if (!scratch.SetName(PartFileName)) return false;
  part_flush_.PartSaved(PartFileName);
  return true;
}

// The article counts as an error and is asked for again in a later run.
void Gravlin::FailPart(std::string_view why) {
  const std::string text = "Disk error: " + std::string(why);
  ArticleBody.clear();
  stStatus.SetText(text);
  WriteDebug("SaveAndDecodePart", text);
  RecordError(text);
  ++PartsDone;
  UpdateBar1();
  if (disk_failures_ < kDiskFailures) {
    GetNextArticle();
    return;
  }
  // The rest would be fetched for nothing.
  stop_reason_ = "Stopped, since the disk takes no more parts.";
  ShowStartButton(false);
  StopScanning();
}

// An import may store another list before the writer's turn comes, which then keeps its own sums.
void Gravlin::CountPart(std::size_t bytes) {
  const double length = static_cast<double>(bytes);
  const std::string this_file =
      " where ID=" + Str(DownloaderFilesID) + " and Filename='" + TheFilename + "'";
  std::vector<std::string> sql;
  const auto settings = db->SQLSelect("Select CompletedBytes from Settings_Gravlin");
  if (settings && !settings->EndOfFile()) {
    const double completed = settings->Field("CompletedBytes").DoubleValue() + length;
    sql.push_back(
        "Update Settings_Gravlin Set CompletedBytes=" + Format(completed, "#####################") +
        " where exists (Select ID from NZBFiles" + this_file + ")");
  }
  sql.push_back("Update NZBFiles Set PartsDone=PartsDone+1" + this_file);
  Code::SaveToDB(std::move(sql), "none");
  BytesLeft -= length;
  mb += length / 1024 / 1024;
  stMB.SetText("mb: " + Format(mb, mb < 1000 ? "##0.0" : "####0"));
  stMB.Refresh();
}

// Row of the first file of that name, made the selected one; -1 if there is none.
int Gravlin::SelectRowOf(std::string_view filename) {
  const int row = List.FindRow(filename);
  if (row >= 0) List.SetListIndex(row);
  return row;
}

// Nothing goes to the store: errors live until the end of the run.
void Gravlin::RecordError(std::string_view code) {
  ++TotalErrors;
  const int row = SelectRowOf(TheFilename);
  if (row < 0) return;
  List.SetCell(row, ListColumn::kErrors,
               Str(ToInt32(Val(List.Cell(row, ListColumn::kErrors))) + 1));
  const std::string text =
      code == "423" ? "423 - post probably expired or removed from server." : std::string(code);
  List.SetCell(row, ListColumn::kMessage, "Last error: " + text);
  List.Refresh();
}

}  // namespace gravlin
