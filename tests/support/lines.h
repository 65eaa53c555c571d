// The lines of a text as the program reads them from a file.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace gravlin::testing {

// Lines end at CR, LF or CR LF; text after the last end is a line if it is not empty.
inline std::vector<std::string> LinesOf(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::size_t end = text.find_first_of("\r\n");
    lines.emplace_back(text.substr(0, end));
    if (end == std::string_view::npos) break;
    text.remove_prefix(end + (text.substr(end, 2) == "\r\n" ? 2 : 1));
  }
  return lines;
}

}  // namespace gravlin::testing
