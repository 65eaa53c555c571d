// The ways into the repair and the extraction window from outside the room.
#pragma once

#include <string_view>

#include "platform/folder_item.h"

namespace gravlin {

// A window of its own, which repairs the set of `par`, and then unpacks `rar`; if the set has no
// archive, `rar` is the folder of its files.
void OpenRepairOf(const FolderItem& par, const FolderItem& rar);
// Show the shared window.
void OpenParWindow();
void OpenRarWindow();
// Show the shared window and give it a document that was opened on the program.
void OpenParDocument(const FolderItem& document);
void OpenRarDocument(const FolderItem& document);

// What the room asks of the main window; defined with it, in ui/.  Without one the folder is nil
// and the line goes nowhere.
FolderItem DownloadsFolder();
void WriteToLog(std::string_view label, std::string_view text);

}  // namespace gravlin
