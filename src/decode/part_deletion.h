// How the parts of a finished file go.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "platform/folder_item.h"
#include "platform/streams.h"
#include "platform/thread.h"

namespace gravlin {

// Deletes files, and gives their room back later: that takes most of the time, and the next file
// need not wait for it.
class PartDeletion : public Thread {
 public:
  void Delete(const FolderItem& file) {
    if (open_.size() < kMost)
      if (FileHandle handle = file.OpenToDelete()) open_.push_back(std::move(handle));
    file.Delete();
  }

 private:
  static constexpr std::size_t kMost = 128;  // a process has 1,024 or more
  void Event_Run() override {
    Offload([this] { open_.clear(); });
  }
  std::vector<FileHandle> open_;  // keep the system from it
};

}  // namespace gravlin
