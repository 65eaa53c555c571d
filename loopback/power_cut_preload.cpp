// A disk that can lose its power, preloaded into gravlin-drive.
//
// Each change to a file or a name below GRAVLIN_POWER_CUT_ROOT reaches the real file system and is
// noted in a journal in GRAVLIN_POWER_CUT_JOURNAL, as is each flush.  Deleted files are kept there
// under another name.  After the process was killed, gravlin-power-cut undoes what no flush had
// reached.
#include <dlfcn.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

namespace {

std::string FromEnvironment(const char* name) {
  const char* const value = getenv(name);
  return value ? value : "";
}

class Journal {
 public:
  static Journal& Get() {
    static Journal* const journal = new Journal;  // used until the last moment of the process
    return *journal;
  }

  bool Watches(std::string_view path) const {
    return descriptor_ >= 0 && path.starts_with(root_) && !path.ends_with("-shm");
  }
  void Note(const std::string& line) {
    const std::string text = line + "\n";
    syscall(SYS_write, descriptor_, text.data(), text.size());
  }
  // Called before bytes of the file change.
  void Changes(int file) {
    struct stat about {};
    std::string path;
    const std::lock_guard lock(mutex_);
    if (!Regular(file, about, path) || dirty_[about.st_ino]) return;
    dirty_[about.st_ino] = true;
    Note("changed\t" + std::to_string(about.st_ino) + "\t" + std::to_string(about.st_size));
  }
  // Called after the file or the folder was flushed.
  void Flushed(int file) {
    struct stat about {};
    std::string path;
    const std::lock_guard lock(mutex_);
    if (fstat(file, &about) == 0 && S_ISDIR(about.st_mode)) {
      path = PathOf(file);
      if (Watches(path + "/")) Note("folder\t" + path);
      return;
    }
    if (!Regular(file, about, path)) return;
    dirty_[about.st_ino] = false;
    // A store is written in place, so its flushed state is kept; other files only grow.
    const bool store = path.find(".rsd") != std::string::npos;
    if (store) Keep(path, std::to_string(about.st_ino));
    Note("flushed\t" + std::to_string(about.st_ino));
  }
  // Links what is about to be deleted to a second name; "" if there is nothing.
  std::string Rescue(const char* path) {
    const std::string kept =
        folder_ + "/deleted-" + std::to_string(getpid()) + "-" + std::to_string(++rescued_);
    return link(path, kept.c_str()) == 0 ? kept : std::string();
  }

 private:
  Journal()
      : root_(FromEnvironment("GRAVLIN_POWER_CUT_ROOT")),
        folder_(FromEnvironment("GRAVLIN_POWER_CUT_JOURNAL")) {
    if (root_.empty() || folder_.empty()) return;
    descriptor_ = static_cast<int>(syscall(SYS_openat, AT_FDCWD, (folder_ + "/journal").c_str(),
                                           O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
  }
  static std::string PathOf(int file) {
    char path[4096];
    const std::string link = "/proc/self/fd/" + std::to_string(file);
    const ssize_t size = readlink(link.c_str(), path, sizeof path);
    return size > 0 ? std::string(path, static_cast<std::size_t>(size)) : std::string();
  }
  bool Regular(int file, struct stat& about, std::string& path) const {
    if (descriptor_ < 0 || fstat(file, &about) != 0 || !S_ISREG(about.st_mode)) return false;
    path = PathOf(file);
    return Watches(path);
  }
  void Keep(const std::string& path, const std::string& inode) const {
    const int from =
        static_cast<int>(syscall(SYS_openat, AT_FDCWD, path.c_str(), O_RDONLY | O_CLOEXEC));
    const std::string kept = folder_ + "/flushed-" + inode;
    const int to = static_cast<int>(syscall(SYS_openat, AT_FDCWD, (kept + ".new").c_str(),
                                            O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    static char bytes[1 << 20];
    for (long count; (count = syscall(SYS_read, from, bytes, sizeof bytes)) > 0;)
      syscall(SYS_write, to, bytes, count);
    syscall(SYS_close, from);
    syscall(SYS_close, to);
    syscall(SYS_rename, (kept + ".new").c_str(), kept.c_str());
  }

  const std::string root_, folder_;
  int descriptor_ = -1;
  std::mutex mutex_;
  std::map<ino_t, bool> dirty_;
  int rescued_ = 0;
};

template <class Function>
Function* Real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

int Deleted(const char* path, int (*real)(const char*)) {
  Journal& journal = Journal::Get();
  if (!journal.Watches(path)) return real(path);
  const std::string kept = journal.Rescue(path);
  const int result = real(path);
  if (result == 0 && !kept.empty()) journal.Note("deleted\t" + std::string(path) + "\t" + kept);
  return result;
}

int Renamed(const char* from, const char* to, int result) {
  Journal& journal = Journal::Get();
  if (result == 0 && journal.Watches(to)) journal.Note("renamed\t" + std::string(from) + "\t" + to);
  return result;
}

}  // namespace

extern "C" {

int open(const char* path, int flags, ...) {
  va_list more;
  va_start(more, flags);
  const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) ? va_arg(more, mode_t) : 0;
  va_end(more);
  Journal& journal = Journal::Get();
  const bool watched = (flags & O_CREAT) && journal.Watches(path);
  struct stat about {};
  const bool made = watched && lstat(path, &about) != 0;
  const int file = static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
  if (file >= 0 && made) journal.Note("made\t" + std::string(path));
  if (file >= 0 && watched) journal.Changes(file);
  return file;
}
// If file offsets always have 64 bits, both names mean the same.
int open64(const char* path, int flags, ...) __attribute__((alias("open")));
ssize_t write(int file, const void* bytes, size_t size) {
  Journal::Get().Changes(file);
  return Real<ssize_t(int, const void*, size_t)>("write")(file, bytes, size);
}
ssize_t pwrite64(int file, const void* bytes, size_t size, off64_t at) {
  Journal::Get().Changes(file);
  return Real<ssize_t(int, const void*, size_t, off64_t)>("pwrite64")(file, bytes, size, at);
}
ssize_t pwrite(int file, const void* bytes, size_t size, off_t at) {
  return pwrite64(file, bytes, size, at);
}
int ftruncate64(int file, off64_t size) {
  Journal::Get().Changes(file);
  return static_cast<int>(syscall(SYS_ftruncate, file, size));
}
int ftruncate(int file, off_t size) { return ftruncate64(file, size); }
int fsync(int file) {
  const int result = Real<int(int)>("fsync")(file);
  if (result == 0) Journal::Get().Flushed(file);
  return result;
}
int fdatasync(int file) {
  const int result = Real<int(int)>("fdatasync")(file);
  if (result == 0) Journal::Get().Flushed(file);
  return result;
}
int unlink(const char* path) { return Deleted(path, Real<int(const char*)>("unlink")); }
int remove(const char* path) { return Deleted(path, Real<int(const char*)>("remove")); }
int rename(const char* from, const char* to) {
  return Renamed(from, to, Real<int(const char*, const char*)>("rename")(from, to));
}
int renameat2(int, const char* from, int, const char* to, unsigned flags) {
  return Renamed(from, to,
                 static_cast<int>(syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, flags)));
}

}  // extern "C"
