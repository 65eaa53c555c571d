// Paths and the files at them, by system calls.
#include "platform/folder_item.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <pwd.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <functional>

#include "platform/desktop.h"
#include "platform/failures.h"
#include "platform/files.h"
#include "platform/streams.h"

namespace gravlin {
namespace {

constexpr std::string_view kVolume = "System";
constexpr std::size_t kLongestName = 255;
constexpr unsigned kPrivate = 0600;

bool IsName(std::string_view name) {
  return !name.empty() && name != "." && name != ".." && name.size() <= kLongestName &&
         name.find('/') == std::string_view::npos && name.find('\0') == std::string_view::npos;
}

std::string Join(const std::string& folder, std::string_view name) {
  std::string path = folder == "/" ? std::string() : folder;
  path += '/';
  path += name;
  return path;
}

// What ".." means in a folder: the parent of what a link leads to, not of the link.
std::string Above(const std::string& folder) {
  const std::unique_ptr<char, void (*)(void*)> real(realpath(folder.c_str(), nullptr), free);
  const std::string path = real ? real.get() : folder;
  return path.substr(0, std::max<std::size_t>(path.rfind('/'), 1));
}

// ":" and "/" are swapped between a native name and its part in the colon form.
std::string SwapSeparators(std::string_view text) {
  std::string result(text);
  for (char& c : result) {
    if (c == ':' || c == '/') c = c == ':' ? '/' : ':';
  }
  return result;
}

bool MakeFolder(const std::string& path, unsigned mode) {
  struct stat about {};
  if (mkdir(path.c_str(), mode) == 0) return true;
  if (errno == ENOENT) {
    const std::size_t slash = path.rfind('/');
    if (slash == 0 || slash == std::string::npos || !MakeFolder(path.substr(0, slash), mode)) {
      return false;
    }
    if (mkdir(path.c_str(), mode) == 0) return true;
  }
  return stat(path.c_str(), &about) == 0 && S_ISDIR(about.st_mode);
}

FolderItem home_override;
FolderItem programs_override;

constexpr std::int64_t kSecond = 1'000'000'000;

std::int64_t Nanoseconds(const timespec& time) { return time.tv_sec * kSecond + time.tv_nsec; }

// False if the folder could not be read to its end.
bool ForEachEntry(const std::string& path, const std::function<void(DIR*, const char*)>& visit) {
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(path.c_str()), closedir);
  if (!folder) return false;
  for (;;) {
    errno = 0;
    const dirent* const entry = readdir(folder.get());
    if (!entry) return errno == 0;
    if (IsName(entry->d_name)) visit(folder.get(), entry->d_name);
  }
}

}  // namespace

FolderItem FolderItem::FromPath(std::string_view path) {
  if (!path.starts_with('/') || path.find('\0') != std::string_view::npos) return {};
  std::string clean = "/";
  while (!path.empty()) {
    const std::size_t end = std::min(path.find('/'), path.size());
    const std::string_view name = path.substr(0, end);
    if (name == "..")
      clean = Above(clean);
    else if (!name.empty() && name != ".")
      clean = Join(clean, name);
    path.remove_prefix(std::min(end + 1, path.size()));
  }
  return FolderItem(std::move(clean));
}

FolderItem FolderItem::FromAbsolutePath(std::string_view path) {
  const std::size_t volume = path.find(':');
  if (volume == std::string_view::npos || volume == 0) return {};
  path.remove_prefix(volume + 1);
  if (path.ends_with(':')) path.remove_suffix(1);
  FolderItem item(std::string("/"));
  while (!path.empty()) {
    const std::size_t end = std::min(path.find(':'), path.size());
    const std::string name = SwapSeparators(path.substr(0, end));
    if (!IsName(name)) return {};
    item = item.Child(name);
    path.remove_prefix(std::min(end + 1, path.size()));
  }
  return item;
}

const std::string& FolderItem::NativePath() const {
  if (path_.empty()) throw NilObjectException();
  return path_;
}

FolderItem FolderItem::Child(std::string_view name) const {
  const std::string& folder = NativePath();
  return IsName(name) ? FolderItem(Join(folder, name)) : FolderItem();
}

FolderItem FolderItem::Parent() const {
  const std::string& path = NativePath();
  if (path == "/") return {};
  const std::size_t slash = path.rfind('/');
  return FolderItem(slash == 0 ? "/" : path.substr(0, slash));
}

std::string FolderItem::Name() const {
  const std::string& path = NativePath();
  return path == "/" ? std::string(kVolume) : path.substr(path.rfind('/') + 1);
}

std::string FolderItem::DisplayName() const { return Name(); }

std::string FolderItem::AbsolutePath() const {
  const std::string& path = NativePath();
  std::string result(kVolume);
  if (path == "/") return result + ":";
  result += SwapSeparators(path);
  if (IsFolder()) result += ':';
  return result;
}

bool FolderItem::Exists() const {
  struct stat about {};
  // A dangling link counts as existing: nothing can be made in its place.
  return lstat(NativePath().c_str(), &about) == 0;
}

bool FolderItem::IsFolder() const {
  struct stat about {};
  return stat(NativePath().c_str(), &about) == 0 && S_ISDIR(about.st_mode);
}

std::int64_t FolderItem::Length() const {
  struct stat about {};
  if (stat(NativePath().c_str(), &about) != 0 || S_ISDIR(about.st_mode)) return 0;
  return about.st_size;
}

std::int64_t FolderItem::Modified() const {
  struct stat about {};
  if (stat(NativePath().c_str(), &about) != 0) return 0;
  return Nanoseconds(about.st_mtim);
}

