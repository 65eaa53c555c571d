// The flush of parts in the background, and the look at them after a power cut.
#include "engine/part_flush.h"

#include <utility>

#include "engine/part_files.h"
#include "engine/usenet.h"
#include "platform/clock.h"
#include "platform/streams.h"
#include "platform/thread.h"

namespace gravlin {
namespace {

// File systems round times, at most to two seconds.
constexpr std::int64_t kRounding = 2'000'000'000;
constexpr std::size_t kHole = 512;  // a disk loses whole sectors

// A saved reply ends as a reply does, and no article holds so many NUL bytes in a row: its lines
// are text, and yEnc has no NUL (yEnc draft 1.3, "The encoding").
bool IsWholeReply(const FolderItem& part) {
  const std::unique_ptr<TextInputStream> stream = part.OpenAsTextFile();
  if (!stream) return true;  // for want of a descriptor, say: nothing is known against it
  const std::string text = stream->ReadAll();
  const std::size_t tail = std::min<std::size_t>(text.size(), 5);
  return Usenet::EndOfResponse(std::string_view(text).substr(text.size() - tail)) &&
         text.find(std::string(kHole, '\0')) == std::string::npos;
}

class FlushThread : public Thread {
 public:
  FlushThread(FolderItem parts, FolderItem mark, std::vector<std::string> names,
              std::shared_ptr<PartFlush::Progress> progress)
      : parts_(std::move(parts)),
        mark_(std::move(mark)),
        names_(std::move(names)),
        until_(FolderItem::ModifiedNow()),
        progress_(std::move(progress)) {}

 private:
  void Event_Run() override {
    bool safe = false;
    Offload([this, &safe] { safe = Flush(); });
    // A second flush of what failed once proves nothing: the mark stays for the rest of the run.
    if (!safe) progress_->failed = true;
    if (!progress_->failed) mark_.SetModified(until_);
    progress_->running = false;
  }
  bool Flush() {
    bool safe = true;
    for (const std::string& name : names_) {
      const FolderItem part = parts_.Child(name);
      // A part that has been joined to its file meanwhile is no longer there.
      safe = (part.Flush() || !part.Exists()) && safe;
    }
    return parts_.Flush() && safe;
  }

  const FolderItem parts_, mark_;
  const std::vector<std::string> names_;
  const std::int64_t until_;
  const std::shared_ptr<PartFlush::Progress> progress_;
};

}  // namespace

PartFlush::PartFlush() : progress_(std::make_shared<Progress>()) {}
PartFlush::~PartFlush() = default;

void PartFlush::Use(const FolderItem& parts) {
  parts_ = parts;
  mark_ = parts.Parent().Child("Parts.flushed");
  marked_ = mark_.Exists();
  // Without a mark nothing is known of any part: the disk may have refused the mark, or lost it.
  const std::int64_t safe = marked_ ? mark_.Modified() - kRounding : 0;
  for (const FolderItem::Entry& entry : parts_.Entries()) {
    if (entry.modified < safe || entry.length == 0 || FilenameOfPart(entry.name).empty()) continue;
    const FolderItem part = parts_.Child(entry.name);
    if (!IsWholeReply(part)) part.Delete();
  }
}

void PartFlush::BeforePart() {
  if (marked_ || parts_.IsNil()) return;
  marked_ = mark_.CreatePrivateFile();
  mark_.Flush();
  mark_.Parent().Flush();
}

void PartFlush::PartSaved(const std::string& name) {
  waiting_.push_back(name);
  const std::int64_t now = TheClock().Milliseconds();
  if (now < next_ || progress_->running) return;
  next_ = now + kPause;
  progress_->running = true;
  Thread::Run(std::make_unique<FlushThread>(parts_, mark_, std::exchange(waiting_, {}), progress_));
}

}  // namespace gravlin
