// The Files window: a copy of the main window's table, once a second.
#include "ui/files_window.h"

#include <QRect>

#include "engine/gravlin.h"
#include "support/store_fixture.h"

namespace gravlin::testing {
namespace {

class FilesWindowTest : public StoreTest {
 protected:
  void AddFile(const std::string& name, const std::string& parts) {
    main_window.List.AddRow(name);
    const int row = main_window.List.LastIndex();
    main_window.List.SetCell(row, ListColumn::kTotalParts, parts);
    main_window.List.SetCell(row, ListColumn::kID, "77");
  }
  Gravlin& main_window = Window::New<Gravlin>();
};

TEST_F(FilesWindowTest, TheTableIsCopiedAtEverySecondWhileTheBoxIsOn) {
  AddFile("a.rar", "12");
  auto& window = Window::New<grvFiles>();
  ASSERT_EQ(window.List.ListCount(), 1);
  EXPECT_EQ(window.List.Cell(0, ListColumn::kTotalParts), "12");
  EXPECT_EQ(window.List.Cell(0, ListColumn::kID), "");
  AddFile("b.rar", "3");
  main_window.List.SetListIndex(1);
  clock.Advance(1000);
  EXPECT_EQ(window.List.ListCount(), 2);
  EXPECT_EQ(window.List.ListIndex(), 1);
  const struct {
    bool on;
    int milliseconds, count;
  } cases[] = {{false, 1000, 3}, {false, 5000, 3}, {true, 1000, 5}};  // off gives one refresh more
  for (const auto& [on, milliseconds, count] : cases) {
    window.boxRefresh.SetValue(on);
    AddFile("c.rar", "4");
    clock.Advance(milliseconds);
    EXPECT_EQ(window.List.ListCount(), count);
  }
}

TEST_F(FilesWindowTest, NumbersCompareAsNumbersWithoutTies) {
  for (const char* parts : {"9", "10", "10", "none"}) AddFile("file", parts);
  const auto& window = Window::New<grvFiles>();
  const struct {
    int row1, row2, result;
  } cases[] = {{0, 1, -1}, {1, 0, 1}, {1, 2, -1}, {2, 1, -1}, {3, 0, -1}, {0, 3, 1}};
  for (const auto& [row1, row2, expected] : cases) {
    int result = 0;
    EXPECT_TRUE(window.List_CompareRows(row1, row2, ListColumn::kTotalParts, result));
    EXPECT_EQ(result, expected) << row1 << " and " << row2;
  }
  int untouched = 7;
  for (const int column : {0, 1, 5, 6})
    EXPECT_FALSE(window.List_CompareRows(0, 1, column, untouched));
}

TEST_F(FilesWindowTest, PlaceAndWidthsAreKeptUnlessTheyCannotBe) {
  const std::string usual = "135,45,62,63,43,200,200";
  const std::pair<std::string, std::string> cases[] = {
      {"", usual}, {"50,*,60", usual}, {"50,60,70,80,90,100,110", "50,60,70,80,90,100,110"}};
  for (const auto& [stored, used] : cases) {
    Store(
        "Update Settings_Gravlin Set FilesTop=0, FilesLeft=-1, FilesHeight=100, FilesWidth=500, "
        "Cols='" +
        stored + "'");
    auto& window = Window::New<grvFiles>();
    EXPECT_EQ(window.List.ColumnWidths(), used);
    const QRect place(window.Left(), window.Top(), window.Width(), window.Height());
    EXPECT_EQ(place, QRect(10, 70, 500, 320));
    window.SetTop(90);
    window.Close();
    Save();
    EXPECT_EQ(Stored("Settings_Gravlin", "FilesTop||';'||FilesWidth||';'||Cols"), "90;500;" + used);
  }
  auto& window = Window::New<grvFiles>();
  window.SetTop(0);
  window.SetWidth(600);
  Save();
  EXPECT_EQ(Stored("Settings_Gravlin", "FilesWidth"), "500");
}

}  // namespace
}  // namespace gravlin::testing
