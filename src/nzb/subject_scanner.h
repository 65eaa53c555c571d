// Finds the file name, its extension and the part numbers in the subject of a post.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace gravlin {

struct BinaryPost {
  std::string name;  // with extension; empty if no file name was found
  std::string ext;   // lower case; "rar" or "par" for the files of a numbered series
  std::int32_t part_no = 0;
  std::int32_t total_parts = 0;
};

// The scan itself: tries `types` in their order, plain ("rar") or wildcard ("r**").
BinaryPost ScanSubject(std::string_view subject, const std::vector<std::string>& types);

namespace Code {

// Scans with the catalogue, which is read again first if it was edited.  No file name gives empty
// `name` and `ext` and 0 in both numbers; no part numbers give 1 in both; a part of all zeros gives
// 0 in both.
void ScanForBinaryPost(std::string_view subject, std::string& name, std::string& ext,
                       std::int32_t& partNo, std::int32_t& totalParts);

// The extension of a numbered series: a dot, the first letter of `type`, one or more digits.
// `extStart` is the position of the dot, 0 if there is none (`extEnd` then means nothing); `extEnd`
// that of the last digit.
void CheckRAR(std::string_view subject, std::string_view type, int& extStart, int& extEnd);

// An extension of digits alone.  Both positions are 0 if there is none.
void CheckNoExtension(std::string_view subject, int& extStart, int& extEnd);

}  // namespace Code
}  // namespace gravlin
