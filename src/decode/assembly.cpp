// From the parts of a file on disk to the decoded file in Downloads.
//
// The order of the steps is what keeps the download safe: the decoded file is flushed and moved
// under its name before a part is deleted.  Whatever fails on the way, or a power cut,
// leaves all parts, and no half file under a final name; a later run takes the parts up again.
#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>

#include "decode/decode_file.h"
#include "decode/encodings.h"
#include "decode/part_deletion.h"
#include "engine/active_files.h"
#include "engine/engine.h"
#include "engine/part_files.h"
#include "nzb/names.h"
#include "platform/failures.h"
#include "platform/streams.h"
#include "platform/text.h"
#include "platform/thread.h"
#include "store/database.h"
#include "store/writers.h"

namespace gravlin {
namespace {

constexpr int kPause = 100;  // milliseconds between two looks whether the other assembly has ended
constexpr std::size_t kWorkBlock = 4096;

// A step that went wrong; the text says which.
class AssemblyFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

void Need(bool done, const char* otherwise) {
  if (!done) throw AssemblyFailure(otherwise);
}

void ReadPart(const FolderItem& part, std::string& text) {
  LongBinaryStream stream(part, false, kWorkBlock);
  text.resize(static_cast<std::size_t>(part.Length()));
  Need(stream.Read(text.data(), text.size()) == text.size(), "a part could not be read");
}

std::string_view BodyFor(std::string_view encoding, std::string_view text) {
  if (encoding == "UU") return Code::StripUU(text);
  if (encoding == "Base64") return Code::StripBase64(text);
  return text;  // yEnc finds its blocks among the headers
}

}  // namespace

// The steps of one file's assembly.
class Engine::Assembly {
 public:
  // Both outlive it.
  Assembly(Engine& engine, AssemblyJob& job) : engine_(engine), job_(job) {}
  void Assemble();
  void Decode();

 private:
  FolderItem JoinedFile() const;
  // The decoded file until it gets its name.  The engine's scratch file of an article is
  // "nzb_temp.txt".
  FolderItem TemporaryFile() const;
  void FindParts();
  // Looks for encoding and name in the parts, and writes them into the joined file, if there is
  // one.
  void Join(LongBinaryStream* joined);
  // The name that the body gives, if it gives one and the file may still be named; "" otherwise.
  std::string NameInBody(std::int32_t part, std::string_view text);
  void DecodeJoined();
  void PutInPlace();
  bool IsThereAlready(std::string_view name);
  void RenameToNameInBody();
  void ShowRow(bool done, std::string_view message);
  void Fail(const char* label, std::string_view why);

