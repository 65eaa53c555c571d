// Files opened by their names alone, since the way to a folder takes longer than the reading.
#include "platform/folder_reader.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "platform/files.h"

namespace gravlin {

FolderReader::FolderReader(const FolderItem& folder)
    : folder_(open(folder.NativePath().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {}

std::size_t FolderReader::Read(const std::string& name, char* to, std::size_t size) const {
  if (!folder_) return 0;
  // As files::OpenForReading: neither a pipe nor a device makes the program wait.
  const FileHandle file(
      openat(folder_.Get(), name.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  struct stat about {};
  if (!file || fstat(file.Get(), &about) != 0 || !S_ISREG(about.st_mode)) return 0;
  return files::ReadSome(file.Get(), to, size);
}

std::int64_t FolderReader::Length(const std::string& name) const {
  struct stat about {};
  const bool there = folder_ && fstatat(folder_.Get(), name.c_str(), &about, 0) == 0;
  return there && !S_ISDIR(about.st_mode) ? about.st_size : 0;
}

}  // namespace gravlin
