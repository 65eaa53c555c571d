// The ways into the repair and the extraction window from outside the room.
#pragma once

#include "platform/folder_item.h"

namespace gravlin {

// Show the shared window.
void OpenParWindow();
void OpenRarWindow();
// Show the shared window and give it a document that was opened on the program.
void OpenParDocument(const FolderItem& document);
void OpenRarDocument(const FolderItem& document);

}  // namespace gravlin
