// Part after part through the decoder, while the rest of the file is on its way.
#include "engine/work_ahead.h"

#include <algorithm>
#include <utility>

#include "decode/encodings.h"
#include "decode/yenc.h"
#include "engine/part_files.h"
#include "engine/parts_on_disk.h"
#include "platform/failures.h"
#include "platform/text.h"
#include "platform/thread.h"
#include "platform/waiting.h"

namespace gravlin {
namespace {

// Fits into the processor's cache with what is decoded from it.
constexpr std::size_t kBlock = 256 * 1024;
// Bytes after which the system is asked to begin writing them to the disk.
constexpr std::int64_t kFlushStep = 2 * 1024 * 1024;
// Room that is left to the parts.
constexpr std::int64_t kRoomForParts = 512 * 1024 * 1024;

std::size_t least_bytes = 512 * 1024;

FolderItem NextFile(const FolderItem& parts) {
  static int count = 0;
  return parts.Child("nzb_temp.ahead-" + Str(++count) + ".decoded");
}

}  // namespace

AheadFile::AheadFile(const FolderItem& parts, std::string filename)
    : parts_(parts), file_(NextFile(parts)), filename_(std::move(filename)) {}

AheadFile::~AheadFile() { Discard(); }

void AheadFile::Discard() {
  failed_ = true;
  if (!std::exchange(stream_, nullptr)) return;
  file_.Delete();
}

bool AheadFile::Open() {
  if (stream_) return true;
  file_.Delete();  // of a run that was killed
  stream_ = std::make_unique<LongBinaryStream>(file_, true, 1);
  decoder_ = std::make_unique<YencDecoder>();
  return true;
}

bool AheadFile::Add(std::int32_t number) {
  const FolderItem part = parts_.Child(PartFileNameOf(filename_, number));
  if (part.IsNil()) return false;
  const FileStamp stamp = part.Stamp();
  LongBinaryStream source(part, false, 1);
  const auto from = std::make_unique_for_overwrite<std::uint8_t[]>(kBlock);
  const auto to = std::make_unique_for_overwrite<std::uint8_t[]>(kBlock + YencDecoder::kSlack);
  std::int64_t read = 0;
  while (const std::size_t count = source.Read(from.get(), kBlock)) {
    if (Thread::Ending()) return false;
    const std::string_view text(reinterpret_cast<const char*>(from.get()), count);
    if (joined_bytes_ == 0 && read == 0 && Code::DetermineEncoding(text) != "yEnc") return false;
    read += static_cast<std::int64_t>(count);
    const std::size_t bytes = decoder_->Decode({from.get(), count}, to.get());
    if (!stream_->Write({reinterpret_cast<const char*>(to.get()), bytes})) return false;
    decoded_bytes_ += static_cast<std::int64_t>(bytes);
    unflushed_ += static_cast<std::int64_t>(bytes);
    if (unflushed_ >= kFlushStep) {
      unflushed_ = 0;
      if (!stream_->BeginFlush()) return false;
    }
  }
  if (!source.Close() || read != stamp.length || part.Stamp() != stamp) return false;
  done_.push_back({number, stamp});
  stamp_ = file_.Stamp();
  joined_bytes_ += read;
  return true;
}

void AheadFile::Work(const std::vector<std::int32_t>& numbers) try {
  for (const std::int32_t number : numbers) {
    if (failed_ || hurry_) return;
    if (parts_.FreeBytes() < kRoomForParts || !Open() || !Add(number)) Discard();
  }
} catch (const NilObjectException&) {
  Discard();
}

bool AheadFile::Fits(const std::vector<std::int32_t>& numbers) const {
  if (done_.size() > numbers.size()) return false;
  return std::equal(done_.begin(), done_.end(), numbers.begin(),
                    [this](const Part& part, std::int32_t number) {
                      return part.number == number &&
                             parts_.Child(PartFileNameOf(filename_, number)).Stamp() == part.stamp;
                    });
}

bool AheadFile::Finish(const std::vector<std::int32_t>& numbers) try {
  // Somebody else may have been at the file.
  const auto untouched = [this] {
    return file_.Stamp() == stamp_ && stamp_.length == decoded_bytes_;
  };
  bool good = !failed_ && Open() && (done_.empty() || untouched()) && Fits(numbers);
  for (std::size_t i = done_.size(); i < numbers.size() && good; ++i) good = Add(numbers[i]);
  if (good && untouched()) return true;
  Discard();
  return false;
} catch (const NilObjectException&) {
  Discard();
  return false;
}

bool AheadFile::Flush() { return stream_ && stream_->Flush() && stream_->Close(); }

// Shared with the thread that works on it.
struct WorkAhead::Work {
  Work(const FolderItem& parts, const std::string& filename) : file(parts, filename) {}
  AheadFile file;
  std::vector<std::int32_t> ready;  // given to no helper so far
  bool running = false;             // a Helper exists
  bool dropped = false;
  std::uint64_t waiter = 0;  // the assembly that waits for the Helper's end
};

// Has a helper thread work until nothing is ready.
class WorkAhead::Helper : public Thread {
 public:
  Helper(std::shared_ptr<Work> work, bool idle) : work_(std::move(work)), idle_(idle) {
    work_->running = true;
  }
  ~Helper() override {
    work_->running = false;
    WakeThread(work_->waiter);
  }

