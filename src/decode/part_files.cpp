#include "decode/part_files.h"

#include <algorithm>

#include "platform/text.h"

namespace gravlin {

std::string PartFileNameOf(std::string_view filename, std::int32_t number) {
  return std::string(filename) + "-p" + Format(number, "00000") + ".txt";
}

std::vector<std::int32_t> PartNumbersIn(const FolderItem& folder, std::string_view filename,
                                        std::int32_t largest) {
  std::vector<std::int32_t> numbers;
  const std::string start = std::string(filename) + "-p";
  for (const std::string& name : folder.ChildNames()) {
    if (!name.starts_with(start)) continue;
    const double number = Val(std::string_view(name).substr(start.size()));
    if (number < 1 || number > largest) continue;
    // Also turns away what only begins like a part.
    if (name == PartFileNameOf(filename, ToInt32(number))) numbers.push_back(ToInt32(number));
  }
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

}  // namespace gravlin
