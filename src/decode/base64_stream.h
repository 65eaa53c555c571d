// Base64 (RFC 2045, section 6.8): a decoder that takes pieces of any length.
#pragma once

#include <string>
#include <string_view>

namespace gravlin {

// Decodes each line that holds the alphabet and padding alone, and skips every other line, since
// the text may hold whole articles.  Header lines have a colon, folded ones begin with a blank or a
// tab, and boundaries have hyphens.  Blanks at the end of a line, which gateways add, do not count.
//
// A single word, as "thanks" after the closing boundary, is of the alphabet too.  It is skipped if
// no encoder can have made it: it begins a new run of lines, is less than half as long as the
// widest line before it, and leaves a group open.  Only the last line of a text is short, and that
// one is padded.  A word of four, eight or twelve letters is taken for data.
//
// Groups may go on in a later line, whatever is skipped between.  Padding ends a group, and another
// text may follow it.
//
// A line is judged at its end, or at 64 KiB, so that a file without line ends takes no more memory
// than that.  What follows in a longer line that was data so far is data, less the characters that
// are not of the alphabet.
class Base64Stream {
 public:
  // The bytes of all groups that are complete with the lines judged so far.
  std::string Decode(std::string_view text);
  // The bytes of the last line, if it has no end, and of the group that lacks its padding.
  std::string FinishDecoding();

 private:
  enum class Line { kUnknown, kData, kOther };

  void Judge(std::string& to);
  bool IsWord() const;
  void EndLine(std::string& to);
  void Take(char c, std::string& to);
  void EndGroup(std::string& to);

  Line kind_ = Line::kUnknown;  // of the open line
  std::string line_;            // as far as it has come, until it is judged
  std::size_t widest_ = 0;      // characters of the longest line of data
  bool in_run_ = false;         // the line before was data, and had no padding
  char last_ = 0;               // so that CR LF is one line end
  unsigned bits_ = 0;           // of the characters of the open group
  int characters_ = 0;
};

}  // namespace gravlin
