// One article of the file after the other: which one is asked for, how its reply becomes a part on
// disk, and what is counted.
#include <algorithm>

#include "base/code.h"
#include "engine/active_files.h"
#include "engine/engine.h"
#include "engine/leftovers.h"
#include "engine/part_files.h"
#include "engine/run_view.h"
#include "engine/states.h"
#include "platform/failures.h"
#include "platform/streams.h"
#include "platform/text.h"
#include "platform/thread.h"
#include "store/database.h"
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

FolderItem Engine::ScratchFile() const { return fParts.Child("nzb_temp.txt"); }

std::string Engine::PartName(std::int32_t number) const {
  return PartFileNameOf(TheFilename, number);
}

void Engine::GetNextArticle() {
  Code::RemoveFromActiveFiles(PartFileName);
  ++ArticleIndex;
  if (ArticleIndex >= static_cast<std::int32_t>(Article.size()))
    GetNextFile();
  else
    GetArticle();
}

void Engine::GetArticle() {
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
    taken = !part.IsNil() && !given_up_.contains(MessageID) && WantsArticle(part);
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
  EnterState(states::kSentArticle);
  SetStatus("Requesting post: " + MessageID);
  const std::string command = "ARTICLE <" + MessageID + ">";
  WriteDebug("GetArticle", "Sending Command: " + command);
  Send(command);
}

bool Engine::WantsArticle(const FolderItem& part) {
  if (PartIsThere(part)) {
    SetStatus("Skipping post " + MessageID + ". File exists in Parts folder.");
    return false;
  }
  return !fDownloads.Child(TheFilename).IsNil() && !IsInDownloads(TheFilename) &&
         !Code::InActiveFiles(part.Name()) && !Code::InActiveFiles(TheFilename) &&
         Code::AddToActiveFiles(part.Name());
}

void Engine::GotArticle() {
  WriteDebug("GotArticle", "Got " + MessageID);
  EnterState(states::kArticleDone);
  if (MayAnswer(ArticleBody, MessageID))
    SaveAndDecodePart();
  else
    DropForeignReply();
}

// A server that has sent a reply twice: each command since then got the reply to the one before it.
// A new connection begins with none.  An article that comes out wrong again is an error of the
// server's own.
void Engine::DropForeignReply() {
  const std::string text = "Reply thrown away: it is not the article that was asked for.";
  SetStatus(text);
  WriteDebug("GotArticle", text);
  ArticleBody.clear();
  if (!foreign_.insert(MessageID).second) GiveUpArticle(text);
  Reconnect();
}

// Counts as an error, and this run asks for it no more.
void Engine::GiveUpArticle(const std::string& why) {
  given_up_.insert(MessageID);
  CountFailedPart(why);
}

// A part that does not come in this run is an error of its file, and dealt with.
void Engine::CountFailedPart(std::string_view code) {
  RecordError(code);
  ++PartsDone;
  UpdateBar1();
}

void Engine::SaveAndDecodePart() {
  if (file_replaced_) {
    ArticleBody.clear();
    GetNextFile();
    return;
  }
  WriteDebug("SaveAndDecodePart", "Saving: " + PartFileName);
  SetStatus("Saving " + PartFileName + "...");
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
  const std::size_t bytes = ArticleBody.size();
  CountPart(bytes);
  ArticleBody.clear();
  const int row = SelectRowOf(TheFilename);
  if (row >= 0) {
    List.CountPart(row);
    ++PartsDone;
    UpdateBar1();
  }
  parts_on_disk_.Add(PartNo);
  if (!PartsComplete()) {
    WriteDebug("SaveAndDecodePart", "Did not find all the parts for: " + TheFilename);
    work_ahead_.PartSaved(parts_on_disk_, bytes);
    GetNextArticle();
  } else {
    StartConcat();
  }
}

// Only the count that says "complete" is checked against the folder: parts may have been taken away
// meanwhile.
bool Engine::PartsComplete() {
  if (parts_on_disk_.Count() != TotalParts) return false;
  for (const std::string& entry : Article) {
    const std::int32_t number = ToInt32(Val(entry));
    if (!PartIsThere(fParts.Child(PartName(number)))) parts_on_disk_.Remove(number);
  }
  const bool complete = parts_on_disk_.Count() == TotalParts;
  if (!complete) RecordError("Disk error: parts have gone from the Parts folder");
  return complete;
}

bool Engine::WriteScratchFile(const FolderItem& scratch) try {
  LongBinaryStream stream(scratch, true, 4096);
  const bool written = stream.Write(ArticleBody);
  return stream.Close() && written;
} catch (const NilObjectException&) {
  return false;
}

// The part gets its name only when every byte has been taken, so that a file with a part's name is
// a whole article.
bool Engine::SavePart() {
  part_flush_.BeforePart();
  FolderItem scratch = ScratchFile();
  // Work ahead may have taken the room.
  if (!WriteScratchFile(scratch) && !(work_ahead_.Drop(true) && WriteScratchFile(scratch))) {
    ++disk_failures_;
    return false;
  }
  disk_failures_ = 0;
  const FolderItem empty_part = fParts.Child(PartFileName);
  if (empty_part.Exists() && empty_part.Length() == 0) empty_part.Delete();
  if (!scratch.SetName(PartFileName)) return false;
  part_flush_.PartSaved(PartFileName);
  return true;
}

// The article counts as an error and is asked for again in a later run.
void Engine::FailPart(std::string_view why) {
  const std::string text = "Disk error: " + std::string(why);
  ArticleBody.clear();
  SetStatus(text);
  WriteDebug("SaveAndDecodePart", text);
  CountFailedPart(text);
  if (disk_failures_ < kDiskFailures) {
    GetNextArticle();
    return;
  }
  // The rest would be fetched for nothing.
  stop_reason_ = "Stopped, since the disk takes no more parts.";
  SetStartButton(false);
  StopScanning();
}

// An import may store another list before the writer's turn comes, which then keeps its own sums.
void Engine::CountPart(std::size_t bytes) {
  const double length = static_cast<double>(bytes);
  const std::string this_file =
      " where ID=" + Str(DownloaderFilesID) + " and Filename='" + TheFilename + "'";
  // Added to what the store has by then, since the counts of several articles are written together.
  Code::SaveToDB({"Update Settings_Gravlin Set CompletedBytes=ifnull(CompletedBytes,0)+" +
                      Format(length, "#####################") +
                      " where exists (Select ID from NZBFiles" + this_file + ")",
                  "Update NZBFiles Set PartsDone=PartsDone+1" + this_file},
                 "none", Code::Saving::kTogether);
  BytesLeft -= length;
  mb += length / 1024 / 1024;
  view_.ShowMegabytes(mb);
}

// Row of the first file of that name, made the selected one; -1 if there is none.
int Engine::SelectRowOf(std::string_view filename) {
  const int row = List.FindRow(filename);
  if (row >= 0) List.SetListIndex(row);
  return row;
}

// Nothing goes to the store: errors live until the end of the run.
void Engine::RecordError(std::string_view code) {
  ++TotalErrors;
  const int row = SelectRowOf(TheFilename);
  if (row < 0) return;
  List.CountError(row);
  const std::string text =
      code == "423" ? "423 - post probably expired or removed from server." : std::string(code);
  List.SetMessage(row, "Last error: " + text);
}

}  // namespace gravlin