  Engine& engine_;
  AssemblyJob& job_;
};

FolderItem Engine::Assembly::JoinedFile() const {
  return engine_.fParts.Child(job_.TheFilename + ".txt");
}

FolderItem Engine::Assembly::TemporaryFile() const {
  const std::string extension = SameText(job_.TheExt, "txt") ? "decoded.txt" : job_.TheExt;
  return engine_.fParts.Child("nzb_temp." + extension);
}

// Also finishes the work ahead; what does not fit the parts is gone afterwards.
void Engine::Assembly::FindParts() {
  std::optional<std::vector<std::int32_t>> numbers;
  Thread::Offload([&numbers, this, folder = engine_.fParts] {
    numbers = PartNumbersIn(folder, job_.TheFilename, job_.LargestPartNo);
    if (job_.ahead && !(numbers && job_.ahead->Finish(*numbers))) job_.ahead.reset();
  });
  Need(numbers && !numbers->empty(), "its parts could not be found");
  job_.numbers = std::move(*numbers);
}

void Engine::Assembly::Join(LongBinaryStream* joined) {
  std::string text;
  for (const std::int32_t number : job_.numbers) {
    const bool told = !engine_.Encoding.empty() && !engine_.RealFilename.empty();
    if (told && !joined) break;
    ReadPart(engine_.fParts.Child(PartFileNameOf(job_.TheFilename, number)), text);
    if (engine_.Encoding.empty()) {
      engine_.Encoding = Code::DetermineEncoding(text);
      engine_.WriteDebug("Assemble",
                         "Encoding for part " + Str(number) + " is: " + engine_.Encoding);
    }
    if (engine_.RealFilename.empty()) engine_.RealFilename = NameInBody(number, text);
    Thread::Yield();
    if (!joined) continue;
    const std::string_view body = BodyFor(engine_.Encoding, text);
    Need(joined->Write(body), "the parts could not be joined");
    // What is left of a boundary must not make the next part's first line one with it.
    if (engine_.Encoding == "Base64" && !body.ends_with('\n'))
      Need(joined->Write("\r\n"), "the parts could not be joined");
    engine_.TotalDecodeBytes += static_cast<double>(body.size());
  }
}

std::string Engine::Assembly::NameInBody(std::int32_t part, std::string_view text) {
  const FolderItem target = engine_.fDownloads.Child(job_.TheFilename);
  if (target.IsNil() || target.Exists()) return {};
  const std::string name =
      Code::CleanSQLString(Code::CleanFilename(Code::ExtractFilenameFromBody(text)));
  if (name.empty() || SameText(name, job_.TheFilename)) return name;
  if (SameText(name, "Extracted_Files")) return {};  // the folder of what comes out of archives
  engine_.WriteDebug("Gravlin.Assemble", "Found filename in part " + Str(part) + ": " + name);
  const std::string fixed = Code::FixNZBFilename(*engine_.db, name);
  if (fixed != name) engine_.WriteDebug("Gravlin.Assemble", "Filename cleaned: " + fixed);
  return fixed;
}

void Engine::Assembly::ShowRow(bool done, std::string_view message) {
  if (const int row = engine_.List.FindRow(job_.TheFilename); row >= 0) {
    engine_.List.SetListIndex(row);
    if (done) engine_.List.SetDone(row);
    engine_.List.SetMessage(row, message);
  }
}

// Nothing is lost but time: the parts stay.  The room of the temporary files is given back, since a
// full disk may be the reason.
void Engine::Assembly::Fail(const char* label, std::string_view why) {
  const std::string text = "Could not assemble " + job_.TheFilename + ": " + std::string(why) + ".";
  engine_.WriteDebug(label, text);
  engine_.SetStatus(text);
  ++engine_.TotalErrors;
  ShowRow(false, "Last error: " + std::string(why) + ".");
  for (const FolderItem& left : {JoinedFile(), TemporaryFile()}) {
    if (!left.IsNil()) left.Delete();
  }
  Code::RemoveFromActiveFiles(job_.TheFilename);
}

void Engine::Assembly::DecodeJoined() {
  const std::string encoding = engine_.Encoding;
  engine_.WriteDebug("Decode", "Decoding " + encoding + " file: " + job_.TheFilename);
  bool decoded = false;
  if (job_.ahead) {
    decoded = FolderItem(job_.ahead->File()).SetName(engine_.fTemp.Name());
  } else {
    Thread::Offload([&decoded, encoding, source = JoinedFile(), target = engine_.fTemp] {
      decoded = DecodeFile(encoding, source, target);
    });
  }
  Need(decoded, "the file could not be decoded");
  engine_.WriteDebug("Decode",
                     job_.TheFilename + " created. Encoding was " + encoding + ". Bytes = " +
                         Format(static_cast<double>(engine_.fTemp.Length()), "###,###,###,###"));
}

// Flushes the decoded file and moves it under its name, in one step that replaces nothing.  Only
// then the joined file and the parts go.
void Engine::Assembly::PutInPlace() {
  bool flushed = false, moved = false;
  FolderItem file = engine_.fTemp;
  auto deleted = std::make_unique<PartDeletion>();
  // In one call, since the next file waits for each time that a helper is woken.
  Thread::Offload(
      [&, joined = JoinedFile(), folder = engine_.fDownloads, parts = engine_.fParts]() mutable {
        if (!folder.Exists()) folder.CreateAsFolder();
        flushed = job_.ahead ? job_.ahead->Flush() : file.Flush();
        moved = flushed && file.MoveTo(folder, job_.TheFilename);
        flushed = moved && folder.Flush();
        // As if it had not been moved: the parts stay, and the next run joins them again.
        if (moved && !flushed) file.Delete();
        if (!flushed) return;
        joined.Delete();
        for (const std::int32_t number : job_.numbers)
          deleted->Delete(parts.Child(PartFileNameOf(job_.TheFilename, number)));
      });
  Need(moved, "the decoded file could not be moved to the Downloads folder");
  engine_.fTemp = file;
  Need(flushed, "the Downloads folder could not be flushed");
  engine_.FileCreated = true;
  engine_.WriteDebug("Decode", "Deleting part files...");
  Thread::Run(std::move(deleted));
}

// A run that was cut off between the new name on the disk and the same in the store has the file
// fetched again.  Then the one that is there stays, and this copy goes.
bool Engine::Assembly::IsThereAlready(std::string_view name) {
  const FolderItem there = engine_.fDownloads.Child(name);
  if (there.IsNil()) return false;
  bool same = false;
  Thread::Offload([&same, there, copy = engine_.fTemp] { same = SameBytes(there, copy); });
  if (!same || !engine_.fTemp.Delete()) return false;
  engine_.fTemp = there;
  return true;
}

// The file gets the name that its poster gave it.  The store follows, so that a later run finds the
// file; the queue goes on only then, or a power cut during the next file would bring this one down
// again under its other name.
void Engine::Assembly::RenameToNameInBody() {
  const std::string& name = engine_.RealFilename;
  if (name.empty() || SameText(name, job_.TheFilename)) return;
  if (!engine_.fTemp.SetName(name) && !IsThereAlready(name)) {
    engine_.WriteDebug("Gravlin.Decode", "Could not rename " + job_.TheFilename + " to " + name);
    return;
  }
  // In this order, so that the store never names a file that the folder does not.
  Thread::Offload([folder = engine_.fDownloads] { folder.Flush(); });
  engine_.WriteDebug("Gravlin.Decode",
                     "Renamed: " + job_.TheFilename + " to filename found in body: " + name);
  // An import may have given the ID to a file of another NZB meanwhile.
  Code::SaveToDB({"Update NZBFiles Set Filename='" + name + "' where ID=" +
                  Str(job_.DownloaderFilesID) + " and Filename='" + job_.TheFilename + "'"},
                 "none", Code::Saving::kDurably);
  if (const int row = engine_.List.FindRow(job_.TheFilename); row >= 0) {
    engine_.List.SetListIndex(row);
    engine_.List.Rename(row, name);
  }
  Code::AwaitWrites();
}

void Engine::Assembly::Assemble() {
  engine_.Encoding.clear();
  engine_.RealFilename.clear();
  engine_.assembling_ = true;
  engine_.TotalDecodeBytes = 0;
  engine_.WriteDebug("Assemble", "Beginning to assemble: " + job_.TheFilename);
  try {
    job_.ahead = engine_.work_ahead_.Take(job_.TheFilename);
    std::optional<LongBinaryStream> joined;
    if (!job_.ahead) joined.emplace(JoinedFile(), true, kWorkBlock);
    engine_.ShowAssemblyStatus("Assembling: " + job_.TheFilename);
    FindParts();
    if (job_.ahead) {
      Join(nullptr);
      Need(engine_.Encoding == "yEnc", "its parts have changed");
      engine_.TotalDecodeBytes = job_.ahead->JoinedBytes();
    } else {
      if (!joined) joined.emplace(JoinedFile(), true, kWorkBlock);
      Join(&*joined);
      Need(joined->Close(), "the parts could not be joined");
    }
  } catch (const AssemblyFailure& failure) {
    Fail("Assemble", failure.what());
    return;
  } catch (const NilObjectException&) {
    Fail("Assemble", "a file could not be opened");
    return;
  }
  engine_.assembling_ = false;
  engine_.Decode(job_);
}

void Engine::Assembly::Decode() {
  engine_.decoding_ = true;
  engine_.ShowAssemblyStatus("Decoding: " + job_.TheFilename);
  try {
    engine_.fTemp = TemporaryFile();
    if (engine_.fTemp.IsNil()) throw NilObjectException();
    engine_.fTemp.Delete();  // of an earlier run that was cut off
    // Without an encoding there is no decoded file, and the row is reported as saved all the same;
    // but the parts, which are all there is, stay, and nothing is renamed.
    const bool decodable = !engine_.Encoding.empty();
    if (decodable) {
      DecodeJoined();
      PutInPlace();
    } else {
      engine_.FileCreated = true;
      JoinedFile().Delete();
    }
    ShowRow(true, "File saved OK.");
    Code::RemoveFromActiveFiles(job_.TheFilename);
    if (decodable) RenameToNameInBody();
  } catch (const AssemblyFailure& failure) {
    Fail("Decode", failure.what());
    return;
  } catch (const NilObjectException&) {
    Fail("Decode", "a file could not be opened");
    return;
  }
  engine_.decoding_ = false;
}

// The thread that joins and decodes one file.  One works at a time: a second one waits until the
// first has ended.  thread_flag_ is set when none is left.
class grvConcat : public Thread {
 public:
  // `engine` outlives the thread.
  grvConcat(Engine& engine, AssemblyJob job) : engine_(engine), job_(std::move(job)) {
    ++engine_.assemblies_;
  }
  ~grvConcat() override { --engine_.assemblies_; }

