// Flushes parts in the background, and after a power cut finds those that were not flushed.
//
// A part has its name as soon as the system has taken its bytes; they are on the disk some seconds
// later.  To flush each one at once would make the download wait for the disk, so they are flushed
// together every few seconds, on a helper thread.  The modification time of a mark next to the
// folder says up to when that has been done: whatever a power cut can have damaged is newer.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/folder_item.h"

namespace gravlin {

class PartFlush {
 public:
  static constexpr int kPause = 5000;  // milliseconds of the Clock between two flushes
  // Shared with the thread of a flush.
  struct Progress {
    bool running = false, failed = false;
  };

  PartFlush();
  ~PartFlush();

  // The folder of the parts; the mark lies next to it.  Deletes the parts that are newer than the
  // mark and no whole reply: cut off, or with a hole.  To be called before parts are counted.
  void Use(const FolderItem& parts);
  // A part is about to be saved.  Makes the mark, once.
  void BeforePart();
  // A part has got its name.
  void PartSaved(const std::string& name);

 private:
  FolderItem parts_, mark_;
  bool marked_ = false;
  std::vector<std::string> waiting_;
  std::int64_t next_ = 0;  // Clock milliseconds
  std::shared_ptr<Progress> progress_;
};

}  // namespace gravlin
