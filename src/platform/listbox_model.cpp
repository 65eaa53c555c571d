// The cells of a table, with an index by name.
#include "platform/listbox_model.h"

#include <QApplication>
#include <QPalette>
#include <algorithm>
#include <iterator>
#include <numeric>

#include "platform/failures.h"
#include "platform/look.h"
#include "platform/native.h"
#include "platform/text.h"

namespace gravlin {

Listbox::Model::Model(const Listbox& owner, int columns)
    : widths(static_cast<std::size_t>(columns), 100),
      aligns(static_cast<std::size_t>(columns), Align::kLeft),
      listbox_(owner),
      columns_(columns) {}

std::size_t Listbox::Model::Slot(int row, int column) const {
  const bool tag = column == kTagColumn;
  if (row < 0 || row >= row_count || column < 0 || (column >= columns_ && !tag))
    throw OutOfBoundsException();
  return static_cast<std::size_t>(row) * static_cast<std::size_t>(columns_ + 1) +
         static_cast<std::size_t>(tag ? columns_ : column);
}

void Listbox::Model::AddRow(std::string_view first_cell) {
  std::string text(first_cell);  // which may be a cell of this table
  const int row = row_count++;
  const std::size_t begin = Slot(row, 0), end = begin + static_cast<std::size_t>(columns_) + 1;
  if (cells.size() < end) cells.resize(end);
  cells[begin] = std::move(text);
  for (std::size_t slot = begin + 1; slot < end; ++slot) cells[slot].clear();
  if (indexed_) Enter(cells[begin], row);
}

void Listbox::Model::RemoveRow(int row) {
  const auto begin = cells.begin() + static_cast<std::ptrdiff_t>(Slot(row, 0));
  cells.erase(begin, begin + columns_ + 1);
  --row_count;
  ForgetIndex();
}

void Listbox::Model::DeleteAllRows() {
  row_count = 0;
  ForgetIndex();
}

void Listbox::Model::SetCell(std::size_t slot, int row, int column, std::string_view text) {
  std::string& cell = cells[slot];
  const bool reindex = column == 0 && indexed_ && cell != text;
  if (!reindex) {
    cell = text;
    return;
  }
  const std::string old_text = std::exchange(cell, std::string(text));
  Leave(old_text, row);
  Enter(text, row);
}

void Listbox::Model::Enter(std::string_view text, int row) const {
  const auto [entry, is_new] = index_.try_emplace(Lowercase(text), Found{row, 0});
  ++entry->second.count;
  if (!is_new) entry->second.first = std::min(entry->second.first, row);
}

void Listbox::Model::Leave(const std::string& old_text, int row) {
  const auto entry = index_.find(Lowercase(old_text));
  if (entry == index_.end()) return;
  if (--entry->second.count == 0) {
    index_.erase(entry);
  } else if (entry->second.first == row) {
    do ++row;
    while (!SameText(cells[Slot(row, 0)], old_text));
    entry->second.first = row;
  }
}

void Listbox::Model::ForgetIndex() {
  indexed_ = false;
  index_.clear();
}

int Listbox::Model::FindRow(std::string_view text) const {
  if (!indexed_) {
    indexed_ = true;
    for (int row = 0; row < row_count; ++row) Enter(cells[Slot(row, 0)], row);
  }
  const auto entry = index_.find(Lowercase(text));
  return entry == index_.end() ? -1 : entry->second.first;
}

bool Listbox::Model::RowBefore(int row1, int row2, int column) const {
  const auto compare = [this, column](int a, int b) {
    int result = 0;
    if (listbox_.CompareRows && listbox_.CompareRows(a, b, column, result)) return result;
    return CompareText(cells[Slot(a, column)], cells[Slot(b, column)]);
  };
  // A handler may call equal rows different in both directions, which no sort tolerates.
  return compare(row1, row2) < 0 && compare(row2, row1) >= 0;
}

void Listbox::Model::SortBy(int column, bool descending) {
  std::vector<int> rows(static_cast<std::size_t>(row_count));
  std::iota(rows.begin(), rows.end(), 0);
  std::stable_sort(rows.begin(), rows.end(), [&](int a, int b) {
    return descending ? RowBefore(b, a, column) : RowBefore(a, b, column);
  });
  Reorder(rows);
}

void Listbox::Model::MoveRow(int from, int to) {
  std::vector<int> rows(static_cast<std::size_t>(row_count));
  std::iota(rows.begin(), rows.end(), 0);
  rows.erase(rows.begin() + from);
  rows.insert(rows.begin() + (to > from ? to - 1 : to), from);
  Reorder(rows);
}

void Listbox::Model::Reorder(const std::vector<int>& rows) {
  std::vector<std::string> sorted;
  sorted.reserve(cells.size());
  for (const int row : rows) {
    const auto begin = cells.begin() + static_cast<std::ptrdiff_t>(Slot(row, 0));
    std::move(begin, begin + columns_ + 1, std::back_inserter(sorted));
  }
  cells = std::move(sorted);
  const auto selected = std::find(rows.begin(), rows.end(), list_index);
  if (selected != rows.end()) list_index = static_cast<int>(selected - rows.begin());
  ForgetIndex();
}

void Listbox::Model::Announce() {
  // Unlike a reset, this keeps the selection and the scroll bar.
  if (row_count > announced_rows_) {
    beginInsertRows({}, announced_rows_, row_count - 1);
    announced_rows_ = row_count;
    endInsertRows();
  } else if (row_count < announced_rows_) {
    beginRemoveRows({}, row_count, announced_rows_ - 1);
    announced_rows_ = row_count;
    endRemoveRows();
  }
  if (row_count > 0) emit dataChanged(index(0, 0), index(row_count - 1, columns_ - 1));
}

int Listbox::Model::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : announced_rows_;
}

