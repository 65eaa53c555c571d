// How an event of a class in platform/ reaches its handler.  Private to platform/.
#pragma once

#include <functional>
#include <utility>

#include "platform/calls.h"

namespace gravlin {

// Raises an event, if it has a handler.  The handler is copied: it may replace itself or close its
// window.
template <class... Parameters, class... Arguments>
void Raise(const char* event, const std::function<void(Parameters...)>& handler,
           Arguments&&... arguments) {
  if (!handler) return;
  const std::function<void(Parameters...)> copy = handler;
  Dispatch(event, [&] { copy(std::forward<Arguments>(arguments)...); });
}
// The same for an event with an answer; `otherwise` if there is no handler or it failed.
template <class... Parameters, class... Arguments>
bool Ask(const char* event, const std::function<bool(Parameters...)>& handler, bool otherwise,
         Arguments&&... arguments) {
  bool answer = otherwise;
  if (!handler) return answer;
  const std::function<bool(Parameters...)> copy = handler;
  Dispatch(event, [&] { answer = copy(std::forward<Arguments>(arguments)...); });
  return answer;
}

}  // namespace gravlin
