// A table of text rows.  The cells are plain strings in one array; the toolkit only reads those
// that are on screen, so that thousands of rows can be rebuilt once a second.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/controls.h"

namespace gravlin {

// What a cell is painted with; a handler of CellTextPaint may change it.
struct CellPaint {
  Color text_color;  // the theme's text colour unless changed
  bool text_color_set = false;
};

// Reads pixels joined by "," into as many of `widths` as are given.  What is not a number counts as
// 0; widths are clamped to 0 to 10,000.
void ReadColumnWidths(std::string_view text, std::vector<int>& widths);

class Listbox : public Control {
 public:
  // The hidden tag column that every row has after the visible ones.
  static constexpr int kTagColumn = 99;

  Listbox(Window& window, std::string_view name, const Rect& bounds, int columns);
  ~Listbox() override;

  int ColumnCount() const;
  // Each heading is followed by a tab; the last tab may be missing.
  void SetHeading(std::string_view tab_separated);
  // Pixels joined by ","; more or fewer than there are columns is allowed; see ReadColumnWidths.
  std::string ColumnWidths() const;
  void SetColumnWidths(std::string_view widths);
  void SetColumnAlign(int column, Align align);
  // The user may sort by a heading, and drag rows to another place.
  void SetSortable(bool sortable);
  void SetDragReorder(bool reorder);
  // Without it, the user narrows a column to see what is wider than the list.  On by default.
  void SetHorizontalScrollBar(bool wanted);
  // The last column takes the rest of the width.
  void SetStretchLastColumn(bool stretch);

  int ListCount() const;
  // The row last added; -1 before the first.
  int LastIndex() const;
  void AddRow(std::string_view first_cell);
  void RemoveRow(int row);
  void DeleteAllRows();
  // Text of a cell.  A row that does not exist, or a column that is neither visible nor the tag,
  // throws OutOfBoundsException.
  const std::string& Cell(int row, int column) const;
  void SetCell(int row, int column, std::string_view text);
  // First row whose cell in column 0 equals the text, case ignored; -1 if none.  One look-up,
  // whatever the number of rows.
  int FindRow(std::string_view text) const;

  // The selected row, -1 for none.  Setting it raises Change when it changes, and scrolls to the
  // row.
  int ListIndex() const;
  void SetListIndex(int row);
  // The row at the top of the view.
  void SetScrollPosition(int row);

  // Keeps what is on the screen as it is while the table is rebuilt and events run.
  class Held {
   public:
    explicit Held(Listbox& listbox) : listbox_(listbox) { listbox_.SetHeld(true); }
    ~Held() { listbox_.SetHeld(false); }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;

   private:
    Listbox& listbox_;
  };

  std::function<void()> Change;
  // The key's character as in TextField.  True keeps the key from the list.
  std::function<bool(int key)> KeyDown;
  // Compares two rows for sorting by `column`: true if it set `result` (1 row1 after row2, -1
  // before, 0 equal); false leaves the comparison to the texts.
  std::function<bool(int row1, int row2, int column, int& result)> CompareRows;
  std::function<void(int row, int column, CellPaint& paint)> CellTextPaint;

 private:
  struct Model;
  struct View;
  struct TableNative;
  TableNative& Table() const;
  void SetHeld(bool held);
  Model& model_;  // owned by the native side
};

}  // namespace gravlin
