// The editor of the file types, on a real store.
#include "support/store_fixture.h"
#include "ui/file_types_window.h"

namespace gravlin::testing {
namespace {

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
  EXPECT_FALSE(window().efName.Enabled());
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
  Save();
  EXPECT_EQ(AllStored(), "Alpha.x,Gamma.x,Zeta.r**");
}

TEST_F(FileTypesTest, WhatCannotBeSavedIsToldAndFocused) {
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
  EXPECT_FALSE(Code::NeedToLoadTypes);
}

}  // namespace
}  // namespace gravlin::testing
