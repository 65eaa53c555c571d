// The calls of the system that change files.
#include "disk.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <vector>

namespace gravlin::walks {
namespace {

constexpr std::int64_t kSector = 512;

std::string FolderOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

}  // namespace

Disk& Disk::Get() {
  static Disk* const disk = new Disk;  // used until the last moment of the process
  return *disk;
}

void Disk::Watch(const std::string& root, const std::string& kept) {
  Forget();
  root_ = root;
  kept_ = kept;
}

void Disk::Forget() {
  Revive();
  fault_ = DiskFault::kNone;
  root_.clear();
  open_.clear();
  unflushed_.clear();
  names_.clear();
  kept_count_ = 0;
}

void Disk::Fail(DiskFault fault, std::uint64_t seed) {
  fault_ = fault;
  random_ = Random(seed);
}

bool Disk::Watches(std::string_view path) const {
  return !root_.empty() && path.starts_with(root_) &&
         path.find("/Gravlin.rsd") == std::string_view::npos;
}

bool Disk::Refuses(DiskFault fault, std::string_view path) {
  if (calls_left_ >= 0 && !root_.empty() && path.starts_with(root_)) {
    if (calls_left_ == 0) return true;
    --calls_left_;
  }
  if (fault_ == DiskFault::kNone || root_.empty() || !path.starts_with(root_)) return false;
  if (fault_ == DiskFault::kFull) return fault == DiskFault::kWrites;
  if (fault_ == DiskFault::kStore)
    return fault == DiskFault::kWrites && !Watches(path) && random_.OneIn(8);
  return fault_ == fault && Watches(path) && random_.OneIn(2);
}

bool Disk::RefusesWrite(int file) {
  if (fault_ == DiskFault::kNone && calls_left_ < 0) return false;
  const auto path = open_.find(file);
  return path != open_.end() && Refuses(DiskFault::kWrites, path->second);
}

bool Disk::RefusesFlush(int file) {
  const auto path = open_.find(file);
  return path != open_.end() && Refuses(DiskFault::kFlushes, path->second);
}

void Disk::Opened(int file, std::string_view path) {
  if (!root_.empty() && path.starts_with(root_))
    open_[file] = path;
  else
    open_.erase(file);
}

bool Disk::Known(int file, std::string& path, std::uint64_t& inode, std::int64_t& size) const {
  const auto opened = open_.find(file);
  struct stat about {};
  if (opened == open_.end() || !Watches(opened->second) || fstat(file, &about) != 0) return false;
  path = opened->second;
  inode = about.st_ino;
  size = S_ISREG(about.st_mode) ? about.st_size : -1;
  return S_ISREG(about.st_mode) || S_ISDIR(about.st_mode);
}

void Disk::Changes(int file) {
  std::string path;
  std::uint64_t inode;
  std::int64_t size;
  if (!Known(file, path, inode, size) || size < 0) return;
  ++changes_;
  unflushed_.emplace(inode, size);
}

void Disk::Flushed(int file) {
  std::string path;
  std::uint64_t inode;
  std::int64_t size;
  if (!Known(file, path, inode, size)) return;
  unflushed_.erase(inode);
  if (size < 0)
    std::erase_if(names_, [&](const auto& name) { return FolderOf(name.first) == path; });
}

void Disk::NameChanges(const std::string& path) {
  if (!Watches(path)) return;
  ++changes_;
  if (names_.contains(path)) return;
  std::string kept = kept_ + "/" + std::to_string(kept_count_++);
  if (syscall(SYS_link, path.c_str(), kept.c_str()) != 0) kept.clear();
  names_.emplace(path, kept);
}

void Disk::LosePower(Random& random) {
  fault_ = DiskFault::kNone;
  for (const auto& [path, kept] : names_) {
    if (random.OneIn(2)) continue;
    syscall(SYS_unlink, path.c_str());
    if (!kept.empty()) syscall(SYS_link, kept.c_str(), path.c_str());
  }
  names_.clear();
  std::vector<std::string> folders = {root_ + "/Parts", root_ + "/Downloads"};
  for (const std::string& folder : folders) {
    DIR* const entries = opendir(folder.c_str());
    if (!entries) continue;
    while (const dirent* const entry = readdir(entries)) {
      const std::string path = folder + "/" + entry->d_name;
      struct stat about {};
      if (lstat(path.c_str(), &about) != 0 || !S_ISREG(about.st_mode)) continue;
      const auto safe = unflushed_.find(about.st_ino);
      if (safe == unflushed_.end() || random.OneIn(3)) continue;
      const std::int64_t lost = about.st_size - safe->second;
      if (lost <= 0) continue;
      if (random.OneIn(2)) {
        syscall(SYS_truncate, path.c_str(),
                safe->second + random.Below(static_cast<int>(lost) + 1));
      } else {
        const std::int64_t sector = random.Below(static_cast<int>(about.st_size / kSector) + 1);
        const std::int64_t end = std::min<std::int64_t>((sector + 1) * kSector, about.st_size);
        const std::string zeros(static_cast<std::size_t>(end - sector * kSector), '\0');
        const int file = static_cast<int>(syscall(SYS_open, path.c_str(), O_WRONLY | O_CLOEXEC));
        syscall(SYS_pwrite64, file, zeros.data(), zeros.size(), sector * kSector);
        ::close(file);
      }
    }
    closedir(entries);
  }
  unflushed_.clear();
}

}  // namespace gravlin::walks

