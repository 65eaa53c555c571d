// The rows of the table and their index by name.
#include "engine/file_table.h"

#include "platform/failures.h"
#include "platform/text.h"

namespace gravlin {

FileRow& FileTable::Edit(int row) {
  if (row < 0 || row >= ListCount()) throw OutOfBoundsException();
  return rows_[static_cast<std::size_t>(row)];
}

const FileRow& FileTable::At(int row) const { return const_cast<FileTable*>(this)->Edit(row); }

std::string FileTable::Cell(int row, int column) const {
  const FileRow& file = At(row);
  switch (column) {
    case ListColumn::kFilename:
      return file.filename;
    case ListColumn::kDone:
      return file.done ? "Yes" : "No";
    case ListColumn::kTotalParts:
      return Str(file.total_parts);
    case ListColumn::kPartsPresent:
      return Str(file.parts_present);
    case ListColumn::kErrors:
      return Str(file.errors);
    case ListColumn::kMessage:
      return file.message;
    case ListColumn::kGroups:
      return file.groups;
    case ListColumn::kID:
      return Str(file.id);
    default:
      return {};
  }
}

int FileTable::FindRow(std::string_view filename) const {
  std::string name = Lowercase(filename);
  const auto found = by_name_.lower_bound({name, 0});
  return found != by_name_.end() && found->first == name ? found->second : -1;
}

void FileTable::Add(FileRow row) {
  by_name_.emplace(Lowercase(row.filename), ListCount());
  rows_.push_back(std::move(row));
}

void FileTable::DeleteAllRows() {
  rows_.clear();
  by_name_.clear();
  list_index_ = -1;
}

void FileTable::Rename(int row, std::string_view filename) {
  FileRow& file = Edit(row);
  by_name_.erase({Lowercase(file.filename), row});
  file.filename = filename;
  by_name_.emplace(Lowercase(filename), row);
}

}  // namespace gravlin
