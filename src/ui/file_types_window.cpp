// The editor of the file types.
#include "ui/file_types_window.h"

#include <algorithm>

#include "base/code.h"
#include "base/endpoints.h"
#include "nzb/import_owner.h"
#include "nzb/names.h"
#include "platform/desktop.h"
#include "platform/text.h"
#include "store/writers.h"

namespace gravlin {
namespace {

constexpr int kDeleteKey = 127;
constexpr int kConfirm = 49;
// Sets NeedToLoadTypes again: during an import the catalogue is read before the row is stored.
constexpr std::string_view kTypesStored = "FileTypesWin.TypesStored";

}  // namespace

FileTypesWin::FileTypesWin()
    : Window({.title = "File Types",
              .width = 540,
              .height = 178,
              .min_width = 555,
              .min_height = 178,
              .resizable = true}),
      TypesList(*this, "TypesList", {10, 11, 156, 155}, 1),
      Label1(*this, "Label1", {171, 26, 84, 16}, "Name:"),
      efName(*this, "efName", {260, 22, 266, 20}),
      Label2(*this, "Label2", {171, 54, 84, 16}, "Extension:"),
      efExt(*this, "efExt", {260, 51, 50, 20}),
      pbGoFileType(*this, "pbGoFileType", {322, 50, 204, 22}, "???"),
      Label8(*this, "Label8", {171, 84, 84, 15}, "Description:"),
      efNote(*this, "efNote", {260, 81, 266, 20}),
      pbDelete(*this, "pbDelete", {260, 113, 108, 22}, "Delete Type"),
      pbMakeNewType(*this, "pbMakeNewType", {400, 113, 125, 22}, "Make New Type"),
      pbHelp(*this, "pbHelp", {260, 144, 108, 22}, "Help"),
      pbCancel(*this, "pbCancel", {400, 144, 65, 22}, "Cancel"),
      pbSaveChanges(*this, "pbSaveChanges", {470, 144, 55, 22}, "Save") {
  TypesList.SetAnchors({.left = true, .top = true, .right = false, .bottom = true});
  TypesList.SetAccessibleName("File types");
  for (TextField* field : {&efName, &efNote})
    field->SetAnchors({.left = true, .top = true, .right = true, .bottom = false});
  efName.SetAccessibleName("Name");
  efExt.SetAccessibleName("Extension");
  efNote.SetAccessibleName("Description");
  pbDelete.SetHelpTag("Delete the selected server.");
  pbCancel.SetCancel(true);
  for (PushButton* button : {&pbGoFileType, &pbCancel, &pbSaveChanges}) button->SetEnabled(false);

  TypesList.Change = [this] { LoadRecord(); };
  TypesList.KeyDown = [this](int key) {
    if (key == kDeleteKey) pbDelete_Action();
    return false;
  };
  for (TextField* field : {&efName, &efExt, &efNote}) field->TextChange = [this] { Changed(); };
  pbCancel.Action = [this] { LoadRecord(); };
  pbSaveChanges.Action = [this] { pbSaveChanges_Action(); };
  pbDelete.Action = [this] { pbDelete_Action(); };
  pbMakeNewType.Action = [this] { pbMakeNewType_Action(); };
  pbGoFileType.Action = [] {
    ShowURL(endpoints::Vendor("/usenet/faq/downloading-from-usenet?source=Gravlin"));
  };
  pbHelp.Action = [] {
    ShowURL(endpoints::Vendor("/usenet/nzb/gravlin/file-types-window?source=Gravlin"));
  };
}

void FileTypesWin::Event_Open() {
  db = std::make_unique<Database>(Code::fGlobalDB);
  if (!db->Connect()) MsgBox("Can't open Gravlin.rsd database file.");
  Code::FileTypesOpen = true;
  TypesList.SetHeading("File Types");
  TypesList.SetColumnWidths("135");
  LoadTypes();
  EnableFields(false);
  pbSaveChanges.SetEnabled(false);
}

void FileTypesWin::Event_Close() { Code::FileTypesOpen = false; }

void FileTypesWin::LoadTypes() {
  const auto types = db->SQLSelect("Select * from FileTypes Order by Name");
  if (!types) return;
  for (; !types->EndOfFile(); types->MoveNext()) {
    TypesList.AddRow(types->Field("Name").StringValue());
    TypesList.SetCell(TypesList.LastIndex(), Listbox::kTagColumn, types->Field("ID").StringValue());
  }
}

void FileTypesWin::LoadRecord() {
  TextLoading = true;
  const int row = TypesList.ListIndex();
  std::unique_ptr<RecordSet> type;
  if (row >= 0)
    type = db->SQLSelect("Select * from FileTypes where ID=" +
                         TypesList.Cell(row, Listbox::kTagColumn));
  const bool found = type && !type->EndOfFile();
  const auto text = [&](std::string_view column) {
    return found ? type->Field(column).StringValue() : std::string();
  };
  efName.SetText(text("Name"));
  efExt.SetText(text("Ext"));
  efNote.SetText(text("Note"));
  EnableFields(found);
  if (found) TheExt = text("Ext");
  pbGoFileType.SetCaption(found ? "What is a " + TheExt + " file?" : "???");
  pbGoFileType.SetEnabled(found);
  SetClean();
  TextLoading = false;
}

void FileTypesWin::Changed() {
  if (TextLoading) return;
  pbSaveChanges.SetEnabled(true);
  pbCancel.SetEnabled(true);
  pbMakeNewType.SetEnabled(false);
}

void FileTypesWin::SetClean() {
  pbSaveChanges.SetEnabled(false);
  pbCancel.SetEnabled(false);
  pbMakeNewType.SetEnabled(true);
}

void FileTypesWin::EnableFields(bool enabled) {
  for (TextField* field : {&efName, &efExt, &efNote}) field->SetEnabled(enabled);
}

void FileTypesWin::pbSaveChanges_Action() {
  const std::string name = efName.Text();
  const std::string bad = Code::BadSQLChar(name);
  const auto refuse = [](TextField& field, const std::string& why) {
    MsgBox(why);
    field.SetFocus();
  };
  if (name.empty()) return refuse(efName, "The name cannot be blank.");
  if (!bad.empty())
    return refuse(efName, "Sorry, the name can not contain a " + bad + ". Please remove it.");
  if (efExt.Text().empty()) return refuse(efExt, "Please enter an extension");
  // Extension and note are not checked: with a quote in them the statement is invalid and fails
  // without a message.
  const int row = TypesList.ListIndex();
  Code::SaveToDB(
      {"Update FileTypes Set Name='" + name + "', " + "Ext='" + Lowercase(efExt.Text()) + "', " +
       "Note='" + efNote.Text() + "' " + "Where ID=" + TypesList.Cell(row, Listbox::kTagColumn)},
      kTypesStored);
  TypesList.SetCell(row, 0, name);
  Code::NeedToLoadTypes = true;
  SetClean();
}

void FileTypesWin::pbDelete_Action() {
  if (TypesList.ListCount() == 0) {
    MsgBox("There are no types to delete.");
    return;
  }
  const int row = TypesList.ListIndex();
  if (MsgBox("Delete " + TypesList.Cell(row, 0) + "?", kConfirm, "Ferrolink-GL") != 1) return;
  const std::string id = TypesList.Cell(row, Listbox::kTagColumn);
  const int count = TypesList.ListCount();
  const int next = row == 0 ? 0 : row == count - 1 ? count - 2 : row;
  Code::SaveToDB({"Delete from FileTypes where ID=" + id}, kTypesStored);
  TypesList.RemoveRow(row);
  Code::NeedToLoadTypes = true;
  if (TypesList.ListCount() > 0) {
    TypesList.SetListIndex(next);
    return;
  }
  for (TextField* field : {&efName, &efExt, &efNote}) field->SetText("");
  pbSaveChanges.SetEnabled(false);
}

void FileTypesWin::pbMakeNewType_Action() {
  DatabaseRecord type;
  type.SetColumn("Name", "New Type");
  type.SetColumn("Ext", "");
  type.SetColumn("Note", "");
  // So that a second one cannot start before the first has returned.
  pbMakeNewType.SetEnabled(false);
  Code::AddRecToDB("FileTypes", {type}, "FileTypesWin.FinishedNewType");
}

void FileTypesWin::FinishedNewType(std::int64_t id) {
  TypesList.AddRow("New Type");
  TypesList.SetCell(TypesList.LastIndex(), Listbox::kTagColumn, Str(id));
  TypesList.SetListIndex(TypesList.LastIndex());
  pbSaveChanges.SetEnabled(false);
  pbMakeNewType.SetEnabled(true);
}

void Code::FinishedNewFileType(std::int64_t id) {
  if (FileTypesWin* window = Window::IfOpen<FileTypesWin>()) window->FinishedNewType(id);
}

void ShowFileTypesWindow() { Window::Shared<FileTypesWin>().Show(); }

}  // namespace gravlin
