// A reference to a file or folder that need not exist, and the few things the program does with
// one.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace gravlin {

class FileHandle;
class TextInputStream;
class TextOutputStream;

// What does not stay the same when a file's bytes change, or another file takes its name.
struct FileStamp {
  std::int64_t length = 0, modified = 0, changed = 0;  // as in FolderItem::Entry
  bool operator==(const FileStamp&) const = default;
};

// A value: nil, or an absolute path of raw bytes.  Using a nil item throws NilObjectException.
class FolderItem {
 public:
  FolderItem() = default;
  // An absolute path of this system ("/usr/bin"); anything else gives nil.  "." and ".." are
  // resolved, since no item has such a name.
  static FolderItem FromPath(std::string_view path);
  // A path in colon form ("System:usr:bin:"), as AbsolutePath gives it.
  static FolderItem FromAbsolutePath(std::string_view path);

  bool IsNil() const { return path_.empty(); }
  friend bool operator==(const FolderItem& a, const FolderItem& b) { return a.path_ == b.path_; }

  // The item of that name in this folder.  nil for a name that no file system takes: empty, ".",
  // "..", over 255 bytes, holding "/" or NUL.
  FolderItem Child(std::string_view name) const;
  FolderItem Parent() const;

  std::string Name() const;
  std::string DisplayName() const;
  // The path as this system writes it.
  const std::string& NativePath() const;
  // Colon form: the volume's name, then each folder, joined by ":"; an existing folder's path ends
  // in ":".  A ":" inside a name appears as "/", which no name can hold.
  std::string AbsolutePath() const;

  bool Exists() const;
  bool IsFolder() const;
  // Bytes of a file, 0 for what does not exist.
  std::int64_t Length() const;

  // When its bytes last changed, in nanoseconds since 1970 as the file system reports them; 0 for
  // what does not exist.
  std::int64_t Modified() const;
  bool SetModified(std::int64_t nanoseconds) const;
  // All 0 for what does not exist.
  FileStamp Stamp() const;
  // Bytes that may still be written to the file system of this folder.
  std::int64_t FreeBytes() const;
  // The value of Modified for a file that changes now.
  static std::int64_t ModifiedNow();

  // Entries of this folder in the order the system lists them.  `*whole` says whether it could be
  // read to its end.
  std::vector<std::string> ChildNames(bool* whole = nullptr) const;
  // The same, each with its Length and Modified; much cheaper than asking one item after the other.
  // `changed` is the system's own time of the last change, which no program can set.
  struct Entry {
    std::string name;
    std::int64_t length = 0, modified = 0, changed = 0;
  };
  std::vector<Entry> Entries() const;
  int Count() const { return static_cast<int>(ChildNames().size()); }

  // Makes this a folder with the given mode.  True if it is a folder afterwards.
  bool CreateAsFolder(unsigned mode = 0700);
  // Makes an empty file that only the user can read, failing if anything of that name is there.
  bool CreatePrivateFile() const;
  // Removes the rights of other users, if the user owns it.
  void MakePrivate() const;
  bool IsLink() const;
  bool Delete() const;
  // A handle that keeps the file's room when it is deleted; closing it gives the room back.
  FileHandle OpenToDelete() const;
  // Renames within the folder; never replaces what is there.  On success this item has the new
  // name.
  bool SetName(std::string_view name);
  // Moves into a folder under the given name (the item's own if empty), also across file systems;
  // never replaces what is there.  On success this item is the moved one.
  bool MoveTo(const FolderItem& folder, std::string_view name = {});
  // Prefix of the name that a move between file systems leaves in the folder if it is killed.
  static constexpr std::string_view kHalfMoved = ".gravlin-move-";
  // Flushes a file's bytes, or a folder's entries, to the disk.  Blocks: call it through
  // Thread::Offload.
  bool Flush() const;

  // nullptr if the file cannot be opened or made.  A new file can be read by the user only.
  std::unique_ptr<TextInputStream> OpenAsTextFile() const;
  std::unique_ptr<TextOutputStream> CreateTextFile() const;
  std::unique_ptr<TextOutputStream> AppendToTextFile() const;

  // Shows the item in the desktop's file browser.
  void Launch() const;

 private:
  explicit FolderItem(std::string path) : path_(std::move(path)) {}
  std::string path_;  // no closing slash; empty for nil
};

// The user's folders.
class SpecialFolder {
 public:
  // XDG data home, `~/.local/share`; nil when the user has no home.
  static FolderItem ApplicationData();
  // `/usr/bin`.
  static FolderItem Applications();
  // Gives a run, or a test, folders of its own; nil restores the user's.
  static void SetApplicationData(const FolderItem& folder);
  static void SetApplications(const FolderItem& folder);
};

}  // namespace gravlin
