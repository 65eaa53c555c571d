// A disk that refuses, is full, or loses its power: the calls of the system that change files, put
// in front of the C library's own.  Only what is below a folder is touched, and of that not the
// store, which keeps its own promises.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "random.h"

namespace gravlin::walks {

enum class DiskFault { kNone, kWrites, kRenames, kDeletes, kFlushes, kFull, kStore, kCount };

class Disk {
 public:
  static Disk& Get();

  // Keeps what was deleted, until it is flushed, in `kept`.
  void Watch(const std::string& root, const std::string& kept);
  // Until the next call about half of these calls fail.  kFull: all that need room; kStore: one in
  // eight of those to the store.
  void Fail(DiskFault fault, std::uint64_t seed);
  // After so many more calls that would change something nothing changes any more, as if the
  // program had been killed at that moment.  Until Revive.
  void DieAfter(int calls) { calls_left_ = calls; }
  void Revive() { calls_left_ = -1; }
  // What no flush has reached is lost or damaged.  Names go in any order.
  void LosePower(Random& random);
  void Forget();

  // Changes so far, of files and names.
  std::uint64_t ChangeCount() const { return changes_; }

  // --- For the calls ---
  bool Refuses(DiskFault fault, std::string_view path);
  bool RefusesWrite(int file);
  bool RefusesFlush(int file);
  void Opened(int file, std::string_view path);
  void Changes(int file);
  void Flushed(int file);
  // The name is about to be made, changed or deleted.
  void NameChanges(const std::string& path);
  bool Watches(std::string_view path) const;

 private:
  bool Known(int file, std::string& path, std::uint64_t& inode, std::int64_t& size) const;

  std::string root_, kept_;
  DiskFault fault_ = DiskFault::kNone;
  int calls_left_ = -1;  // until it is dead; -1 if nobody counts
  Random random_{0};
  int kept_count_ = 0;
  std::uint64_t changes_ = 0;
  std::map<int, std::string> open_;                  // paths of descriptors
  std::map<std::uint64_t, std::int64_t> unflushed_;  // by inode: bytes that are safe
  std::map<std::string, std::string> names_;  // changed since the flush of their folder: where
                                              // what they named is kept, "" if nothing
};

}  // namespace gravlin::walks
