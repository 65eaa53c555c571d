// The menus and their items.
#include "ui/menu_main.h"

#include "platform/menu.h"

namespace gravlin {

void MakeMenuMain(MenuBar& menu) {
  menu.AddMenu("FileMenu", "&File");
  menu.AddItem("mSetupFileTypes", "File Types");
  menu.AddItem("mToolzPAR", "PAR Decoder");
  menu.AddItem("mToolzRAR", "RAR Decoder");
  menu.AddItem("UntitledMenu12", "-");
  menu.AddItem("mCompactDataba", "Compact Database");
  menu.AddItem("mDebugMode", "Debug Mode");
  menu.AddItem("UntitledSeparator2", "-");
  menu.AddItem("mExit", "Exit");
  menu.SetQuitItem("mExit");

  menu.AddMenu("EditMenu", "&Edit");
  menu.AddEditItem("EditUndo", "&Undo", "Cmd+Z", "undo");
  menu.AddItem("UntitledMenu9", "-");
  menu.AddEditItem("EditCut", "Cu&t", "Cmd+X", "cut");
  menu.AddEditItem("EditCopy", "&Copy", "Cmd+C", "copy");
  menu.AddEditItem("EditPaste", "&Paste", "Cmd+V", "paste");
  menu.AddEditItem("EditClear", "Clear", {}, "clear");

  menu.AddMenu("mHelp", "Help");
  menu.AddItem("mGetMessage", "Get Message From Ardentis");
  menu.AddItem("UntitledSeparator0", "-");
  menu.AddItem("mTestServer", "Test News Server");
  menu.AddItem("UntitledSeparator", "-");
  menu.AddItem("mProgramFolder", "Open Program Folder");
  menu.AddItem("mAppDataFolder", "Open App Data Folder");
  menu.AddItem("UntitledSeparator1", "-");
  menu.AddItem("mAbout", "About");
}

}  // namespace gravlin