 protected:
  void Event_Run() override;

 private:
  void End();

  Engine& engine_;
  AssemblyJob job_;
};

void Engine::StartConcat() {
  WriteDebug("StartConcat", "Found all the parts for: " + TheFilename);
  if (!Code::AddToActiveFiles(TheFilename)) {
    WriteDebug("StartConcat", "Another Downloader is assembling and decoding " + TheFilename +
                                  ". Going to next file.");
    if (running_) GetNextArticle();  // there is no next one outside a run
    return;
  }
  thread_flag_ = false;
  Thread::Run(std::make_unique<grvConcat>(
      *this, AssemblyJob{TheFilename, TheExt, LargestPartNo, DownloaderFilesID}));
}

void grvConcat::Event_Run() {
  while (!may::Assemble(engine_.CurrentSituation())) Thread::Sleep(kPause);
  engine_.joining_ = true;
  try {
    engine_.Assemble(job_);
  } catch (const std::exception&) {
    End();
    throw;
  }
  End();
}

void grvConcat::End() {
  engine_.joining_ = false;
  // The one that waits has cleared the flag before, and sets it in its turn.
  if (engine_.assemblies_ > 1) return;
  engine_.thread_flag_ = true;
  if (engine_.CurrentSituation().running) {
    engine_.TheTimer.FireSoon();
    return;
  }
  // Outside a run nothing else would take its words away.
  if (engine_.status_of_assembly_)
    engine_.SetStatus(engine_.FirstStartDone ? engine_.OverText() : "Ready.");
}

// True once after an assembly has ended.
bool Engine::TakeThreadFlag() {
  if (!thread_flag_) return false;
  thread_flag_ = false;
  assembling_ = decoding_ = false;  // a failure leaves one of them set
  return true;
}

void Engine::ShowAssemblyStatus(std::string_view text) {
  SetStatus(text);
  status_of_assembly_ = true;
}

void Engine::Assemble(AssemblyJob& job) { Assembly(*this, job).Assemble(); }

void Engine::Decode(AssemblyJob& job) { Assembly(*this, job).Decode(); }

}  // namespace gravlin