int Listbox::Model::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : columns_;
}

QVariant Listbox::Model::data(const QModelIndex& index, int role) const {
  const int row = index.row(), column = index.column();
  if (row < 0 || row >= row_count || column < 0 || column >= columns_) return {};
  if (role == Qt::DisplayRole) return Shown(cells[Slot(row, column)]);
  if (role == Qt::ToolTipRole) return AsToolTip(Shown(cells[Slot(row, column)]));
  if (role == Qt::ForegroundRole) return TextColour(row, column);
  if (role == Qt::TextAlignmentRole) {
    const Align align = aligns[static_cast<std::size_t>(column)];
    const Qt::Alignment across = align == Align::kRight    ? Qt::AlignRight
                                 : align == Align::kCentre ? Qt::AlignHCenter
                                                           : Qt::AlignLeft;
    return QVariant::fromValue<int>(across | Qt::AlignVCenter);
  }
  return {};
}

QVariant Listbox::Model::TextColour(int row, int column) const {
  if (!listbox_.CellTextPaint) return {};
  CellPaint paint;
  Raise("CellTextPaint", listbox_.CellTextPaint, row, column, paint);
  if (!paint.text_color_set) return {};
  const QColor wanted = ToQt(paint.text_color);
  const QColor shown = Readable(wanted, QApplication::palette().color(QPalette::Base));
  // Black is the plain colour, and a dark theme has one of its own.
  if (wanted == Qt::black && shown != wanted) return {};
  return shown;
}

QVariant Listbox::Model::headerData(int section, Qt::Orientation orientation, int role) const {
  const auto at = static_cast<std::size_t>(section);
  if (orientation != Qt::Horizontal || role != Qt::DisplayRole || at >= headings.size()) return {};
  return ToQt(headings[at]);
}

Qt::ItemFlags Listbox::Model::flags(const QModelIndex& index) const {
  Qt::ItemFlags flags = QAbstractTableModel::flags(index);
  if (drag_reorder) flags |= index.isValid() ? Qt::ItemIsDragEnabled : Qt::ItemIsDropEnabled;
  return flags;
}

}  // namespace gravlin
