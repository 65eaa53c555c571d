// Small functions that make a subject's text fit to be a file name, make it unique among the files
// of the NZB, keep it out of hand-built SQL, and undo the escapes of the NZB file.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/folder_item.h"

namespace gravlin {

class Database;

namespace Code {

// Removes what a file name must not hold and keeps the last MaxFileLength bytes, so that the
// extension stays.  Never cuts inside a UTF-8 character.  May give empty text.
std::string CleanFilename(std::string_view name);

// Removes the five characters that statements are kept free of, and leading blanks.
std::string CleanSQLString(std::string_view text);

// The first of the same five characters, in their order, that the text holds; else empty.
std::string BadSQLChar(std::string_view text);

// The name cleaned for file system and store.  A name that a committed row of NZBFiles already has
// gets a numbered marker after its extension.  Empty if the store cannot be reached.
std::string FixNZBFilename(std::string_view name);
// The same on an open connection, which must have no transaction: only committed rows count.
std::string FixNZBFilename(Database& committed, std::string_view name);

// Undoes the five named escapes and their numeric forms.  "&amp;" is first, so that a double escape
// is undone twice: many NZB files are written with one.
std::string RemoveXMLEscapeSequences(std::string_view text);

// The name of an archive's first volume: "part1.rar", "part01.rar" or "part001.rar" at the end, or
// ".rar" at the end and no ".part" anywhere.
bool IsFirstVolume(std::string_view name);

// Position of the last occurrence, case ignored; 0 if there is none.
std::int32_t InstrRev(std::string_view text, std::string_view find);

// The item's path in colon form without its volume, with the name (the display name) as its last
// component.  ":" between components and "/" inside a name, as in FolderItem::AbsolutePath.
std::string GetFixedPath(const FolderItem& item);
std::string GetFixedPath2(const FolderItem& item);

}  // namespace Code
}  // namespace gravlin
