// Base64 (RFC 2045, section 6.8): a decoder that takes pieces of any length.
#pragma once

#include <string>
#include <string_view>

namespace gravlin {

// Skips what is not a Base64 character, above all line ends.  Padding ends a group, and another
// text may follow it.
class Base64Stream {
 public:
  // The bytes of all groups that are complete with this piece.
  std::string Decode(std::string_view text);
  // The bytes of the group that lacks its padding, if there is one.
  std::string FinishDecoding();

 private:
  void EndGroup(std::string& to);
  unsigned bits_ = 0;  // of the characters of the open group
  int characters_ = 0;
};

}  // namespace gravlin