using gravlin::walks::Disk;
using gravlin::walks::DiskFault;

namespace {

int Refused(int why) {
  errno = why;
  return -1;
}

int Deleted(const char* path, long call) {
  if (Disk::Get().Refuses(DiskFault::kDeletes, path)) return Refused(EIO);
  Disk::Get().NameChanges(path);
  return static_cast<int>(syscall(call, path));
}

}  // namespace

extern "C" {

int open(const char* path, int flags, ...) {
  va_list more;
  va_start(more, flags);
  const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) ? va_arg(more, mode_t) : 0;
  va_end(more);
  Disk& disk = Disk::Get();
  if (flags & O_CREAT) {
    struct stat about {};
    if (lstat(path, &about) != 0) {
      if (disk.Refuses(DiskFault::kWrites, path)) return Refused(ENOSPC);
      disk.NameChanges(path);
    } else if (flags & O_TRUNC && disk.Refuses(DiskFault::kWrites, path)) {
      return Refused(ENOSPC);
    }
  }
  const int file = static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
  if (file >= 0) disk.Opened(file, path);
  if (file >= 0 && flags & O_TRUNC) disk.Changes(file);
  return file;
}
int open64(const char* path, int flags, ...) __attribute__((alias("open")));
ssize_t write(int file, const void* bytes, size_t size) {
  if (Disk::Get().RefusesWrite(file)) return Refused(ENOSPC);
  Disk::Get().Changes(file);
  return syscall(SYS_write, file, bytes, size);
}
ssize_t pwrite64(int file, const void* bytes, size_t size, off64_t at) {
  if (Disk::Get().RefusesWrite(file)) return Refused(ENOSPC);
  Disk::Get().Changes(file);
  return syscall(SYS_pwrite64, file, bytes, size, at);
}
ssize_t pwrite(int file, const void* bytes, size_t size, off_t at) {
  return pwrite64(file, bytes, size, at);
}
int ftruncate64(int file, off64_t size) {
  Disk::Get().Changes(file);
  return static_cast<int>(syscall(SYS_ftruncate, file, size));
}
int ftruncate(int file, off_t size) { return ftruncate64(file, size); }
int fsync(int file) {
  if (Disk::Get().RefusesFlush(file)) return Refused(EIO);
  const int result = static_cast<int>(syscall(SYS_fsync, file));
  if (result == 0) Disk::Get().Flushed(file);
  return result;
}
int fdatasync(int file) {
  if (Disk::Get().RefusesFlush(file)) return Refused(EIO);
  const int result = static_cast<int>(syscall(SYS_fdatasync, file));
  if (result == 0) Disk::Get().Flushed(file);
  return result;
}
int unlink(const char* path) { return Deleted(path, SYS_unlink); }
int link(const char* from, const char* to) {
  if (Disk::Get().Refuses(DiskFault::kRenames, to)) return Refused(EIO);
  Disk::Get().NameChanges(to);
  return static_cast<int>(syscall(SYS_link, from, to));
}
int rename(const char* from, const char* to) {
  if (Disk::Get().Refuses(DiskFault::kRenames, to)) return Refused(EIO);
  Disk::Get().NameChanges(from);
  Disk::Get().NameChanges(to);
  return static_cast<int>(syscall(SYS_rename, from, to));
}
int renameat2(int, const char* from, int, const char* to, unsigned flags) {
  if (Disk::Get().Refuses(DiskFault::kRenames, to)) return Refused(EIO);
  struct stat about {};
  // Nothing is to change where the call itself refuses.
  if (lstat(to, &about) == 0 && flags) return Refused(EEXIST);
  Disk::Get().NameChanges(from);
  Disk::Get().NameChanges(to);
  return static_cast<int>(syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, flags));
}

}  // extern "C"
