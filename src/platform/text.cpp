// Text whose positions count from 1, and in which the case of ASCII letters is ignored.
#include "platform/text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstring>

namespace gravlin {
namespace {

constexpr std::size_t kNone = std::string_view::npos;

constexpr bool IsDigit(char c) { return c >= '0' && c <= '9'; }
constexpr char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }
constexpr char Upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; }

bool SameBytes(const char* a, const char* b, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    if (Lower(a[i]) != Lower(b[i])) return false;
  }
  return true;
}

// Positions are 32-bit; text beyond them is ignored.
std::string_view Addressable(std::string_view text) { return text.substr(0, INT_MAX); }

// Both cases of a letter are searched for in pieces of this size: a text without one of them would
// otherwise be read to its end for each occurrence of the other.
constexpr std::ptrdiff_t kWindow = 256;

const char* FindByte(const char* from, const char* end, char c) {
  const void* hit = std::memchr(from, c, static_cast<std::size_t>(end - from));
  return hit ? static_cast<const char*>(hit) : end;
}

// The first letter of that kind, in either case; `end` if there is none.
const char* FindFolded(const char* from, const char* end, char lower, char upper) {
  if (lower == upper) return FindByte(from, end, lower);
  while (from < end) {
    const char* const piece_end = from + std::min(kWindow, end - from);
    const char* hit = FindByte(from, piece_end, lower);
    hit = FindByte(from, hit, upper);
    if (hit != piece_end) return hit;
    from = piece_end;
  }
  return end;
}

// Index of the first `find` at or after `from`.
std::size_t Find(std::string_view text, std::string_view find, std::size_t from) {
  if (find.empty()) return from <= text.size() ? from : kNone;
  if (text.size() < find.size() || from > text.size() - find.size()) return kNone;
  const char* const end = text.data() + (text.size() - find.size()) + 1;
  const char lower = Lower(find.front());
  const char upper = Upper(find.front());
  for (const char* at = text.data() + from;; ++at) {
    at = FindFolded(at, end, lower, upper);
    if (at == end) return kNone;
    if (SameBytes(at + 1, find.data() + 1, find.size() - 1)) {
      return static_cast<std::size_t>(at - text.data());
    }
  }
}

}  // namespace

int InStr(int start, std::string_view text, std::string_view find) {
  const std::size_t from = start < 1 ? 0 : static_cast<std::size_t>(start) - 1;
  const std::size_t at = Find(Addressable(text), find, from);
  return at == kNone ? 0 : static_cast<int>(at) + 1;
}

int InStr(std::string_view text, std::string_view find) { return InStr(1, text, find); }

int LastInStr(std::string_view text, std::string_view find) {
  text = Addressable(text);
  if (text.empty() || text.size() < find.size()) return 0;
  if (find.empty()) return static_cast<int>(text.size());
  const char lower = Lower(find.front());
  for (std::size_t at = text.size() - find.size() + 1; at > 0; --at) {
    const char* here = text.data() + at - 1;
    if (Lower(*here) == lower && SameBytes(here + 1, find.data() + 1, find.size() - 1)) {
      return static_cast<int>(at);
    }
  }
  return 0;
}

std::string Mid(std::string_view text, int start, int count) {
  const std::size_t from = start < 1 ? 0 : static_cast<std::size_t>(start) - 1;
  if (count <= 0 || from >= text.size()) return {};
  return std::string(text.substr(from, static_cast<std::size_t>(count)));
}

std::string Mid(std::string_view text, int start) { return Mid(text, start, INT_MAX); }

std::string Left(std::string_view text, int count) { return Mid(text, 1, count); }

std::string Right(std::string_view text, int count) {
  if (count <= 0) return {};
  const std::size_t wanted = std::min(text.size(), static_cast<std::size_t>(count));
  return std::string(text.substr(text.size() - wanted));
}

int Len(std::string_view text) { return static_cast<int>(Addressable(text).size()); }

double Val(std::string_view text) {
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  // from_chars alone would accept a second sign, "inf" and "nan".
  const bool number = !text.empty() &&
                      (IsDigit(text[0]) || (text[0] == '.' && text.size() > 1 && IsDigit(text[1])));
  if (!number) return 0;
  double value = 0;
  const auto [end, error] =
      std::from_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed);
  if (error == std::errc::result_out_of_range) value = HUGE_VAL;
  return negative ? -value : value;
}

std::int32_t ToInt32(double value) {
  if (!std::isfinite(value)) return 0;
  // Exact for every finite double; a cast of a value that does not fit would be undefined.
  const double wrapped = std::fmod(std::trunc(value), 4294967296.0);
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(static_cast<std::int64_t>(wrapped)));
}

