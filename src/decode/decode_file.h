// File to file through the decoder of an encoding.
#pragma once

#include <string_view>

#include "platform/folder_item.h"

namespace gravlin {

// Decodes `source` into `target`, which is made or overwritten.  False if a file could not be
// opened, read or written to its end, and for an encoding other than "yEnc", "UU" and "Base64".
// Blocks, and touches nothing but the two files: call it through Thread::Offload.
bool DecodeFile(std::string_view encoding, const FolderItem& source, const FolderItem& target);

}  // namespace gravlin
