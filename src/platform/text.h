// Text as the program sees it: strings of bytes, UTF-8 where they are shown, positions counted from
// 1, letter case folded for ASCII only.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace gravlin {

// Position of the first `find` in `text` at or after `start`, 0 if there is none.  Case of ASCII
// letters is ignored.  A start below 1 means the beginning; an empty `find` is found at the start.
int InStr(int start, std::string_view text, std::string_view find);
int InStr(std::string_view text, std::string_view find);

// Position of the last `find` in `text`, case ignored; 0 if there is none.
int LastInStr(std::string_view text, std::string_view find);

// Up to `count` bytes from position `start` (a start below 1 counts as 1); empty when there is
// nothing there or `count` is not positive.
std::string Mid(std::string_view text, int start, int count);
std::string Mid(std::string_view text, int start);
std::string Left(std::string_view text, int count);
std::string Right(std::string_view text, int count);
int Len(std::string_view text);

// The number that `text` begins with: an optional sign, digits and a point.  No exponent, no
// leading blanks; 0 if it begins with none.
double Val(std::string_view text);

// Cuts the fraction off and wraps into 32 bits, as the program's integers do.  NaN and infinities
// give 0.
std::int32_t ToInt32(double value);

// Formats with a picture: `0` a digit always shown, `#` a digit shown when there is one, `,`
// between digits for groups of three, `.` for the decimal point.  0 in a picture without `0` is
// empty text.
std::string Format(double value, std::string_view picture);
// "01:02:03"; hours may have more digits.
std::string HoursMinutesSeconds(std::int64_t seconds);

// Plain decimal text of an integer.
std::string Str(std::int64_t value);

// Equality that ignores the case of ASCII letters.
bool SameText(std::string_view a, std::string_view b);
bool BeginsWith(std::string_view text, std::string_view beginning);
bool EndsWith(std::string_view text, std::string_view end);
// Three-way comparison of the same kind, for sorting: negative, 0 or positive.
int CompareText(std::string_view a, std::string_view b);

// Every occurrence of `find` (case ignored, none overlapping) replaced in one pass.
std::string ReplaceAll(std::string_view text, std::string_view find, std::string_view with);

std::string Lowercase(std::string_view text);
// Cuts blanks (character 32 only) off both ends.
std::string Trim(std::string_view text);
// The pieces between separators; an empty text has no pieces.
std::vector<std::string> Split(std::string_view text, std::string_view separator);

}  // namespace gravlin