namespace {

struct Picture {
  std::size_t whole_zeros = 0;     // digits always shown before the point
  std::size_t fraction_zeros = 0;  // digits always shown after it
  std::size_t fraction = 0;        // most digits shown after it
  bool groups = false;
  bool point = false;
};

Picture ReadPicture(std::string_view text) {
  Picture picture;
  for (const char c : text) {
    if (c == '.') picture.point = true;
    if (c == ',' && !picture.point) picture.groups = true;
    if (c == '0' && !picture.point) ++picture.whole_zeros;
    if (c == '#' && !picture.point && picture.whole_zeros > 0) ++picture.whole_zeros;
    if ((c == '0' || c == '#') && picture.point) ++picture.fraction;
    if (c == '0' && picture.point) picture.fraction_zeros = picture.fraction;
  }
  return picture;
}

// The digits of the rounded value without a point; empty for 0.
std::string Digits(double value, std::size_t fraction) {
  const double scaled = std::round(value * std::pow(10.0, static_cast<double>(fraction)));
  if (scaled == 0 || !std::isfinite(scaled)) return {};
  std::array<char, 400> text;
  const auto result =
      std::to_chars(text.data(), text.data() + text.size(), scaled, std::chars_format::fixed, 0);
  return {text.data(), result.ptr};
}

}  // namespace

std::string Format(double value, std::string_view picture_text) {
  const Picture picture = ReadPicture(picture_text);
  std::string digits = Digits(std::fabs(value), picture.fraction);
  const bool negative = value < 0 && !digits.empty();
  if (digits.size() < picture.fraction) digits.insert(0, picture.fraction - digits.size(), '0');
  std::string whole = digits.substr(0, digits.size() - picture.fraction);
  std::string fraction = digits.substr(whole.size());
  while (fraction.size() > picture.fraction_zeros && fraction.back() == '0') fraction.pop_back();
  if (whole.size() < picture.whole_zeros) whole.insert(0, picture.whole_zeros - whole.size(), '0');
  if (picture.groups) {
    for (std::size_t at = whole.size(); at > 3; at -= 3) whole.insert(at - 3, 1, ',');
  }
  std::string result = negative ? "-" : "";
  result += whole;
  if (!fraction.empty()) result += "." + fraction;
  return result;
}

std::string HoursMinutesSeconds(std::int64_t seconds) {
  const auto two_digits = [](std::int64_t value) {
    return Format(static_cast<double>(value), "00");
  };
  return two_digits(seconds / 3600) + ":" + two_digits(seconds % 3600 / 60) + ":" +
         two_digits(seconds % 60);
}

std::string Str(std::int64_t value) { return std::to_string(value); }

bool SameText(std::string_view a, std::string_view b) {
  return a.size() == b.size() && SameBytes(a.data(), b.data(), a.size());
}

bool BeginsWith(std::string_view text, std::string_view beginning) {
  return SameText(text.substr(0, beginning.size()), beginning);
}

bool EndsWith(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && SameText(text.substr(text.size() - end.size()), end);
}

int CompareText(std::string_view a, std::string_view b) {
  const std::size_t common = std::min(a.size(), b.size());
  for (std::size_t i = 0; i < common; ++i) {
    const auto left = static_cast<unsigned char>(Lower(a[i]));
    const auto right = static_cast<unsigned char>(Lower(b[i]));
    if (left != right) return left < right ? -1 : 1;
  }
  return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

std::string ReplaceAll(std::string_view text, std::string_view find, std::string_view with) {
  std::string result;
  if (find.empty()) return std::string(text);
  std::size_t copied = 0;
  for (std::size_t at = Find(text, find, 0); at != kNone; at = Find(text, find, copied)) {
    result.append(text, copied, at - copied).append(with);
    copied = at + find.size();
  }
  return result.append(text, copied);
}

std::string Lowercase(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), Lower);
  return result;
}

std::string Trim(std::string_view text) {
  const std::size_t first = text.find_first_not_of(' ');
  if (first == kNone) return {};
  return std::string(text.substr(first, text.find_last_not_of(' ') - first + 1));
}

std::vector<std::string> Split(std::string_view text, std::string_view separator) {
  std::vector<std::string> pieces;
  if (text.empty()) return pieces;
  std::size_t from = 0;
  if (!separator.empty()) {
    for (std::size_t at = Find(text, separator, 0); at != kNone; at = Find(text, separator, from)) {
      pieces.emplace_back(text.substr(from, at - from));
      from = at + separator.size();
    }
  }
  pieces.emplace_back(text.substr(from));
  return pieces;
}

}  // namespace gravlin
