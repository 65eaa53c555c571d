// The steps of an import: take the right to write, empty the list, read, store, inform the window.
#include "nzb/grv_parse.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

#include "base/code.h"
#include "base/may_begin.h"
#include "nzb/names.h"
#include "nzb/subject_scanner.h"
#include "platform/desktop.h"
#include "platform/failures.h"
#include "platform/scoped_flag.h"
#include "platform/text.h"
#include "store/writers.h"

namespace gravlin {
namespace {

constexpr int kRetryMilliseconds = 100;
constexpr std::size_t kLongestShown = 1000;  // bytes of a subject in a box
constexpr int kClockBytes = 4096;            // of the NZB file between two calls of Yield
constexpr std::size_t kLongestLine = std::size_t{16} << 20;
constexpr std::size_t kBatchBytes = 256 * 1024;  // of segments, stored in one go

struct NotImported : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Passes on whole percents only when they change.
class Progress {
 public:
  Progress(ImportOwner& window, std::int64_t length) : window_(window), length_(length) {}
  void Show(std::int64_t position) {
    if (position < next_ || length_ <= 0) return;
    const int percent = static_cast<int>(std::min<std::int64_t>(position * 100 / length_, 100));
    next_ = percent >= 100 ? INT64_MAX : (length_ * (percent + 1) + 99) / 100;
    window_.ShowImportProgress(percent);
  }

