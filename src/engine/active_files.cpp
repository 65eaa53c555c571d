// The names in use: a file that is assembled or a part that is fetched is taken by nobody else.
#include "engine/active_files.h"

#include <algorithm>

#include "base/code.h"
#include "platform/text.h"

namespace gravlin::Code {
namespace {

// A handful of names at most: the file in assembly and the part under way.
auto Find(std::string_view name) {
  return std::find_if(ActiveFiles.begin(), ActiveFiles.end(),
                      [name](const std::string& active) { return SameText(active, name); });
}

}  // namespace

bool InActiveFiles(std::string_view name) {
  const CriticalGuard guard(csInActiveFiles);
  return Find(name) != ActiveFiles.end();
}

bool AddToActiveFiles(std::string_view name) {
  const CriticalGuard guard(CheckingFile);
  if (Find(name) != ActiveFiles.end()) return false;
  ActiveFiles.emplace_back(name);
  return true;
}

void RemoveFromActiveFiles(std::string_view name) {
  const CriticalGuard guard(RemovingFile);
  if (const auto found = Find(name); found != ActiveFiles.end()) ActiveFiles.erase(found);
}

}  // namespace gravlin::Code
