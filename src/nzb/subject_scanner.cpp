// Finds extension, name and part number in a subject, with the catalogue.
#include "nzb/subject_scanner.h"

#include <algorithm>

#include "base/code.h"
#include "nzb/catalogue.h"
#include "nzb/names.h"
#include "platform/text.h"
#include "platform/thread.h"

namespace gravlin {
namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Character at a position that counts from 1.
char At(std::string_view text, int position) {
  return text[static_cast<std::size_t>(position) - 1];
}

bool IsWildcard(std::string_view type) { return type.ends_with("**"); }

// Where the extension is, and the catalogue entry at which the search stopped.  For a numeric
// extension that is the last entry, which with the usual catalogue makes the file part of a RAR
// series.
struct Extension {
  int start = 0;
  int end = 0;
  std::string_view type;
  std::string text;
};

// Looks only at the last occurrence, even if only an earlier one is an extension.
bool FindPlain(std::string_view subject, std::string_view type, Extension& found) {
  const int start = Code::InstrRev(subject, std::string(".").append(type));
  if (start == 0) return false;
  const int end = start + Len(type);
  // A dot and an underline end an extension here, but not an extension of digits in
  // CheckNoExtension.
  static constexpr std::string_view kDelimiters = "\"'([ -:._";
  if (end < Len(subject) && kDelimiters.find(At(subject, end + 1)) == std::string_view::npos) {
    return false;
  }
  found.start = start;
  found.end = end;
  found.text = type;
  return true;
}

bool FindWildcard(std::string_view subject, std::string_view type, Extension& found) {
  Code::CheckRAR(subject, type, found.start, found.end);
  if (found.start > 0) found.text = Mid(subject, found.start, found.end - found.start + 1);
  return found.start > 0;
}

Extension FindExtension(std::string_view subject, const std::vector<std::string>& types) {
  Extension found;
  // The catalogue's order decides, not the place in the subject: "a.nfo.rar" is "a.nfo".
  for (const std::string& type : types) {
    found.type = type;
    if (IsWildcard(type) ? FindWildcard(subject, type, found) : FindPlain(subject, type, found)) {
      return found;
    }
  }
  Code::CheckNoExtension(subject, found.start, found.end);
  return found;
}

// Position of the nearest blank or double quote at or before `from`; 0 if there is none.
int WordBorder(std::string_view subject, int from) {
  int at = from;
  while (at > 0 && At(subject, at) != ' ' && At(subject, at) != '"') --at;
  return std::max(at, 0);
}

int StartOfName(std::string_view subject, const Extension& ext) {
  if (ext.end < Len(subject) && At(subject, ext.end + 1) == '"') {
    for (int at = ext.start - 1; at >= 1; --at) {
      if (At(subject, at) == '"') return at + 1;
    }
  }
  for (int at = ext.start - 1; at >= 1; --at) {
    if (At(subject, at) == '-' && At(subject, at + 1) == ' ') return at + 2;
  }
  int border = WordBorder(subject, ext.start - 1);
  // Fewer than four characters before the dot are taken for the end of a longer name.
  if (ext.start - border < 5) border = WordBorder(subject, border - 1);
  return border + 1;
}

// Position of the first `preferred` at or after `from`, of `other` only if there is none at all.
int FindBracket(std::string_view subject, int from, std::string_view preferred,
                std::string_view other) {
  const int at = InStr(from, subject, preferred);
  return at > 0 ? at : InStr(from, subject, other);
}

void FindPartNumbers(std::string_view subject, int from, BinaryPost& post) {
  const auto one_part = [&post] { post.part_no = post.total_parts = 1; };
  const int open = FindBracket(subject, from, "(", "[");
  if (open == 0) return one_part();
  const int close = FindBracket(subject, open, ")", "]");
  if (close == 0) return one_part();
  const int slash = InStr(open, subject, "/");
  if (slash == 0 || slash > close) return one_part();

  const std::string part = Mid(subject, open + 1, slash - open - 1);
  const std::string total = Mid(subject, slash + 1, close - slash - 1);
  // "(00/12)" is a post about the files, not a part of one.
  if (part.find_first_not_of('0') == std::string::npos) return;
  // A part that is not a number still gets the total.
  if (Val(part) == 0) {
    one_part();
  } else {
    post.part_no = ToInt32(Val(part));
  }
  if (Val(total) == 0) return one_part();
  post.total_parts = ToInt32(Val(total));
}

}  // namespace

BinaryPost ScanSubject(std::string_view subject, const std::vector<std::string>& types) {
  BinaryPost post;
  const Extension ext = FindExtension(subject, types);
  if (ext.start == 0) return post;
  if (SameText(ext.type, "r**") || SameText(ext.type, "s**")) {
    post.ext = "rar";
  } else if (SameText(ext.type, "p**")) {
    post.ext = "par";
  } else {
    // Other wildcards keep their dot and digits: ".x01".
    post.ext = Lowercase(ext.text);
  }
  const int start = StartOfName(subject, ext);
  post.name = Code::CleanFilename(Mid(subject, start, ext.end - start + 1));
  FindPartNumbers(subject, ext.end, post);
  return post;
}

namespace Code {

void ScanForBinaryPost(std::string_view subject, std::string& name, std::string& ext,
                       std::int32_t& partNo, std::int32_t& totalParts) {
  if (NeedToLoadTypes) LoadTypes();
  BinaryPost post = ScanSubject(subject, Types);
  name = std::move(post.name);
  ext = std::move(post.ext);
  partNo = post.part_no;
  totalParts = post.total_parts;
  Thread::Yield();
}

void CheckRAR(std::string_view subject, std::string_view type, int& extStart, int& extEnd) {
  // Only the last dot and letter count, and what follows the digits does not matter: ".r2345x" is a
  // hit.  "rar" is not, as no digit follows; its plain row comes first in the catalogue.
  extStart = InstrRev(subject, std::string(".").append(type.substr(0, 1)));
  if (extStart == 0) return;
  extEnd = extStart + 1;
  while (extEnd < Len(subject) && IsDigit(At(subject, extEnd + 1))) ++extEnd;
  if (extEnd == extStart + 1) extStart = 0;
}

void CheckNoExtension(std::string_view subject, int& extStart, int& extEnd) {
  static constexpr std::string_view kDelimiters = "\"'([ -:";
  const int length = Len(subject);
  for (const char* text : {".0", ".1", ".2", ".3", ".4", ".5", ".6", ".7", ".8", ".9"}) {
    extStart = InstrRev(subject, text);
    if (extStart == 0) continue;
    // If exactly one more character follows, whatever it is, it belongs to the extension; if none
    // follows ("x.1") there is no hit.
    extEnd = extStart + 2;
    if (extEnd == length) return;
    int at = extEnd;
    while (at <= length && IsDigit(At(subject, at))) ++at;
    extEnd = at - 1;
    if (at <= length && kDelimiters.find(At(subject, at)) != std::string_view::npos) return;
    if (at > length && at > extStart + 2) return;
  }
  extStart = extEnd = 0;
}

}  // namespace Code
}  // namespace gravlin
