// System calls on files that both folder_item.cpp and streams.cpp use; for platform/ only.
#pragma once

#include <cstddef>
#include <string>

#include "platform/streams.h"

namespace gravlin::files {

// A regular file opened for reading; an empty handle for anything else, so that neither a pipe nor
// a device can make the program wait.  Symbolic links are followed.
FileHandle OpenForReading(const std::string& path);

// A regular file opened for writing with O_CREAT, O_TRUNC, O_EXCL or O_APPEND in `flags`.  A
// symbolic link is never followed: the download could overwrite a file of the user.  With O_TRUNC a
// link, symbolic or hard, is replaced by a new file, so that a planted one stops nothing.
FileHandle OpenForWriting(const std::string& path, int flags, unsigned mode = 0666);

// Bytes read, fewer than `size` only at the end of the file or after a failure, which sets
// `*failed`.
std::size_t ReadSome(int descriptor, char* to, std::size_t size, bool* failed = nullptr);

// False if not every byte was taken.
bool WriteAll(int descriptor, const char* bytes, std::size_t size);

// Renames without ever replacing what is there.  `errno` says why it failed.
bool RenameToFree(const std::string& from, const std::string& to);

// As RenameToFree, but by a copy that is flushed before it gets its name; for moves between file
// systems.
bool CopyToFree(const std::string& from, const std::string& folder, const std::string& to);

}  // namespace gravlin::files
