// From the parts of a file on disk to the decoded file in Downloads.
//
// The order of the steps is what keeps the download safe: the decoded file is brought to the disk
// and moved under its name before a part is deleted.  Whatever fails on the way, or a power cut,
// leaves all parts, and no half file under a final name; a later run takes the parts up again.
#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>

#include "decode/decode_file.h"
#include "decode/encodings.h"
#include "decode/grv_concat.h"
#include "engine/active_files.h"
#include "engine/gravlin.h"
#include "engine/part_files.h"
#include "nzb/names.h"
#include "platform/failures.h"
#include "platform/streams.h"
#include "platform/text.h"
#include "platform/thread.h"
#include "store/writers.h"

namespace gravlin {
namespace {

constexpr int kPause = 100;  // milliseconds between two looks whether the other assembly has ended
constexpr std::size_t kWorkBlock = 4096;

// A step that went wrong; the text tells the user which.
class AssemblyFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

void Need(bool done, const char* otherwise) {
  if (!done) throw AssemblyFailure(otherwise);
}

FolderItem JoinedFile(const Gravlin& window, const AssemblyJob& job) {
  return window.fParts.Child(job.TheFilename + ".txt");
}

// The decoded file until it gets its name.  The engine's scratch file of an article is
// "nzb_temp.txt".
FolderItem TemporaryFile(const Gravlin& window, const AssemblyJob& job) {
  const std::string extension = SameText(job.TheExt, "txt") ? "decoded.txt" : job.TheExt;
  return window.fParts.Child("nzb_temp." + extension);
}

std::optional<std::vector<std::int32_t>> PartNumbers(const Gravlin& window,
                                                     const AssemblyJob& job) {
  std::optional<std::vector<std::int32_t>> numbers;
  Thread::Offload([&numbers, &job, folder = window.fParts] {
    numbers = PartNumbersIn(folder, job.TheFilename, job.LargestPartNo);
  });
  return numbers;
}

void ReadPart(const FolderItem& part, std::string& text) {
  LongBinaryStream stream(part, false, kWorkBlock);
  text.resize(static_cast<std::size_t>(part.Length()));
  Need(stream.Read(text.data(), text.size()) == text.size(), "a part could not be read");
}

// The name that the body gives, if it gives one and the file may still be named; "" otherwise.
std::string NameInBody(Gravlin& window, const AssemblyJob& job, std::int32_t part,
                       std::string_view text) {
  const FolderItem target = window.fDownloads.Child(job.TheFilename);
  if (target.IsNil() || target.Exists()) return {};
  const std::string name =
      Code::CleanSQLString(Code::CleanFilename(Code::ExtractFilenameFromBody(text)));
  if (name.empty() || SameText(name, job.TheFilename)) return name;
  if (SameText(name, "Extracted_Files")) return {};  // the folder of what comes out of archives
  window.WriteDebug("Gravlin.Assemble", "Found filename in part " + Str(part) + ": " + name);
  const std::string fixed = Code::FixNZBFilename(*window.db, name);
  if (fixed != name) window.WriteDebug("Gravlin.Assemble", "Filename cleaned: " + fixed);
  return fixed;
}

std::string_view BodyFor(std::string_view encoding, std::string_view text) {
  if (encoding == "UU") return Code::StripUU(text);
  if (encoding == "Base64") return Code::StripBase64(text);
  return text;  // yEnc finds its blocks among the headers
}

void ShowRow(Gravlin& window, const AssemblyJob& job, const char* done, std::string_view message) {
  if (const int row = window.List.FindRow(job.TheFilename); row >= 0) {
    window.List.SetListIndex(row);
    if (done) window.List.SetCell(row, ListColumn::kDone, done);
    window.List.SetCell(row, ListColumn::kMessage, message);
  }
  window.List.Refresh();
}

// Nothing is lost but time: the parts stay.  The room of the temporary files is given back, since a
// full disk may be the reason.
void Fail(Gravlin& window, const AssemblyJob& job, const char* label, std::string_view why) {
  const std::string text = "Could not assemble " + job.TheFilename + ": " + std::string(why) + ".";
  window.WriteDebug(label, text);
  window.stStatus.SetText(text);
  window.stStatus.Refresh();
  ++window.TotalErrors;
  ShowRow(window, job, nullptr, "Last error: " + std::string(why) + ".");
  for (const FolderItem& left : {JoinedFile(window, job), TemporaryFile(window, job)}) {
    if (!left.IsNil()) left.Delete();
  }
  Code::RemoveFromActiveFiles(job.TheFilename);
}

void DecodeJoined(Gravlin& window, const AssemblyJob& job) {
  const std::string encoding = window.Encoding;
  window.WriteDebug("Decode", "Decoding " + encoding + " file: " + job.TheFilename);
  bool decoded = false;
  Thread::Offload([&decoded, encoding, source = JoinedFile(window, job), target = window.fTemp] {
    decoded = DecodeFile(encoding, source, target);
  });
  Need(decoded, "the file could not be decoded");
  window.WriteDebug("Decode",
                    job.TheFilename + " created. Encoding was " + encoding + ". Bytes = " +
                        Format(static_cast<double>(window.fTemp.Length()), "###,###,###,###"));
}

// Brings the decoded file to the disk and, in one step that replaces nothing, under its name.
void PutInPlace(Gravlin& window, const AssemblyJob& job) {
  bool flushed = false, moved = false;
  FolderItem file = window.fTemp;
  Thread::Offload([&flushed, &moved, &file, &job, folder = window.fDownloads]() mutable {
    if (!folder.Exists()) folder.CreateAsFolder();
    flushed = file.Flush();
    moved = flushed && file.MoveTo(folder, job.TheFilename);
    flushed = moved && folder.Flush();
    // As if it had not been moved: the parts stay, and the next run joins them again.
    if (moved && !flushed) file.Delete();
  });
  Need(moved, "the decoded file could not be moved to the Downloads folder");
  window.fTemp = file;
  Need(flushed, "the Downloads folder could not be brought to the disk");
}

void DeleteParts(Gravlin& window, const AssemblyJob& job) {
  window.WriteDebug("Decode", "Deleting part files...");
  // Where the folder cannot be read a launch deletes them.
  for (const std::int32_t number : PartNumbers(window, job).value_or(std::vector<std::int32_t>())) {
    window.fParts.Child(PartFileNameOf(job.TheFilename, number)).Delete();
    Thread::Yield();
  }
}

// A run that was cut off between the new name on the disk and the same in the store has the file
// fetched again.  Then the one that is there stays, and this copy goes.
bool IsThereAlready(Gravlin& window, std::string_view name) {
  const FolderItem there = window.fDownloads.Child(name);
  if (there.IsNil()) return false;
  bool same = false;
  Thread::Offload([&same, there, copy = window.fTemp] { same = SameBytes(there, copy); });
  if (!same || !window.fTemp.Delete()) return false;
  window.fTemp = there;
  return true;
}

// The file gets the name that its poster gave it.  The store follows, so that a later run finds the
// file; the queue goes on only then, or a power cut during the next file would bring this one down
// again under its other name.
void RenameToNameInBody(Gravlin& window, const AssemblyJob& job) {
  const std::string& name = window.RealFilename;
  if (name.empty() || SameText(name, job.TheFilename)) return;
  if (!window.fTemp.SetName(name) && !IsThereAlready(window, name)) {
    window.WriteDebug("Gravlin.Decode", "Could not rename " + job.TheFilename + " to " + name);
    return;
  }
  // In this order, so that the store never names a file that the folder does not.
  Thread::Offload([folder = window.fDownloads] { folder.Flush(); });
  window.WriteDebug("Gravlin.Decode",
                    "Renamed: " + job.TheFilename + " to filename found in body: " + name);
  // An import may have given the ID to a file of another NZB meanwhile.
  Code::SaveToDB({"Update NZBFiles Set Filename='" + name + "' where ID=" +
                  Str(job.DownloaderFilesID) + " and Filename='" + job.TheFilename + "'"},
                 "none", /*durable=*/true);
  if (const int row = window.List.FindRow(job.TheFilename); row >= 0) {
    window.List.SetListIndex(row);
    window.List.SetCell(row, ListColumn::kFilename, name);
  }
  window.List.Refresh();
  Code::AwaitWrites();
}

}  // namespace

void Gravlin::StartConcat() {
  WriteDebug("StartConcat", "Found all the parts for: " + TheFilename);
  if (!Code::AddToActiveFiles(TheFilename)) {
    WriteDebug("StartConcat", "Another Downloader is assembling and decoding " + TheFilename +
                                  ". Going to next file.");
    if (TheTimer.Mode() != 0) GetNextArticle();  // there is no next one outside a run
    return;
  }
  ThreadFlag = false;
  Thread::Run(std::make_unique<grvConcat>(
      *this, AssemblyJob{TheFilename, TheExt, LargestPartNo, DownloaderFilesID}));
}

void grvConcat::Event_Run() {
  while (window_.ConcatRunning) Thread::Sleep(kPause);
  window_.ConcatRunning = true;
  try {
    window_.Assemble(job_);
  } catch (const std::exception&) {
    End();
    throw;
  }
  End();
}

void grvConcat::End() {
  window_.ConcatRunning = false;
  // The one that waits has cleared the flag before, and sets it in its turn.
  if (window_.Concats > 1) return;
  window_.ThreadFlag = true;
  if (window_.TheTimer.Mode() != 0) {
    window_.TheTimer.FireSoon();
    return;
  }
  // Outside a run nothing else would take these words away.
  const std::string status = window_.stStatus.Text();
  if (status.starts_with("Assembling: ") || status.starts_with("Decoding: "))
    window_.stStatus.SetText(window_.FirstStartDone ? window_.OverText() : "Ready.");
}

void Gravlin::Assemble(const AssemblyJob& job) {
  Encoding.clear();
  RealFilename.clear();
  Assembling = true;
  TotalDecodeBytes = 0;
  WriteDebug("Assemble", "Beginning to assemble: " + job.TheFilename);
  try {
    LongBinaryStream joined(JoinedFile(*this, job), true, kWorkBlock);
    stStatus.SetText("Assembling: " + job.TheFilename);
    stStatus.Refresh();
    std::string text;
    const std::optional<std::vector<std::int32_t>> numbers = PartNumbers(*this, job);
    Need(numbers && !numbers->empty(), "its parts could not be found");
    for (const std::int32_t number : *numbers) {
      ReadPart(fParts.Child(PartFileNameOf(job.TheFilename, number)), text);
      if (Encoding.empty()) {
        Encoding = Code::DetermineEncoding(text);
        WriteDebug("Assemble", "Encoding for part " + Str(number) + " is: " + Encoding);
      }
      if (RealFilename.empty()) RealFilename = NameInBody(*this, job, number, text);
      const std::string_view body = BodyFor(Encoding, text);
      Need(joined.Write(body), "the parts could not be joined");
      TotalDecodeBytes += static_cast<double>(body.size());
      Thread::Yield();
    }
    Need(joined.Close(), "the parts could not be joined");
  } catch (const AssemblyFailure& failure) {
    Fail(*this, job, "Assemble", failure.what());
    return;
  } catch (const NilObjectException&) {
    Fail(*this, job, "Assemble", "a file could not be opened");
    return;
  }
  Assembling = false;
  Decode(job);
}

void Gravlin::Decode(const AssemblyJob& job) {
  Decoding = true;
  stStatus.SetText("Decoding: " + job.TheFilename);
  stStatus.Refresh();
  try {
    fTemp = TemporaryFile(*this, job);
    if (fTemp.IsNil()) throw NilObjectException();
    fTemp.Delete();  // of an earlier run that was cut off
    // Without an encoding there is no decoded file, and the row is reported as saved all the same;
    // but the parts, which are all there is, stay, and nothing is renamed.
    const bool decodable = !Encoding.empty();
    if (decodable) {
      DecodeJoined(*this, job);
      PutInPlace(*this, job);
    }
    FileCreated = true;
    JoinedFile(*this, job).Delete();
    if (decodable) DeleteParts(*this, job);
    ShowRow(*this, job, "Yes", "File saved OK.");
    Code::RemoveFromActiveFiles(job.TheFilename);
    if (decodable) RenameToNameInBody(*this, job);
  } catch (const AssemblyFailure& failure) {
    Fail(*this, job, "Decode", failure.what());
    return;
  } catch (const NilObjectException&) {
    Fail(*this, job, "Decode", "a file could not be opened");
    return;
  }
  Decoding = false;
}

}  // namespace gravlin
