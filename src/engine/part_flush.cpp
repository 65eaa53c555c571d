// The flush of parts behind the download, and the look at them after a power cut.
#include "engine/part_flush.h"

#include <utility>

#include "engine/gravlin.h"
#include "engine/part_files.h"
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
  if (!stream) return false;
  const std::string text = stream->ReadAll();
  const std::size_t tail = std::min<std::size_t>(text.size(), 5);
  return Usenet::EndOfResponse(std::string_view(text).substr(text.size() - tail)) &&
         text.find(std::string(kHole, '\0')) == std::string::npos;
}

class FlushThread : public Thread {
 public:
  FlushThread(FolderItem parts, FolderItem mark, std::vector<std::string> names,
              std::shared_ptr<bool> running)
      : parts_(std::move(parts)),
        mark_(std::move(mark)),
        names_(std::move(names)),
        running_(std::move(running)) {}

 private:
  void Event_Run() override {
    Offload([this] { Flush(); });
    *running_ = false;
  }
  void Flush() {
    const std::int64_t until = FolderItem::ModifiedNow();
    bool safe = true;
    for (const std::string& name : names_) {
      const FolderItem part = parts_.Child(name);
      // A part that has been joined to its file meanwhile is no longer there.
      safe = (part.Flush() || !part.Exists()) && safe;
    }
    if (parts_.Flush() && safe) mark_.SetModified(until);
  }

  const FolderItem parts_, mark_;
  const std::vector<std::string> names_;
  const std::shared_ptr<bool> running_;
};

}  // namespace

PartFlush::PartFlush() : running_(std::make_shared<bool>(false)) {}
PartFlush::~PartFlush() = default;

void PartFlush::Use(const FolderItem& parts) {
  parts_ = parts;
  mark_ = parts.Parent().Child("Parts.flushed");
  marked_ = mark_.Exists();
  if (!marked_) return;
  const std::int64_t safe = mark_.Modified() - kRounding;
  for (const FolderItem::Entry& entry : parts_.Entries()) {
    if (entry.modified < safe || entry.length == 0 || FilenameOfPart(entry.name).empty()) continue;
    const FolderItem part = parts_.Child(entry.name);
    if (!IsWholeReply(part)) part.Delete();
  }
}

void PartFlush::BeforePart() {
  if (std::exchange(marked_, true) || parts_.IsNil()) return;
  mark_.CreatePrivateFile();
  mark_.Flush();
  mark_.Parent().Flush();
}

void PartFlush::PartSaved(const std::string& name) {
  waiting_.push_back(name);
  const std::int64_t now = TheClock().Milliseconds();
  if (now < next_ || *running_) return;
  next_ = now + kPause;
  *running_ = true;
  Thread::Run(std::make_unique<FlushThread>(parts_, mark_, std::exchange(waiting_, {}), running_));
}

}  // namespace gravlin
