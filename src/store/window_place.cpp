// Reads a window's place and writes the assignments that store it.
#include "store/window_place.h"

#include <algorithm>

#include "platform/text.h"
#include "platform/window.h"
#include "store/database.h"

namespace gravlin {

void RestorePlace(Window& window, const RecordSet& settings, std::string_view columns) {
  constexpr int kFirstTop = 70, kFirstLeft = 10;
  const auto stored = [&](std::string_view side) {
    return settings.Field(std::string(columns).append(side)).IntegerValue();
  };
  window.SetTop(stored("Top") < 1 ? kFirstTop : stored("Top"));
  window.SetLeft(stored("Left") < 0 ? kFirstLeft : stored("Left"));
  window.SetHeight(std::max(stored("Height"), window.MinHeight()));
  window.SetWidth(std::max(stored("Width"), window.MinWidth()));
  window.BringIntoView();
}

std::string PlaceAssignments(const Window& window, std::string_view columns) {
  const std::string name(columns);
  return name + "Top=" + Str(window.Top()) + ", " + name + "Left=" + Str(window.Left()) + ", " +
         name + "Height=" + Str(window.Height()) + ", " + name + "Width=" + Str(window.Width());
}

}  // namespace gravlin
