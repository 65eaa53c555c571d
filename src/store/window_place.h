// The place of a window in the store: four columns of a settings table with a common prefix,
// "FilesTop" to "FilesWidth".
#pragma once

#include <string>
#include <string_view>

namespace gravlin {

class RecordSet;
class Window;

// Moves the window to the place in the current row; if nothing is stored, near the corner of the
// screen at its smallest size.  The title is always within reach.
void RestorePlace(Window& window, const RecordSet& settings, std::string_view columns);
// The assignments of an update that stores the window's place.
std::string PlaceAssignments(const Window& window, std::string_view columns);

}  // namespace gravlin
