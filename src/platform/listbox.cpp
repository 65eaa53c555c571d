// The table control: painting, sorting, columns, and rows that are dragged.
#include "platform/listbox.h"

#include <QDropEvent>
#include <QHeaderView>
#include <QScrollBar>
#include <QTableView>
#include <algorithm>
#include <utility>

#include "platform/listbox_model.h"
#include "platform/look.h"
#include "platform/native.h"
#include "platform/text.h"

namespace gravlin {
namespace {

constexpr int kRowPadding = 4;

}  // namespace

// The table on the screen.  It gets changes only while it is visible.
struct Listbox::View : QTableView {
  View(QWidget* parent, Listbox& listbox, Model& rows)
      : QTableView(parent), listbox_(listbox), model_(rows) {
    setModel(&rows);
    setSelectionBehavior(SelectRows);
    setSelectionMode(SingleSelection);
    setEditTriggers(NoEditTriggers);
    setShowGrid(false);
    setWordWrap(false);
    setAlternatingRowColors(true);
    setTabKeyNavigation(false);
    setVerticalScrollMode(ScrollPerItem);
    setHorizontalScrollMode(ScrollPerPixel);
    verticalHeader()->hide();
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    verticalHeader()->setMinimumSectionSize(1);
    horizontalHeader()->hide();
    horizontalHeader()->setMinimumSectionSize(0);
    horizontalHeader()->setHighlightSections(false);
    horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    connect(horizontalHeader(), &QHeaderView::sectionResized, this,
            [this](int column, int, int width) {
              if (placing_) return;
              shared = false;
              model_.widths[static_cast<std::size_t>(column)] = ToInt32(width / Larger());
            });
    connect(horizontalHeader(), &QHeaderView::sectionClicked, this, &View::HeadingClicked);
    SetFont();
  }

  void SetFont() { verticalHeader()->setDefaultSectionSize(fontMetrics().height() + kRowPadding); }

  // Columns without widths of their own share the table's width.
  void ShareColumns() {
    const int columns = model_.columnCount();
    const int share = std::max(viewport()->width() / columns, 1);
    if (shared) model_.widths.assign(static_cast<std::size_t>(columns), share);
    PlaceColumns();
  }

  void PlaceColumns() {
    placing_ = true;
    for (int column = 0; column < model_.columnCount(); ++column)
      setColumnWidth(column, ToInt32(model_.widths[static_cast<std::size_t>(column)] * Larger()));
    placing_ = false;
  }

  void Show() {
    showing_ = true;
    model_.Announce();
    const int row = model_.list_index;
    if (row < 0) {
      clearSelection();
      setCurrentIndex({});
    } else if (currentIndex().row() != row || !selectionModel()->isRowSelected(row)) {
      setCurrentIndex(model_.index(row, 0));
      selectRow(row);
    }
    // A table that is rebuilt with the same selection stays where the user has scrolled it to.
    if (std::exchange(shown_index_, row) != row && row >= 0) scrollTo(model_.index(row, 0));
    if (std::exchange(scroll_to_position, false))
      verticalScrollBar()->setValue(model_.scroll_position);
    showing_ = false;
  }

  // How much wider than given a column is on the screen, for a user who wants large texts: only
  // where the table can be scrolled.
  double Larger() const {
    const bool scrolls = horizontalScrollBarPolicy() != Qt::ScrollBarAlwaysOff;
    if (shared || !scrolls || model_.columnCount() == 1) return 1;
    return 1 + static_cast<double>(LargerBy()) / InterfaceFont().pixelSize();
  }

  bool scroll_to_position = false;
  bool shared = true;

  void ForgetSorting() {
    if (sorted_column_ < 0) return;
    sorted_column_ = -1;
    horizontalHeader()->setSortIndicatorShown(false);
  }

 protected:
  void showEvent(QShowEvent* event) override {
    Show();
    QTableView::showEvent(event);
  }

  void resizeEvent(QResizeEvent* event) override {
    QTableView::resizeEvent(event);
    if (shared) ShareColumns();
  }

  void changeEvent(QEvent* event) override {
    QTableView::changeEvent(event);
    if (event->type() == QEvent::FontChange) SetFont();
  }

  void currentChanged(const QModelIndex& current, const QModelIndex& previous) override {
    QTableView::currentChanged(current, previous);
    if (showing_ || current.row() == model_.list_index || current.row() >= model_.row_count) return;
    model_.list_index = current.row();
    Raise("Change", listbox_.Change);
  }

  void dropEvent(QDropEvent* event) override {
    // The toolkit's own move would insert the row and delete the old one.
    event->setDropAction(Qt::IgnoreAction);
    event->accept();
    const int from = currentIndex().row();
    if (event->source() != this || from < 0 || from >= model_.row_count) return;
    const QPoint at = event->position().toPoint();
    const int over = rowAt(at.y());
    int to = over < 0 ? model_.row_count : over;
    if (over >= 0 && at.y() > rowViewportPosition(over) + rowHeight(over) / 2) ++to;
    model_.MoveRow(from, std::min(to, model_.row_count));
    Show();
  }

 private:
  void HeadingClicked(int column) {
    if (!model_.sortable) return;
    descending_ = sorted_column_ == column && !descending_;
    sorted_column_ = column;
    horizontalHeader()->setSortIndicator(column,
                                         descending_ ? Qt::DescendingOrder : Qt::AscendingOrder);
    horizontalHeader()->setSortIndicatorShown(true);
    Dispatch("CompareRows", [this, column] { model_.SortBy(column, descending_); });
    Show();
  }