 private:
  void Event_Run() override {
    while (!work_->ready.empty() && !work_->dropped) {
      const std::vector<std::int32_t> numbers = std::exchange(work_->ready, {});
      (idle_ ? OffloadIdly : Offload)([this, &numbers] { work_->file.Work(numbers); });
      idle_ = false;
    }
    if (work_->dropped) Offload([this] { work_->file.Discard(); });
  }

  const std::shared_ptr<Work> work_;
  bool idle_;
};

WorkAhead::~WorkAhead() = default;

void WorkAhead::SetLeastBytes(std::size_t bytes) { least_bytes = bytes; }

void WorkAhead::Begin(const FolderItem& parts, const std::string& filename,
                      std::vector<std::int32_t> numbers) {
  std::sort(numbers.begin(), numbers.end());
  numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
  if (work_ && work_->file.Filename() == filename && numbers_ == numbers) return;
  Drop();
  work_ = std::make_shared<Work>(parts, filename);
  numbers_ = std::move(numbers);
  next_ = waiting_bytes_ = 0;
}

// Only those that follow the last one.
void WorkAhead::AddReady(const PartsOnDisk& there) {
  for (; next_ < numbers_.size() && there.Has(numbers_[next_]); ++next_)
    work_->ready.push_back(numbers_[next_]);
}

void WorkAhead::Run(bool idle) {
  waiting_bytes_ = 0;
  if (!work_->running && !work_->ready.empty()) Thread::Run(std::make_unique<Helper>(work_, idle));
}

void WorkAhead::TakeUp(const PartsOnDisk& there) {
  if (!work_) return;
  AddReady(there);
  Run(true);
}

void WorkAhead::PartSaved(const PartsOnDisk& there, std::size_t bytes) {
  if (!work_) return;
  waiting_bytes_ += bytes;
  if (waiting_bytes_ < least_bytes) return;
  AddReady(there);
  Run(false);
}

bool WorkAhead::Drop(bool at_once) {
  const std::shared_ptr<Work> work = std::exchange(work_, nullptr);
  if (!work) return false;
  work->file.Hurry();
  work->dropped = true;
  if (work->running) return true;
  if (!work->file.Begun()) return false;
  if (at_once)
    work->file.Discard();
  else
    Thread::Run(std::make_unique<Helper>(work, false));
  return true;
}

std::shared_ptr<AheadFile> WorkAhead::Take(std::string_view filename) {
  if (!work_ || work_->file.Filename() != filename) return nullptr;
  const std::shared_ptr<Work> work = std::exchange(work_, nullptr);
  work->file.Hurry();
  while (work->running) {
    work->waiter = RunningThread();
    WaitToBeWoken();
  }
  return {work, &work->file};
}

}  // namespace gravlin
