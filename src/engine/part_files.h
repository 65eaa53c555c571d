// The parts of one file in the Parts folder.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/folder_item.h"

namespace gravlin {

// "a.rar-p00012.txt" for part 12 of "a.rar".
std::string PartFileNameOf(std::string_view filename, std::int32_t number);

// An empty part file is what a crash can leave, and counts as absent; so does a name that no
// file system takes.
bool PartIsThere(const FolderItem& part);

// The other way round: the file's name, or "" if the name's length and dash are not a part's.  The
// number is not looked at.
std::string_view FilenameOfPart(std::string_view part_name);

// The number of the part of that file that has this name, 0 if it is none.
std::int32_t PartNumberIn(std::string_view part_name, std::string_view filename);

// The numbers from 1 to `largest` of the parts that lie in the folder, in ascending order.  Reads
// the folder once, since a broken NZB can have numbers of any size.  Nothing if the folder could
// not be read to its end.  Blocks: call it through Thread::Offload.
std::optional<std::vector<std::int32_t>> PartNumbersIn(const FolderItem& folder,
                                                       std::string_view filename,
                                                       std::int32_t largest);

}  // namespace gravlin
