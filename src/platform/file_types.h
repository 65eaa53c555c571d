// The kinds of files that dialogs and drop targets know by name.
#pragma once

#include <string_view>

namespace gravlin {

struct FileType {
  std::string_view Name;
  std::string_view Extensions;  // between semicolons, with or without a dot; none means any
  std::string_view MacType, MacCreator;
};

namespace FileTypes {
inline constexpr FileType pTextPlain{"text/plain", ".asc;.ascii;.text;.txt", "TEXT", "text"};
inline constexpr FileType pText{"text", ".asc;.ascii;.text;.txt", "TEXT", "text"};
inline constexpr FileType pImageGif{"image/gif", ".gif", "????", "prvw"};
inline constexpr FileType pImageJpeg{"image/jpeg", ".jpe;.jpeg;.jpg", "????", "prvw"};
inline constexpr FileType pRar{"rar", "rar", "", ""};
inline constexpr FileType pPar{"par", "par;p0*;par2", "????", "????"};
inline constexpr FileType pSpecialAny{"special/any", "", "????", "????"};
inline constexpr FileType pNZB{"nzb", ".nzb", "????", "????"};

inline constexpr const FileType* kRegistered[] = {&pTextPlain, &pText, &pImageGif,   &pImageJpeg,
                                                  &pRar,       &pPar,  &pSpecialAny, &pNZB};
}  // namespace FileTypes

}  // namespace gravlin
