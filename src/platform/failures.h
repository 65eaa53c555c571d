// The two failures that an event may end with.
#pragma once

#include <stdexcept>

namespace gravlin {

// A reference to nothing was used: a nil FolderItem, a stream that could not be opened.
class NilObjectException : public std::runtime_error {
 public:
  NilObjectException() : std::runtime_error("nil object") {}
};

// An array or a row list was read beyond its ends.
class OutOfBoundsException : public std::runtime_error {
 public:
  OutOfBoundsException() : std::runtime_error("out of bounds") {}
};

}  // namespace gravlin
