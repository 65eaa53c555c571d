// Looks at many files of one folder, with few calls of the system for each.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/folder_item.h"
#include "platform/streams.h"

namespace gravlin {

class FolderReader {
 public:
  explicit FolderReader(const FolderItem& folder);
  // The bytes that were read, at most `size`; 0 for what is no file or cannot be opened.
  std::size_t Read(const std::string& name, char* to, std::size_t size) const;
  // As FolderItem::Length.
  std::int64_t Length(const std::string& name) const;

 private:
  FileHandle folder_;
};

}  // namespace gravlin