FileStamp FolderItem::Stamp() const {
  struct stat about {};
  if (stat(NativePath().c_str(), &about) != 0) return {};
  return {about.st_size, Nanoseconds(about.st_mtim), Nanoseconds(about.st_ctim)};
}

std::int64_t FolderItem::FreeBytes() const {
  struct statvfs about {};
  if (statvfs(NativePath().c_str(), &about) != 0) return 0;
  return static_cast<std::int64_t>(about.f_bavail * about.f_frsize);
}

bool FolderItem::SetModified(std::int64_t nanoseconds) const {
  const timespec time{nanoseconds / kSecond, nanoseconds % kSecond};
  const timespec times[2] = {time, time};
  return utimensat(AT_FDCWD, NativePath().c_str(), times, AT_SYMLINK_NOFOLLOW) == 0;
}

std::int64_t FolderItem::ModifiedNow() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME_COARSE, &now);
  return Nanoseconds(now);
}

std::vector<std::string> FolderItem::ChildNames(bool* whole) const {
  std::vector<std::string> names;
  const bool read =
      ForEachEntry(NativePath(), [&](DIR*, const char* name) { names.emplace_back(name); });
  if (whole) *whole = read;
  return names;
}

std::vector<FolderItem::Entry> FolderItem::Entries() const {
  std::vector<Entry> entries;
  ForEachEntry(NativePath(), [&](DIR* folder, const char* name) {
    struct stat about {};
    entries.push_back({name});
    Entry& entry = entries.back();
    if (fstatat(dirfd(folder), name, &about, 0) != 0) return;
    if (!S_ISDIR(about.st_mode)) entry.length = about.st_size;
    entry.modified = Nanoseconds(about.st_mtim);
    entry.changed = Nanoseconds(about.st_ctim);
  });
  return entries;
}

bool FolderItem::CreateAsFolder(unsigned mode) { return MakeFolder(NativePath(), mode); }

bool FolderItem::CreatePrivateFile() const {
  return static_cast<bool>(files::OpenForWriting(NativePath(), O_CREAT | O_EXCL, kPrivate));
}

void FolderItem::MakePrivate() const {
  struct stat about {};
  if (lstat(NativePath().c_str(), &about) == 0 && !S_ISLNK(about.st_mode))
    chmod(NativePath().c_str(), about.st_mode & 0700);
}

bool FolderItem::IsLink() const {
  struct stat about {};
  return lstat(NativePath().c_str(), &about) == 0 && S_ISLNK(about.st_mode);
}

bool FolderItem::Delete() const { return remove(NativePath().c_str()) == 0; }

FileHandle FolderItem::OpenToDelete() const { return files::OpenForReading(NativePath()); }

bool FolderItem::SetName(std::string_view name) {
  if (name == Name()) return Exists();
  FolderItem target = Parent();
  if (!target.IsNil()) target = target.Child(name);
  if (target.IsNil() || !files::RenameToFree(path_, target.path_)) return false;
  path_ = target.path_;
  return true;
}

bool FolderItem::MoveTo(const FolderItem& folder, std::string_view name) {
  const FolderItem target = folder.Child(name.empty() ? Name() : std::string(name));
  if (target.IsNil()) return false;
  if (target == *this) return Exists();
  if (!files::RenameToFree(path_, target.path_)) {
    if (errno != EXDEV || !files::CopyToFree(path_, folder.path_, target.path_)) return false;
  }
  path_ = target.path_;
  return true;
}

bool FolderItem::Flush() const {
  FileHandle file(open(NativePath().c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  // Some file systems know no fsync of a folder.
  return file && (fsync(file.Get()) == 0 || errno == EINVAL || errno == ENOTSUP);
}

std::unique_ptr<TextInputStream> FolderItem::OpenAsTextFile() const {
  FileHandle file = files::OpenForReading(NativePath());
  return file ? std::make_unique<TextInputStream>(std::move(file)) : nullptr;
}

std::unique_ptr<TextOutputStream> FolderItem::CreateTextFile() const {
  FileHandle file = files::OpenForWriting(NativePath(), O_CREAT | O_TRUNC, kPrivate);
  // An existing file would keep its mode.
  if (file) fchmod(file.Get(), kPrivate);
  return file ? std::make_unique<TextOutputStream>(std::move(file)) : nullptr;
}

std::unique_ptr<TextOutputStream> FolderItem::AppendToTextFile() const {
  FileHandle file = files::OpenForWriting(NativePath(), O_CREAT | O_APPEND, kPrivate);
  return file ? std::make_unique<TextOutputStream>(std::move(file)) : nullptr;
}

void FolderItem::Launch() const {
  NativePath();
  TheDesktop().Launch(*this);
}

FolderItem SpecialFolder::ApplicationData() {
  if (!home_override.IsNil()) return home_override;
  // A relative path in the variable is to be ignored, as the base directory rules say.
  if (const char* data = getenv("XDG_DATA_HOME"); data && data[0] == '/') {
    return FolderItem::FromPath(data);
  }
  const char* home = getenv("HOME");
  if (!home || home[0] != '/') {
    const passwd* user = getpwuid(getuid());
    home = user ? user->pw_dir : nullptr;
  }
  return home ? FolderItem::FromPath(std::string(home) + "/.local/share") : FolderItem();
}

FolderItem SpecialFolder::Applications() {
  return programs_override.IsNil() ? FolderItem::FromPath("/usr/bin") : programs_override;
}

void SpecialFolder::SetApplicationData(const FolderItem& folder) { home_override = folder; }
void SpecialFolder::SetApplications(const FolderItem& folder) { programs_override = folder; }

}  // namespace gravlin
