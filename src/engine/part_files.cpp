// The names of parts, made and read.
#include "engine/part_files.h"

#include <algorithm>

#include "platform/text.h"

namespace gravlin {

std::string PartFileNameOf(std::string_view filename, std::int32_t number) {
  return std::string(filename) + "-p" + Format(number, "00000") + ".txt";
}

bool PartIsThere(const FolderItem& part) { return !part.IsNil() && part.Length() > 0; }

std::string_view FilenameOfPart(std::string_view part_name) {
  constexpr std::size_t kEnding = std::string_view("-p00000.txt").size();
  if (part_name.size() <= kEnding) return {};
  const std::size_t dash = part_name.size() - kEnding;
  return part_name.substr(dash, 2) == "-p" ? part_name.substr(0, dash) : std::string_view();
}

std::int32_t PartNumberIn(std::string_view part_name, std::string_view filename) {
  if (!part_name.starts_with(filename)) return 0;
  const std::string_view rest = part_name.substr(filename.size());
  if (!rest.starts_with("-p")) return 0;
  const std::int32_t number = ToInt32(Val(rest.substr(2)));
  // Also turns away what only begins like a part.
  return number > 0 && part_name == PartFileNameOf(filename, number) ? number : 0;
}

std::optional<std::vector<std::int32_t>> PartNumbersIn(const FolderItem& folder,
                                                       std::string_view filename,
                                                       std::int32_t largest) {
  std::vector<std::int32_t> numbers;
  bool whole = false;
  for (const std::string& name : folder.ChildNames(&whole)) {
    const std::int32_t number = PartNumberIn(name, filename);
    if (number > 0 && number <= largest) numbers.push_back(number);
  }
  if (!whole) return std::nullopt;
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

}  // namespace gravlin
