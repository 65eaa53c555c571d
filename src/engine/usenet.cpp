// The end of a reply.
#include "engine/usenet.h"

#include "nzb/names.h"
#include "platform/text.h"

namespace gravlin {

// Works on the last dot, not on a fixed byte pattern, so that a buffer that ends in LF, dot, CR
// passes too: the LF that is still on its way is dropped before the next reply.
bool Usenet::EndOfResponse(std::string_view tail) {
  const int length = Len(tail);
  const int dot = Code::InstrRev(tail, ".");
  if (dot == 0 || (dot != length - 1 && dot != length - 2)) return false;
  const auto is_line_end = [&](int position) {
    const char c = tail[position - 1];
    return c == '\n' || c == '\r';
  };
  if (dot > 1 && !is_line_end(dot - 1)) return false;
  return is_line_end(dot + 1);
}

}  // namespace gravlin
