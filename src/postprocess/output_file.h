// Following a text file that a tool is still writing.
#pragma once

#include <string>
#include <vector>

#include "platform/folder_item.h"

namespace gravlin {

// Appends to `lines` what the file holds from byte `position` on, and moves `position` after it.  A
// line that is still being written is taken as far as it has come, and its rest becomes a line of
// its own at the next call; `*whole` says whether the last line has its end.  False, with nothing
// changed, if the file cannot be opened.
bool ReadNewLines(const FolderItem& file, double& position, std::vector<std::string>& lines,
                  bool* whole);

}  // namespace gravlin
