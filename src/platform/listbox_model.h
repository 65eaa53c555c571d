// The rows of a Listbox as the toolkit asks for them.  Private to platform/.
#pragma once

#include <QAbstractTableModel>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/listbox.h"

namespace gravlin {

// Rows are added, changed and removed without a signal to the view.  Announce, once the event loop
// is free, reports the number of rows and that their texts may have changed.  Until then the view
// sees the rows that it knows.
struct Listbox::Model : QAbstractTableModel {
  Model(const Listbox& owner, int columns);

  // Strings of all rows, one row after the other: the visible columns and the tag.  Those after
  // row_count rows are kept for their memory, because a table is mostly rebuilt with what it held
  // before.
  std::vector<std::string> cells;
  int row_count = 0;
  int list_index = -1;
  int scroll_position = 0;
  std::vector<int> widths;
  std::vector<Align> aligns;
  std::vector<std::string> headings;
  bool sortable = false;
  bool drag_reorder = false;

  std::size_t Slot(int row, int column) const;
  void AddRow(std::string_view first_cell);
  void RemoveRow(int row);
  void DeleteAllRows();
  void SetCell(std::size_t slot, int row, int column, std::string_view text);
  int FindRow(std::string_view text) const;
  void SortBy(int column, bool descending);
  void MoveRow(int from, int to);
  void Announce();

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;
  Qt::DropActions supportedDropActions() const override { return Qt::MoveAction; }

 private:
  // Rows of one text in column 0.
  struct Found {
    int first = 0;
    int count = 0;
  };

  void Enter(std::string_view text, int row) const;
  void Leave(const std::string& old_text, int row);
  void ForgetIndex();
  bool RowBefore(int row1, int row2, int column) const;
  // Puts the rows into the order of `rows`, which holds each row once.
  void Reorder(const std::vector<int>& rows);
  QVariant TextColour(int row, int column) const;

  const Listbox& listbox_;
  const int columns_;
  int announced_rows_ = 0;
  mutable bool indexed_ = false;
  mutable std::unordered_map<std::string, Found> index_;
};

}  // namespace gravlin
