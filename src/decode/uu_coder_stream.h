// uuencode (POSIX, "uuencode", historical algorithm): the decoder of a file of joined article
// bodies.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/folder_item.h"
#include "platform/streams.h"

namespace gravlin {

// Takes the lines of a text, without their ends, and gives the bytes of all blocks, from a line
// `begin <mode> <name>` to a line `end`, one after the other.  Skips what is not data: text between
// blocks, and between the articles that share a block.
//
// A data line is its count of bytes, as a character from blank (0) to `_`, back-quote being another
// 0, and four characters for each three bytes.  Lines may lack blanks at their end, which mail
// programs cut, or have a check character more.
//
// A line of fourteen bytes begins with a dot, before which the wire puts another one (RFC 3977,
// section 3.1.1) that the text still has.  The decoder skips it.
class UUDecoder {
 public:
  // Adds what the line decodes to.
  void ReadLine(std::string_view line, std::string& to);

 private:
  void ReadData(std::string_view line, std::string& to);

  bool in_block_ = false;
  std::size_t full_count_ = 0;  // of the block's first line; 0 before it
  std::string doubtful_;        // of a line that counts only if the block ends after it
};

// Reads a uuencoded file.
class UUCoderStream {
 public:
  // A file that cannot be opened throws NilObjectException.
  explicit UUCoderStream(const FolderItem& source);
  bool EndOfFile();
  // The next decoded bytes; empty if there are none, which need not be the end.
  std::string Read();
  // False if the source was not read to its end.
  bool Close();

 private:
  std::int64_t source_bytes_;
  std::unique_ptr<TextInputStream> source_;
  UUDecoder decoder_;
};

}  // namespace gravlin
