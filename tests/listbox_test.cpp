// Tables: what the program sees of them, and that the view gets few and correct changes.
#include "platform/listbox.h"

#include <QAbstractItemModel>
#include <QHeaderView>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTableView>
#include <QTest>
#include <random>

#include "platform/failures.h"
#include "platform/native.h"
#include "support/store_fixture.h"

namespace gravlin::testing {
namespace {

struct ListWindow : Window {
  ListWindow()
      : Window({.title = "List", .width = 300, .height = 200}),
        List(*this, "List", {0, 0, 300, 200}, 3) {
    List.SetHeading("Name\tSize\tNote\t");
    List.SetColumnWidths("100,80,80");
  }
  Listbox List;
};

class ListboxTest : public StoreTest {
 protected:
  void Fill(const std::vector<std::string>& names) {
    for (const std::string& name : names) list.AddRow(name);
  }
  void Show() {
    window.Show();
    Settle();
  }
  static void Settle() {
    for (int turns = 0; turns < 5; ++turns) PumpEvents(0);
  }
  QString Shown(int row, int column) const {
    return view.model()->index(row, column).data().toString();
  }
  void ClickHeading(int column) {
    QHeaderView& header = *view.horizontalHeader();
    const QPoint at(header.sectionViewportPosition(column) + 10, header.height() / 2);
    QTest::mouseClick(header.viewport(), Qt::LeftButton, Qt::NoModifier, at);
  }

