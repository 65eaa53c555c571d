// The files of the NZB and how far each has come: the table `List` of a run.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace gravlin {

// The numbers of its columns, as the Files window shows them.
struct ListColumn {
  static constexpr int kFilename = 0, kDone = 1, kTotalParts = 2, kPartsPresent = 3, kErrors = 4;
  static constexpr int kMessage = 5, kGroups = 6, kID = 99;
};

// One file; `id` is its `ID` in the store.
struct FileRow {
  std::string filename;
  bool done = false;
  std::int32_t total_parts = 0, parts_present = 0, errors = 0;
  std::string message, groups;
  std::int32_t id = 0;
};

// Rows that do not exist throw OutOfBoundsException.
class FileTable {
 public:
  int ListCount() const { return static_cast<int>(rows_.size()); }
  const FileRow& At(int row) const;
  // The same as text, by the number of the column; an unknown column is empty.
  std::string Cell(int row, int column) const;
  // First row of that name, case ignored; -1 if there is none.
  int FindRow(std::string_view filename) const;

  void Add(FileRow row);
  void DeleteAllRows();
  void Rename(int row, std::string_view filename);
  void SetDone(int row) { Edit(row).done = true; }
  void SetMessage(int row, std::string_view message) { Edit(row).message = message; }
  void CountPart(int row) { ++Edit(row).parts_present; }
  void CountError(int row) { ++Edit(row).errors; }

  // The row that was worked on last, which the Files window selects; -1 for none.
  int ListIndex() const { return list_index_; }
  void SetListIndex(int row) { list_index_ = row; }

 private:
  FileRow& Edit(int row);

  std::vector<FileRow> rows_;
  std::set<std::pair<std::string, int>> by_name_;  // names in lower case
  int list_index_ = -1;
};

}  // namespace gravlin
