// Registry of the names of files and part files in use, so that none is fetched or assembled
// twice.
#pragma once

#include <string_view>

namespace gravlin::Code {

bool InActiveFiles(std::string_view name);
// False if the name is in it already.
bool AddToActiveFiles(std::string_view name);
void RemoveFromActiveFiles(std::string_view name);

}  // namespace gravlin::Code
