// Loads the file types in the order in which the scanner tries them.
#include "nzb/catalogue.h"

#include <string>
#include <vector>

#include "base/code.h"
#include "platform/desktop.h"
#include "platform/text.h"
#include "platform/thread.h"
#include "store/database.h"

namespace gravlin::Code {

void LoadTypes() {
  Database db(fGlobalDB);
  if (!db.Connect()) return;
  NeedToLoadTypes = false;
  Types.clear();
  const auto rows = db.SQLSelect("Select * from FileTypes");
  if (!rows || rows->EndOfFile()) {
    MsgBox("Please add a FileType.");
    return;
  }
  std::vector<std::string> first, others, wildcards;
  for (; !rows->EndOfFile(); rows->MoveNext()) {
    const std::string ext = rows->Field("Ext").StringValue();
    // A wildcard row is among the other rows too, where it wins over plain rows after it.  At the
    // end it is tried again, and the last entry of all decides the type of names with a numeric
    // extension (subject_scanner.cpp).
    if (InStr(ext, "**") > 0) wildcards.push_back(ext);
    if (!ext.empty())
      (SameText(ext, "par2") || SameText(ext, "par") ? first : others).push_back(ext);
    Thread::Yield();
  }
  Types = std::move(first);
  Types.insert(Types.end(), others.begin(), others.end());
  Types.insert(Types.end(), wildcards.begin(), wildcards.end());
}

}  // namespace gravlin::Code
