// A folder that is deleted, with everything in it, when the test ends.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

#include "platform/folder_item.h"

namespace gravlin::testing {

class TempFolder {
 public:
  TempFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "gravlin-XXXXXX").string();
    if (!mkdtemp(name.data())) std::abort();
    path_ = name;
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::filesystem::path& Path() const { return path_; }
  std::filesystem::path operator/(const std::string& name) const { return path_ / name; }
  FolderItem Item() const { return FolderItem::FromPath(path_.string()); }
  FolderItem Item(const std::string& name) const {
    return FolderItem::FromPath((path_ / name).string());
  }
  // Writes a file of these bytes and returns it.
  FolderItem Write(const std::string& name, const std::string& bytes) const {
    std::ofstream(path_ / name, std::ios::binary) << bytes;
    return Item(name);
  }

 private:
  std::filesystem::path path_;
};

// The bytes of a file; empty if there is none.
inline std::string ReadFile(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

}  // namespace gravlin::testing