 private:
  ImportOwner& window_;
  const std::int64_t length_;
  std::int64_t next_ = 0;  // position of the next whole percent
};

}  // namespace

void grvParse::Event_Run() {
  std::string why;
  try {
    Import();
    return;
  } catch (const NotImported& failure) {
    why = failure.what();
  } catch (const std::exception&) {
    // A file that cannot be opened or that has no segments ends the import without a message.
    if (lock_taken_) GiveRightBack();
    return;
  }
  db.reset();  // rolls back all of this import
  const std::string message = "The NZB file could not be imported: " + why + ".";
  if (cleared_)
    Tell(message, true);
  else
    KeepOldList(message);
}

ImportSituation grvParse::CurrentSituation() const {
  return {
      .oldest = living_.front() == this, .others = living_.size() > 1, .store_free = Code::DBFree};
}

void grvParse::KeepOldList(std::string_view message) {
  GiveRightBack();
  if (may::SettleList(CurrentSituation())) w.ListKept();
  MsgBox(message);
}

void grvParse::GiveRightBack() {
  Code::FreeDB();
  lock_taken_ = false;
  turn_.Leave();
}

void grvParse::Need(std::string_view sql) {
  db->ExecuteOnHelper(sql);
  if (db->Error()) throw NotImported(db->ErrorMessage());
}

void grvParse::Import() {
  w.BeginImport();
  Code::UnknownNZBFileNo = 0;
  WaitForTheStore();
  // The window may get another file meanwhile, which is for the next import.
  nzb_ = w.NZBFile();
  const std::unique_ptr<TextInputStream> stream = nzb_.OpenAsTextFile();
  ClearLastImport();
  if (!stream) throw NilObjectException();
  stream->ReadOnHelper();
  if (!ReadFiles(*stream)) return;
  stream->Close();
  Finish();
}

void grvParse::WaitForTheStore() {
  turn_.Await();
  db = std::make_unique<Database>(Code::fGlobalDB);
  while (!db->Connect()) Sleep(kRetryMilliseconds);
  while (!may::BeginImport(CurrentSituation()) || !Code::LockDB()) Sleep(kRetryMilliseconds);
  lock_taken_ = true;
  db->SetDurableCommits(true);
  db->HoldCheckpoints();
  // Overwriting the old list with zeros would take as much journal and time as writing it.
  db->SQLExecute("PRAGMA secure_delete=OFF");
}

void grvParse::ClearLastImport() {
  db->SQLExecute("BEGIN");
  Need("Update Settings_Gravlin set ExpectedBytes=0");
  Need("Update Settings_Gravlin set CompletedBytes=0");
  Need("Update Settings_Gravlin set Name=''");
  Need("Delete From NZBFiles");
  db->Commit();
  if (db->Error()) throw NotImported(db->ErrorMessage());
  cleared_ = true;
  w.ListCleared();
  db->SQLExecute("BEGIN");
  committed_ = std::make_unique<Database>(Code::fGlobalDB);
  if (!committed_->Connect()) committed_.reset();
}

bool grvParse::ReadFiles(TextInputStream& stream) {
  Progress progress(w, nzb_.Length());
  std::string line;
  std::int64_t looked_at = 0;
  do {
    if (!stream.ReadLine(line, kLongestLine))
      throw NotImported("it has a line of more than " + Str(kLongestLine >> 20) +
                        " MiB and is no NZB file");
    const bool at_end = stream.EndOfFile();
    progress.Show(stream.PositionB());
    switch (reader_.Take(line, at_end)) {
      case NzbEvent::kNothing:
        break;
      case NzbEvent::kSubject:
        if (!NameFile()) return false;
        break;
      case NzbEvent::kFile:
        StoreFile();
        break;
      case NzbEvent::kEmptyFile:
        throw OutOfBoundsException();
      case NzbEvent::kFailure:
        // On purpose: an import that ends inside a file never gives the right to write back, so
        // nothing more is stored in this run.
        Code::DBKept = reader_.Failure() == NzbFailure::kPrematureEnd;
        Tell(MessageOf(reader_.Failure()), !Code::DBKept);
        return false;
    }
    if (at_end && reader_.InsideGroups()) {
      const ScopedFlag kept(Code::DBKept, true);
      Sleep(kRetryMilliseconds);
    }
    // Reading the clock takes as long as reading a line.
    if (stream.PositionB() - looked_at >= kClockBytes) {
      looked_at = stream.PositionB();
      Yield();
    }
  } while (reader_.InsideFile() || !stream.EndOfFile());
  StoreBatch();
  return true;
}

bool grvParse::NameFile() {
  std::int32_t part_no = 0, total_parts = 0;
  const std::string& subject = reader_.File().subject;
  Code::ScanForBinaryPost(subject, filename_, ext_, part_no, total_parts);
  if (filename_.empty()) {
    ShowFileTypesWindow();
    Tell(
        "Can't find filename in subject. Please look at this subject, spot the file extension, add "
        "it to the File "
        "Types window, and then re-import the NZB file." +
            Code::CRLF + Code::CRLF + subject.substr(0, kLongestShown),
        true);
    return false;
  }
  filename_ =
      committed_ ? Code::FixNZBFilename(*committed_, filename_) : Code::FixNZBFilename(filename_);
  return true;
}

void grvParse::StoreFile() {
  const NzbFile& file = reader_.File();
  DatabaseRecord record;
  record.SetIntegerColumn("PartsDone", 0);
  record.SetColumn("Done", "No");
  record.SetIntegerColumn("ServerErrors", 0);
  record.SetColumn("Filename", filename_);
  record.SetIntegerColumn("TotalParts", file.part_count);
  record.SetIntegerColumn("TotalBytes", file.bytes);
  record.SetColumn("Ext", ext_);
  record.SetColumn("Groups", file.groups);
  record.SetColumn("Parts", file.parts);
  batch_bytes_ += file.parts.size() + file.groups.size() + filename_.size();
  batch_.push_back(std::move(record));
  total_bytes_ += file.bytes;
  if (batch_bytes_ >= kBatchBytes) StoreBatch();
}

void grvParse::StoreBatch() {
  if (batch_.empty()) return;
  db->InsertRecords("NZBFiles", batch_);
  if (db->Error()) throw NotImported(db->ErrorMessage());
  w.FilesRead(std::exchange(batch_, {}));
  batch_bytes_ = 0;
}

void grvParse::Finish() {
  const std::string name = nzb_.Name();
  w.ListRead(*db);
  // A total of 0 gives empty text and a statement that fails, and a name with a quote would become
  // part of the statement.  Then the values of ClearLastImport remain.
  db->SQLExecute("Update Settings_Gravlin set ExpectedBytes=" +
                 Format(total_bytes_, "#####################"));
  db->SQLExecute("Update Settings_Gravlin set CompletedBytes=0");
  if (name.find('\'') == std::string::npos)
    db->SQLExecute("Update Settings_Gravlin set Name='" + name + "'");
  db->Commit();
  if (db->Error()) throw NotImported(db->ErrorMessage());
  GiveRightBack();
  w.ImportDone(name, total_bytes_);
  db->Checkpoint();
}

void grvParse::Tell(std::string_view message, bool bail_out) {
  MsgBox(message);
  if (bail_out) BailOut();
}

void grvParse::BailOut() {
  GiveRightBack();
  if (may::SettleList(CurrentSituation())) Code::SaveToDB({"Delete from NZBFiles"}, "none");
}

}  // namespace gravlin
