// The Files window, a copy of the main window's table once a second, and the editor of the file
// types, on a real store.
#include "ui/files_window.h"

#include <QRect>

#include "support/store_fixture.h"
#include "ui/file_types_window.h"
#include "ui/gravlin.h"

namespace gravlin::testing {
namespace {

class FilesWindowTest : public StoreTest {
 protected:
  void AddFile(const std::string& name, int parts) {
    main_window.List.Add({.filename = name, .total_parts = parts, .id = 77});
  }
  Gravlin& main_window = Window::New<Gravlin>();
};

TEST_F(FilesWindowTest, TheTableIsCopiedAtEverySecondWhileTheBoxIsOn) {
  AddFile("a.rar", 12);
  auto& window = Window::New<grvFiles>();
  ASSERT_EQ(window.List.ListCount(), 1);
  EXPECT_EQ(window.List.Cell(0, ListColumn::kTotalParts), "12");
  EXPECT_EQ(window.List.Cell(0, ListColumn::kID), "");
  AddFile("b.rar", 3);
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
    AddFile("c.rar", 4);
    clock.Advance(milliseconds);
    EXPECT_EQ(window.List.ListCount(), count);
  }
}

TEST_F(FilesWindowTest, NumbersCompareAsNumbersWithoutTies) {
  for (const int parts : {9, 10, 10}) AddFile("file", parts);
  const auto& window = Window::New<grvFiles>();
  std::string results;
  for (int column = 0; column < 7; ++column)
    for (const auto& [row1, row2] : {std::pair(0, 1), {1, 0}, {1, 2}}) {
      int result = 7;
      results += window.List_CompareRows(row1, row2, column, result) ? Str(result) + " " : "";
    }
  EXPECT_EQ(results, "-1 1 -1 -1 -1 -1 -1 -1 -1 ") << "of the columns of numbers";
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
    window.SetTop(0);
    window.SetWidth(600);
    Save();
    EXPECT_EQ(Stored("Settings_Gravlin", "FilesWidth"), "500") << "its title is out of reach";
    window.SetWidth(500);
    window.SetTop(90);
    window.Close();
    Save();
    EXPECT_EQ(Stored("Settings_Gravlin", "FilesTop||';'||FilesWidth||';'||Cols"), "90;500;" + used);
  }
}

// The editor of the file types.
class FileTypesTest : public StoreTest {
 protected:
  FileTypesTest() {
    Store("Delete from FileTypes");
    for (const char* name : {"Beta", "Alpha", "Gamma"})
      Store(std::string("Insert into FileTypes (Name, Ext, Note) values ('") + name +
            "', 'x', 'note')");
  }
  std::string Names() {
    std::string names;
    for (int row = 0; row < window().TypesList.ListCount(); ++row)
      names += window().TypesList.Cell(row, 0) + " ";
    return names;
  }
  static FileTypesWin& window() { return Window::Shared<FileTypesWin>(); }
  std::string AllStored() {
    return Stored("(Select * from FileTypes order by Name)", "group_concat(Name||'.'||Ext)");
  }
};

TEST_F(FileTypesTest, ASelectedTypeIsShownAndCanBeChangedOrBroughtBack) {
  EXPECT_EQ(Names(), "Alpha Beta Gamma ");
  window().TypesList.SetListIndex(1);
  EXPECT_EQ(window().efName.Text(), "Beta");
  EXPECT_EQ(window().pbGoFileType.Caption(), "What is a x file?");
  for (PushButton* button : {&window().pbCancel, &window().pbSaveChanges}) {
    EXPECT_FALSE(window().pbSaveChanges.Enabled());
    window().efExt.SetText("R**");
    window().efName.SetText("Zeta");
    EXPECT_TRUE(window().pbSaveChanges.Enabled() && !window().pbMakeNewType.Enabled());
    button->Push();
    const bool saved = button == &window().pbSaveChanges;
    EXPECT_EQ(window().efName.Text() + window().efExt.Text(), saved ? "ZetaR**" : "Betax");
    EXPECT_TRUE(window().pbMakeNewType.Enabled() && Code::NeedToLoadTypes == saved);
  }
  EXPECT_EQ(Names(), "Alpha Zeta Gamma ");
  Code::NeedToLoadTypes = false;  // an import has read the catalogue before the row was stored
  Save();
  EXPECT_TRUE(Code::NeedToLoadTypes);
  EXPECT_EQ(AllStored(), "Alpha.x,Gamma.x,Zeta.r**");
}

TEST_F(FileTypesTest, WhatCannotBeSavedIsReportedAndFocused) {
  window().TypesList.SetListIndex(0);
  const std::pair<std::string, const char*> cases[] = {
      {"", "The name cannot be blank."},
      {"It's", "Sorry, the name can not contain a '. Please remove it."},
      {"Good", "Please enter an extension"}};
  for (const auto& [name, message] : cases) {
    window().efName.SetText(name);
    window().efExt.SetText("");
    window().pbSaveChanges.Push();
    EXPECT_EQ(LastBox(), message);
    EXPECT_TRUE(name == "Good" ? window().efExt.HasFocus() : window().efName.HasFocus());
  }
  EXPECT_EQ(Code::PendingWrites(), 0);
}

TEST_F(FileTypesTest, DeletingSelectsANeighbour) {
  const struct {
    int row;
    const char* left;
    int next;
  } cases[] = {{2, "Alpha Beta ", 1}, {0, "Beta ", 0}, {0, "", -1}};
  for (const auto& [row, left, next] : cases) {
    window().TypesList.SetListIndex(row);
    const std::string name = window().TypesList.Cell(row, 0);
    Asked().answers = {2};
    window().TypesList.KeyDown(127);
    EXPECT_EQ(LastBox(), "Delete " + name + "?");
    EXPECT_NE(Names(), left);
    window().pbDelete.Push();
    EXPECT_EQ(Names(), left);
    EXPECT_EQ(window().TypesList.ListIndex(), next);
    EXPECT_EQ(window().efName.Text(), next < 0 ? "" : window().TypesList.Cell(next, 0));
    Save();
  }
  EXPECT_EQ(AllStored(), "");
  window().pbDelete.Push();
  EXPECT_EQ(LastBox(), "There are no types to delete.");
}

TEST_F(FileTypesTest, ANewTypeIsSelectedWhenTheStoreHasIt) {
  for (int twice = 0; twice < 2; ++twice) window().pbMakeNewType.Push();
  EXPECT_EQ(window().TypesList.ListCount(), 3);
  Save();
  ASSERT_EQ(window().TypesList.ListCount(), 4);
  EXPECT_EQ(window().TypesList.ListIndex(), 3);
  EXPECT_EQ(window().efName.Text(), "New Type");
  EXPECT_EQ(window().TypesList.Cell(3, Listbox::kTagColumn),
            Stored("FileTypes where Name='New Type'", "ID"));
  EXPECT_FALSE(Code::NeedToLoadTypes || window().pbSaveChanges.Enabled());
  EXPECT_TRUE(window().pbMakeNewType.Enabled());
}

}  // namespace
}  // namespace gravlin::testing
