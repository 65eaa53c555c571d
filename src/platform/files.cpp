// Opening, reading, writing and renaming, with the results of the system calls checked.
#include "platform/files.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

#include "platform/folder_item.h"
#include "platform/thread.h"

namespace gravlin::files {
namespace {

constexpr std::size_t kCopyBlock = 1024 * 1024;

FileHandle OpenRegular(const std::string& path, int flags, unsigned mode) {
  // Without O_NONBLOCK the opening of a named pipe would wait for its other end.
  constexpr int kAlways = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  int descriptor;
  do {
    descriptor = open(path.c_str(), flags | kAlways, mode);
  } while (descriptor < 0 && errno == EINTR);
  FileHandle file(descriptor);
  struct stat about {};
  if (!file || fstat(file.Get(), &about) != 0 || !S_ISREG(about.st_mode)) return {};
  return file;
}

bool SomethingIsAt(const std::string& path) {
  struct stat about {};
  return lstat(path.c_str(), &about) == 0;
}

// For file systems that cannot rename without replacing.
bool RenameInTwoSteps(const std::string& from, const std::string& to) {
  if (link(from.c_str(), to.c_str()) == 0) {
    if (unlink(from.c_str()) == 0) return true;
    const int error = errno;
    unlink(to.c_str());
    errno = error;
    return false;
  }
  if (errno == EEXIST || errno == EXDEV || errno == ENOENT) return false;
  // No hard links either (FAT, folders).  Only one program writes here, so a check before the
  // rename is enough.
  if (SomethingIsAt(to)) {
    errno = EEXIST;
    return false;
  }
  return rename(from.c_str(), to.c_str()) == 0;
}

bool CopyBytes(int from, int to) {
  std::vector<char> block(kCopyBlock);
  for (;;) {
    bool failed = false;
    const std::size_t count = ReadSome(from, block.data(), block.size(), &failed);
    if (failed || Thread::Ending() || !WriteAll(to, block.data(), count)) return false;
    if (count < block.size()) return true;
  }
}

}  // namespace

FileHandle OpenForReading(const std::string& path) { return OpenRegular(path, O_RDONLY, 0); }

FileHandle OpenForWriting(const std::string& path, int flags, unsigned mode) {
  struct stat about {};
  const bool anew = (flags & O_TRUNC) && lstat(path.c_str(), &about) == 0;
  if (anew && (S_ISLNK(about.st_mode) || (S_ISREG(about.st_mode) && about.st_nlink > 1)))
    unlink(path.c_str());
  return OpenRegular(path, O_WRONLY | O_NOFOLLOW | flags, mode);
}

std::size_t ReadSome(int descriptor, char* to, std::size_t size, bool* failed) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t count = read(descriptor, to + done, size - done);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 && failed) *failed = true;
    if (count <= 0) break;
    done += static_cast<std::size_t>(count);
  }
  return done;
}

bool WriteAll(int descriptor, const char* bytes, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t count = write(descriptor, bytes + done, size - done);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    done += static_cast<std::size_t>(count);
  }
  return true;
}

bool RenameToFree(const std::string& from, const std::string& to) {
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
  if (errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP) return false;
  return RenameInTwoSteps(from, to);
}

bool CopyToFree(const std::string& from, const std::string& folder, const std::string& to) {
  struct stat about {};
  if (lstat(from.c_str(), &about) != 0 || !S_ISREG(about.st_mode) || SomethingIsAt(to))
    return false;
  FileHandle source = OpenForReading(from);
  if (!source) return false;
  std::string temporary = folder + "/" + std::string(FolderItem::kHalfMoved) + "XXXXXX";
  FileHandle target(mkostemp(temporary.data(), O_CLOEXEC));
  if (!target) return false;
  const bool copied = CopyBytes(source.Get(), target.Get()) &&
                      fchmod(target.Get(), about.st_mode & 0777) == 0 && fsync(target.Get()) == 0;
  // The name comes last: a power cut may leave the temporary file, never half a file under the real
  // name.
  if (!target.Close() || !copied || !RenameToFree(temporary, to)) {
    unlink(temporary.c_str());
    return false;
  }
  FileHandle new_home(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (new_home) fsync(new_home.Get());
  unlink(from.c_str());
  return true;
}

}  // namespace gravlin::files
