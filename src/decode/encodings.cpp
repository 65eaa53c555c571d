// Guesses from the text of an article, in the order in which they are tried.
#include "decode/encodings.h"

#include <algorithm>

#include "platform/text.h"

namespace gravlin::Code {
namespace {

constexpr int kReach = 5000;
constexpr std::string_view kEmptyLine = "\n\r\n";  // the middle of CR LF CR LF
constexpr std::string_view kYencMark = "=ybegin";
constexpr std::string_view kBase64Header = "Content-Transfer-Encoding: base64";
constexpr std::string_view kUUBegin = "begin ";

// Up to `count` bytes from position `start`, without a copy.
std::string_view Piece(std::string_view text, int start, int count) {
  const auto from = std::min(static_cast<std::size_t>(std::max(start, 1)) - 1, text.size());
  return text.substr(from, static_cast<std::size_t>(std::max(count, 0)));
}

// From position `start` to the end, less the last `less` bytes of the text.
std::string_view Rest(std::string_view text, int start, int less) {
  return Piece(text, start, Len(text) - less - std::max(start, 1) + 1);
}

// Position of the LF of the empty line after the headers, from `start` on; 0 if it is not within
// reach.
int EmptyLineFrom(int start, std::string_view text) {
  return InStr(start, Piece(text, 1, kReach + 2), kEmptyLine);
}

// Whether there is a file mode, so that "begin with this" does not count as a beginning.
bool IsMode(std::string_view text, int position) { return Val(Piece(text, position, 3)) > 0; }

// The text between a position and the next CR after `from`, less `less` bytes; empty without a CR.
std::string ToLineEnd(std::string_view text, int position, int from, int less) {
  return Trim(Piece(text, position, InStr(from, text, "\r") - less - position));
}

}  // namespace

std::string DetermineEncoding(std::string_view text) {
  const int headers_end = EmptyLineFrom(1, text);
  if (headers_end == 0) return {};
  const int body = headers_end + 3;
  if (InStr(Piece(text, body, kReach), kYencMark) > 0) return "yEnc";
  // The line end before the first line is the empty line's.
  const std::string_view lines = Piece(text, body - 2, kReach + 2 + 11);
  for (int at = InStr(lines, "\r\nbegin "); at > 0 && at <= kReach + 3;
       at = InStr(at + 1, lines, "\r\nbegin ")) {
    if (IsMode(lines, at + 8)) return "UU";
  }
  return InStr(body, text, kBase64Header) > 0 ? "Base64" : "";
}

std::string_view StripUU(std::string_view text) {
  if (SameText(Piece(text, 1, 6), kUUBegin)) return text;
  const int headers_end = EmptyLineFrom(1, text);
  return headers_end == 0 ? text : Rest(text, headers_end + 3, 3);
}

std::string_view StripBase64(std::string_view text) {
  const int headers_end = EmptyLineFrom(1, text);
  if (headers_end == 0) return text;
  int from = InStr(headers_end + 3, text, kBase64Header);
  if (from == 0) return Rest(text, 1, 2);
  const int part_headers_end = EmptyLineFrom(from, text);
  const bool within_reach = part_headers_end > 0 && part_headers_end < kReach;
  if (within_reach) {
    from = part_headers_end + 3;
  } else if (Len(text) >= kReach) {
    return Rest(text, from, 3);
  }
  const int boundary = InStr(from, text, "--=_NextPart_");
  return boundary > 0 ? Piece(text, from, boundary - from) : Rest(text, from, 3);
}

std::string ExtractFilenameFromBody(std::string_view text) {
  const int headers_end = EmptyLineFrom(1, text);
  // Counted from the end of the headers but used as a position of the whole text, so that the
  // search for the name begins in the headers: a "name=" there comes first.
  const int yenc = InStr(Rest(text, headers_end, 3), kYencMark);
  if (yenc > 0) {
    const int name = InStr(yenc + 1, text, "name=");
    if (name > 0) return ToLineEnd(text, name + 5, name + 1, 0);
  }
  for (int at = InStr(headers_end, text, kUUBegin); at > 0; at = InStr(at + 1, text, kUUBegin)) {
    const std::string_view before = at == 1 ? "\n" : Piece(text, at - 1, 1);
    if ((before == "\n" || before == "\r") && IsMode(text, at + 6)) {
      return ToLineEnd(text, at + 10, at + 1, 0);
    }
  }
  const int base64 = InStr(headers_end, text, kBase64Header);
  const int name = base64 == 0 ? 0 : InStr(base64, text, "filename=");
  // The name is in quotes.
  return name == 0 ? std::string() : ToLineEnd(text, name + 10, name + 1, 1);
}

}  // namespace gravlin::Code
