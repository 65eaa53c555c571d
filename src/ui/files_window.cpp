// The copy of the main window's list, rebuilt each second.
#include "ui/files_window.h"

#include "base/code.h"
#include "platform/desktop.h"
#include "platform/scoped_flag.h"
#include "platform/text.h"
#include "platform/thread.h"
#include "store/window_place.h"
#include "store/writers.h"
#include "ui/gravlin.h"

namespace gravlin {
namespace {

constexpr int kColumns = 7;

}  // namespace

grvFiles::grvFiles()
    : Window({.title = "Gravlin Files",
              .width = 361,
              .height = 340,
              .min_width = 300,
              .min_height = 320,
              .resizable = true}),
      List(*this, "List", {20, 20, 321, 282}, kColumns),
      boxRefresh(*this, "boxRefresh", {20, 314, 180, 20}, "Refresh Automatically") {
  List.SetAnchors({.left = true, .top = true, .right = true, .bottom = true});
  List.SetAccessibleName("Files of the NZB");
  List.SetSortable(true);
  List.SetDragReorder(true);
  List.CompareRows = [this](int row1, int row2, int column, int& result) {
    return List_CompareRows(row1, row2, column, result);
  };
  boxRefresh.SetAnchors({.left = true, .top = false, .right = false, .bottom = true});
  boxRefresh.SetValue(true);
  boxRefresh.Action = [this] { boxRefresh_Action(); };
  tRefresh.Action = [this] { tRefresh_Action(); };
  tRefresh.SetPeriod(1000);
  tRefresh.SetMode(2);
}

void grvFiles::Event_Open() {
  db = std::make_unique<Database>(Code::fGlobalDB);
  if (!db->Connect()) MsgBox("Can't open Gravlin.rsd database file.");
  DoneLoading = false;
  std::string columns;
  if (const auto settings = db->SQLSelect("Select * from Settings_Gravlin");
      settings && !settings->EndOfFile()) {
    RestorePlace(*this, *settings, "Files");
    columns = settings->Field("Cols").StringValue();
  }
  List.SetHeading("Filename\tDone?\tTotal Parts\tParts Done\tErrors\tNotes\tGroups\t");
  const bool no_value = columns.empty() || InStr(columns, "*") > 0;
  List.SetColumnWidths(no_value ? "135,45,62,63,43,200,200" : columns);
  LoadList();
  DoneLoading = true;
}

void grvFiles::LoadList() {
  const Gravlin* main_window = Window::IfOpen<Gravlin>();
  if (!main_window) return;
  // A tick may come during the copying of the opening.
  if (copying_) return;
  const ScopedFlag copying(copying_, true);
  const FileTable& source = main_window->List;
  // Shows all rows at once, although events run while they are copied.
  const Listbox::Held held(List);
  List.DeleteAllRows();
  const int count = source.ListCount();
  for (int row = 0; row < count && row < source.ListCount(); ++row) {
    List.AddRow(source.Cell(row, 0));
    for (int column = 1; column < kColumns; ++column)
      List.SetCell(row, column, source.Cell(row, column));
    Thread::Yield();
  }
  List.SetListIndex(source.ListIndex());
}

void grvFiles::tRefresh_Action() { LoadList(); }

// Off is a single shot, so that one more refresh comes a second later.
void grvFiles::boxRefresh_Action() { tRefresh.SetMode(boxRefresh.Value() ? 2 : 1); }

bool grvFiles::List_CompareRows(int row1, int row2, int column, int& result) const {
  if (column < ListColumn::kTotalParts || column > ListColumn::kErrors) return false;
  result = Val(List.Cell(row1, column)) > Val(List.Cell(row2, column)) ? 1 : -1;
  return true;
}

void grvFiles::SaveSize() {
  if (!DoneLoading || Top() <= 0) return;
  Code::SaveToDB({"Update Settings_Gravlin Set " + PlaceAssignments(*this, "Files") + ", Cols='" +
                  List.ColumnWidths() + "'"},
                 "none");
}

void grvFiles::Event_Resized() { SaveSize(); }
void grvFiles::Event_Close() { SaveSize(); }

}  // namespace gravlin
