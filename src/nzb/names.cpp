// Removes, cuts and unescapes parts of names that come from outside.
#include "nzb/names.h"

#include <algorithm>
#include <array>
#include <utility>

#include "base/code.h"
#include "platform/text.h"
#include "store/database.h"

namespace gravlin::Code {
namespace {

constexpr std::array<std::string_view, 5> kBadInSql = {"|", "[", "]", "\"", "'"};
constexpr int kLongestSqlText = 9999;
constexpr int kLongestShellPath = 999;

std::string KeepRight(std::string name, int limit) {
  if (Len(name) <= limit) return name;
  name = Right(name, limit);
  std::size_t cut = 0;
  // Leading continuation bytes belong to a character whose first byte was cut off; there are three
  // at most.
  while (cut < 3 && cut < name.size() && (static_cast<unsigned char>(name[cut]) & 0xC0) == 0x80) {
    ++cut;
  }
  return name.substr(cut);
}

std::string FixedPath(const FolderItem& item, const std::string& name) {
  const std::string path = item.AbsolutePath();
  const std::string rest = Mid(path, InStr(path, ":") + 1, kLongestShellPath);
  return Left(rest, InstrRev(rest, ":")) + ReplaceAll(name, ":", "/");
}

}  // namespace

std::string CleanFilename(std::string_view name) {
  std::string result(name);
  // Dots that meet when the characters after ".." in this list are removed stay.
  for (const std::string_view bad :
       {":", "'", "\\", "/", ",", "..", ";", "\"", "<", ">", "|", "\r"}) {
    if (result.find(bad) != std::string::npos) result = ReplaceAll(result, bad, "");
  }
  // In bytes: a part's name adds eleven, and a file system takes 255.
  return Trim(KeepRight(std::move(result), MaxFileLength));
}

std::string CleanSQLString(std::string_view text) {
  std::string result(text);
  bool changed = true;
  while (changed) {
    changed = false;
    for (const std::string_view bad : kBadInSql) {
      const int at = InStr(result, bad);
      if (at == 0) continue;
      // Each side is cut to that length, but only when a character is removed.
      result =
          Mid(result, 1, std::min(at - 1, kLongestSqlText)) + Mid(result, at + 1, kLongestSqlText);
      changed = true;
    }
  }
  result.erase(0, result.find_first_not_of(' '));
  return result;
}

std::string BadSQLChar(std::string_view text) {
  for (const std::string_view bad : kBadInSql) {
    if (InStr(text, bad) > 0) return std::string(bad);
  }
  return {};
}

std::string FixNZBFilename(std::string_view name) {
  Database db(fGlobalDB);
  return db.Connect() ? FixNZBFilename(db, name) : std::string();
}

std::string FixNZBFilename(Database& committed, std::string_view name) {
  std::string result = CleanSQLString(CleanFilename(name));
  const auto rows =
      committed.SQLSelect("Select Filename from NZBFiles where Filename='" + result + "'");
  if (rows && !rows->EndOfFile()) {
    ++UnknownNZBFileNo;
    result += ".Gravlin-DUPE" + Format(UnknownNZBFileNo, "0000");
  }
  return result;
}

std::string RemoveXMLEscapeSequences(std::string_view text) {
  static constexpr std::pair<std::string_view, std::string_view> kEscapes[] = {
      {"&amp;", "&"},  {"&lt;", "<"},   {"&gt;", ">"},   {"&apos;", "'"}, {"&quot;", "\""},
      {"&#38;", "&"},  {"&#60;", "<"},  {"&#62;", ">"},  {"&#39;", "'"},  {"&#34;", "\""},
      {"&#x26;", "&"}, {"&#x3C;", "<"}, {"&#x3E;", ">"}, {"&#x27;", "'"}, {"&#x22;", "\""},
  };
  std::string result(text);
  if (text.find('&') == std::string_view::npos) return result;
  for (const auto& [escape, character] : kEscapes) {
    if (InStr(result, escape) > 0) result = ReplaceAll(result, escape, character);
  }
  return result;
}

bool IsFirstVolume(std::string_view name) {
  return EndsWith(name, "part1.rar") || EndsWith(name, "part01.rar") ||
         EndsWith(name, "part001.rar") || (EndsWith(name, ".rar") && InStr(name, ".part") == 0);
}

std::int32_t InstrRev(std::string_view text, std::string_view find) {
  return LastInStr(text, find);
}

std::string GetFixedPath(const FolderItem& item) { return FixedPath(item, item.Name()); }

std::string GetFixedPath2(const FolderItem& item) { return FixedPath(item, item.DisplayName()); }

}  // namespace gravlin::Code
