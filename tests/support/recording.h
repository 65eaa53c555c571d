// The recorded outputs of the real tools in tests/data, and their lines as the program reads them.
#pragma once

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "paths.h"

namespace gravlin::testing {

inline std::string Recording(const std::string& name) {
  std::ifstream file(std::string(kSourceFolder) + "/tests/data/" + name, std::ios::binary);
  if (!file) throw std::runtime_error("no recording " + name);
  return {std::istreambuf_iterator<char>(file), {}};
}

// Lines end at CR, LF or CR LF; what follows the last end is a line if it is not empty.
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