  ListWindow& window = Window::New<ListWindow>();
  Listbox& list = window.List;
  QTableView& view = *static_cast<QTableView*>(list.Native().widget.data());
};

TEST_F(ListboxTest, FindRowGivesTheFirstRowOfANameWhateverWasDoneToTheRows) {
  std::mt19937 random(7);
  const auto below = [&random](int limit) { return static_cast<int>(random() % limit); };
  const auto name = [&below] { return std::string(1, static_cast<char>("aAbBcC"[below(6)])); };
  for (int step = 0; step < 4000; ++step) {
    const int count = list.ListCount();
    const int act = below(count > 40 ? 6 : 5);
    if (act < 2) list.AddRow(name());
    if (act > 1 && act < 4 && count > 0) list.SetCell(below(count), below(2), name());
    if (act == 4 && count > 0 && below(4) == 0) list.RemoveRow(below(count));
    if (act == 5) list.DeleteAllRows();
    const std::string wanted = name();
    int first = -1;
    for (int row = list.ListCount() - 1; row >= 0; --row)
      if (SameText(list.Cell(row, 0), wanted)) first = row;
    ASSERT_EQ(list.FindRow(wanted), first) << "step " << step;
  }
}

TEST_F(ListboxTest, CellsOutsideTheTableThrowAndANewRowIsEmptyToItsTag) {
  const int columns[] = {1, Listbox::kTagColumn};
  list.AddRow("old");
  for (const int column : columns) list.SetCell(0, column, "41");
  EXPECT_EQ(list.Cell(0, Listbox::kTagColumn), "41");
  for (const auto& [row, column] : {std::pair(0, 3), {0, -1}, {1, 0}, {-1, 0}, {0, 100}}) {
    EXPECT_THROW(list.Cell(row, column), OutOfBoundsException) << row << "," << column;
    EXPECT_THROW(list.SetCell(row, column, "x"), OutOfBoundsException) << row << "," << column;
  }
  EXPECT_THROW(list.RemoveRow(1), OutOfBoundsException);
  list.DeleteAllRows();
  list.AddRow("new");
  for (const int column : columns) EXPECT_EQ(list.Cell(0, column), "");
}

TEST_F(ListboxTest, TheSelectionFollowsItsRowAndChangesAreTold) {
  std::string log;
  list.Change = [&] { log += Str(list.ListIndex()) + " "; };
  Fill({"a", "b", "c"});
  for (int twice = 0; twice < 2; ++twice) list.SetListIndex(1);
  list.RemoveRow(0);  // the same row, one place higher
  EXPECT_EQ(Str(list.ListIndex()) + " of " + log, "0 of 1 ");
  list.RemoveRow(0);
  list.SetListIndex(5);
  EXPECT_EQ(Str(list.ListIndex()) + " of " + log, "-1 of 1 -1 ");
  list.SetListIndex(0);
  list.DeleteAllRows();
  EXPECT_EQ(log, "1 -1 0 -1 ");
}

TEST_F(ListboxTest, ARebuildIsToldOnceAfterAnyHoldAndLeavesTheScrollBarAlone) {
  const auto build = [this](const std::string& note) {
    const Listbox::Held held(list);
    list.DeleteAllRows();
    for (int row = 0; row < 500; ++row) {
      list.AddRow("file " + Str(row));
      list.SetCell(row, 2, note);
    }
    list.SetListIndex(3);
    Settle();
  };
  build("first");
  Show();
  view.verticalScrollBar()->setValue(200);
  const QSignalSpy told(view.model(), &QAbstractItemModel::dataChanged);
  build("second");
  EXPECT_EQ(told.size(), 0);
  Settle();
  EXPECT_EQ(told.size(), 1);
  EXPECT_EQ(Shown(250, 2), "second");
  EXPECT_EQ(view.verticalScrollBar()->value(), 200);
  EXPECT_EQ(view.currentIndex().row(), 3);
  list.AddRow("without a hold");
  list.SetListIndex(400);
  EXPECT_EQ(view.model()->rowCount(), 500);
  Settle();
  EXPECT_EQ(view.model()->rowCount(), 501);
  EXPECT_NE(view.verticalScrollBar()->value(), 200);
}

TEST_F(ListboxTest, AHeadingSortsAsTheHandlerSaysEvenIfItKnowsNoTies) {
  list.SetSortable(true);
  list.CompareRows = [this](int row1, int row2, int column, int& result) {
    if (column != 1) return false;
    result = Val(list.Cell(row1, 1)) > Val(list.Cell(row2, 1)) ? 1 : -1;
    return true;
  };
  for (const auto& [name, size] :
       {std::pair("d", "10"), {"b", "9"}, {"A", "9"}, {"c", "none"}, {"e", "10"}}) {
    list.AddRow(name);
    list.SetCell(list.LastIndex(), 1, size);
  }
  list.SetListIndex(2);
  Show();
  for (const auto& [column, order] : {std::pair(1, "cbAde"), {1, "debAc"}, {0, "Abcde"}}) {
    ClickHeading(column);
    std::string names;
    for (int row = 0; row < list.ListCount(); ++row) names += list.Cell(row, 0);
    EXPECT_EQ(names, order);
    EXPECT_EQ(list.Cell(list.ListIndex(), 0), "A");
    EXPECT_EQ(list.FindRow("a"), list.ListIndex());
  }
  EXPECT_EQ(Shown(0, 0), "A");
}

// Text from outside is shown as it is, in tool tips too, and does not reverse other text.
TEST_F(ListboxTest, TextsFromOutsideAreNoMarkup) {
  Fill({"<img src='/dev/zero'>", "a\u202Egnp.exe"});
  Show();
  const auto shown = [&](int row, int role) {
    return view.model()->index(row, 0).data(role).toString().toStdString();
  };
  EXPECT_EQ(shown(0, Qt::DisplayRole), "<img src='/dev/zero'>");
  EXPECT_EQ(shown(0, Qt::ToolTipRole), "<span>&lt;img src='/dev/zero'&gt;</span>");
  EXPECT_EQ(shown(1, Qt::DisplayRole), "a\uFFFDgnp.exe");
}

TEST_F(ListboxTest, BlackIsThePlainColourOfADarkThemeAndOthersStay) {
  Color colour{0, 0, 0};
  list.CellTextPaint = [&](int, int, CellPaint& paint) {
    paint.text_color = colour;
    paint.text_color_set = true;
  };
  Fill({"a"});
  Show();
  const auto shown = [&] { return view.model()->index(0, 0).data(Qt::ForegroundRole); };
  const QPalette light = QApplication::palette();
  EXPECT_EQ(shown(), QColor(Qt::black));
  QApplication::setPalette(QPalette(QColor(0x20, 0x20, 0x20)));
  EXPECT_FALSE(shown().isValid());
  colour = {255, 255, 0};
  EXPECT_EQ(shown(), QColor(Qt::yellow));
  QApplication::setPalette(light);
}

TEST_F(ListboxTest, ClicksAndKeysReachTheHandlers) {
  std::string log;
  list.Change = [&] { log += "change " + Str(list.ListIndex()) + " "; };
  list.KeyDown = [&](int key) { return log += "key " + Str(key) + " ", key == 127; };
  Fill({"a", "b"});
  Show();
  const QPoint second = view.visualRect(view.model()->index(1, 0)).center();
  QTest::mouseClick(view.viewport(), Qt::LeftButton, Qt::NoModifier, second);
  QTest::keyClick(&view, Qt::Key_Delete);
  QTest::keyClick(&view, Qt::Key_Up);
  EXPECT_EQ(log, "change 1 key 127 key 30 change 0 ");
}

}  // namespace
}  // namespace gravlin::testing