  Listbox& listbox_;
  Model& model_;
  int shown_index_ = -1;
  int sorted_column_ = -1;
  bool descending_ = false;
  bool placing_ = false;
  bool showing_ = false;
};

struct Listbox::TableNative : ControlNative {
  TableNative(QWidget* parent, Listbox& listbox, int columns)
      : ControlNative(nullptr), rows(listbox, columns) {
    widget = new View(parent, listbox, rows);
  }
  ~TableNative() override {
    widget->blockSignals(true);
    delete widget;
  }
  View& Table() { return *static_cast<View*>(widget.data()); }
  void ShowNow() override {
    if (!held && widget->isVisible()) Table().Show();
  }
  void Refresh() override {}  // changed rows are marked already
  // A hidden list costs nothing: its view reads the rows when it appears.
  void Changed() {
    if (widget->isVisible()) ShowSoon();
  }

  Model rows;
  bool held = false;
};

Listbox::TableNative& Listbox::Table() const { return static_cast<TableNative&>(*native_); }

Listbox::Listbox(Window& window, std::string_view name, const Rect& bounds, int columns)
    : Control(std::make_unique<TableNative>(ParentFor(window), *this, columns), window, name,
              bounds),
      model_(Table().rows) {
  Table().Table().ShareColumns();
  native_->key_down = [this](int key) { return Ask("KeyDown", KeyDown, false, key); };
}

Listbox::~Listbox() = default;

int Listbox::ColumnCount() const { return model_.columnCount(); }

void Listbox::SetHeading(std::string_view tab_separated) {
  model_.headings = Split(tab_separated, "\t");
  Table().Table().horizontalHeader()->setVisible(!model_.headings.empty());
  emit model_.headerDataChanged(Qt::Horizontal, 0, ColumnCount() - 1);
}

std::string Listbox::ColumnWidths() const {
  std::string joined;
  for (const int width : model_.widths) {
    if (!joined.empty()) joined += ',';
    joined += Str(width);
  }
  return joined;
}

void ReadColumnWidths(std::string_view text, std::vector<int>& widths) {
  const std::vector<std::string> given = Split(text, ",");
  const std::size_t count = std::min(given.size(), widths.size());
  for (std::size_t column = 0; column < count; ++column)
    widths[column] = std::clamp(ToInt32(Val(Trim(given[column]))), 0, 10000);
}

void Listbox::SetColumnWidths(std::string_view widths) {
  Table().Table().shared = false;
  ReadColumnWidths(widths, model_.widths);
  Table().Table().PlaceColumns();
}

void Listbox::SetColumnAlign(int column, Align align) {
  model_.aligns.at(static_cast<std::size_t>(column)) = align;
  Table().Changed();
}

void Listbox::SetHorizontalScrollBar(bool wanted) {
  Table().Table().setHorizontalScrollBarPolicy(wanted ? Qt::ScrollBarAsNeeded
                                                      : Qt::ScrollBarAlwaysOff);
}

void Listbox::SetStretchLastColumn(bool stretch) {
  Table().Table().horizontalHeader()->setStretchLastSection(stretch);
}

void Listbox::SetSortable(bool sortable) {
  model_.sortable = sortable;
  Table().Table().horizontalHeader()->setSectionsClickable(sortable);
}

void Listbox::SetDragReorder(bool reorder) {
  model_.drag_reorder = reorder;
  Table().Table().setDragDropMode(reorder ? QAbstractItemView::InternalMove
                                          : QAbstractItemView::NoDragDrop);
  // Marks the place of a drop as a line between two rows.
  Table().Table().setDragDropOverwriteMode(false);
}

int Listbox::ListCount() const { return model_.row_count; }
int Listbox::LastIndex() const { return model_.row_count - 1; }

void Listbox::AddRow(std::string_view first_cell) {
  model_.AddRow(first_cell);
  Table().Changed();
}

void Listbox::RemoveRow(int row) {
  model_.RemoveRow(row);
  Table().Changed();
  if (row < model_.list_index)
    --model_.list_index;
  else if (row == model_.list_index)
    SetListIndex(-1);
}

void Listbox::DeleteAllRows() {
  model_.DeleteAllRows();
  Table().Table().ForgetSorting();
  Table().Changed();
  SetListIndex(-1);
}

const std::string& Listbox::Cell(int row, int column) const {
  return model_.cells[model_.Slot(row, column)];
}

void Listbox::SetCell(int row, int column, std::string_view text) {
  model_.SetCell(model_.Slot(row, column), row, column, text);
  Table().Changed();
}

int Listbox::FindRow(std::string_view text) const { return model_.FindRow(text); }

int Listbox::ListIndex() const { return model_.list_index; }

void Listbox::SetListIndex(int row) {
  if (row < 0 || row >= model_.row_count) row = -1;
  if (std::exchange(model_.list_index, row) == row) return;
  Table().Changed();
  Raise("Change", Change);
}

void Listbox::SetHeld(bool held) {
  Table().held = held;
  if (!held) Table().Changed();
}

void Listbox::SetScrollPosition(int row) {
  model_.scroll_position = std::max(row, 0);
  Table().Table().scroll_to_position = true;
  Table().Changed();
}

}  // namespace gravlin
