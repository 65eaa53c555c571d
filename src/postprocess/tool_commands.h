// The shell commands that start par2 and unrar.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/folder_item.h"

namespace gravlin {

// `fix_path` chooses the helper for the input's path: 1 Code::GetFixedPath, 2 Code::GetFixedPath2.
//
// The paths are put in single quotes and nothing in them is escaped.  So nullopt, and no command at
// all, when one of them holds a single quote: the rest of such a name would be run by the shell.
// Nor for an archive with "*" or "?" in its path, which unrar takes for a mask: it would extract
// the neighbours as well.  A ":" inside a name comes out as "/", like the ":" between folders, and
// the tool then finds no such file.

// Why no command can be made with these paths, in words for the status line; empty if one can.
// `masks`: the tool takes "*" and "?" in the input's path for a mask.
std::string WhyNoCommand(const FolderItem& tool, const FolderItem& input, const FolderItem& output,
                         bool masks);

// Paths are relative to the root of the volume, where the shell works.  Any other `fix_path` gives
// an empty input.
// `more` are further files in which par2 may find blocks; those with a single quote are left out.
std::optional<std::string> Par2Command(const FolderItem& tool, const FolderItem& input,
                                       int fix_path, const FolderItem& output,
                                       const std::vector<FolderItem>& more = {});

// What par2 has put aside of the set of `input`, by the beginning of its name: it gives a damaged
// file the name "a.rar.1" and builds "a.rar" anew.  When it is killed in between, the good blocks
// lie there alone.
std::vector<FolderItem> PutAsideByPar2(const FolderItem& input);

// Paths are absolute, and the target ends in "/", which shows unrar that it is a folder.  Any other
// `fix_path` gives the tool itself as input.
std::optional<std::string> UnrarCommand(const FolderItem& tool, const FolderItem& input,
                                        int fix_path, const FolderItem& target,
                                        const FolderItem& output);

}  // namespace gravlin
