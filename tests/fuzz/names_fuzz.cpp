// The text helpers, compared with their contracts and with simple ways to the same results.
#include <cstdlib>
#include <string_view>

#include "nzb/names.h"
#include "platform/text.h"

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

// A slow search; the fast ones must give the same.
int PlainInStr(std::size_t start, std::string_view text, std::string_view find) {
  for (std::size_t at = start - 1; at + find.size() <= text.size(); ++at) {
    if (gravlin::SameText(text.substr(at, find.size()), find)) return static_cast<int>(at) + 1;
  }
  return 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  using namespace gravlin;
  if (size < 2) return 0;
  const std::string_view all(reinterpret_cast<const char*>(data) + 1, size - 1);
  const std::string_view find = all.substr(0, data[0] % 8u);
  const std::string_view text = all.substr(find.size());

  Require(Code::CleanFilename(text).size() <= 240);
  Require(Code::BadSQLChar(Code::CleanSQLString(text)).empty());
  Require(Code::RemoveXMLEscapeSequences(text).size() <= text.size());
  if (find.empty()) return 0;
  int last = 0;
  for (int at = InStr(text, find); at > 0; at = InStr(at + 1, text, find)) {
    Require(at == PlainInStr(static_cast<std::size_t>(last) + 1, text, find));
    last = at;
  }
  Require(PlainInStr(static_cast<std::size_t>(last) + 1, text, find) == 0);
  Require(last == Code::InstrRev(text, find));
  Require(InStr(ReplaceAll(text, find, "\x01"), find) == 0 || find.find('\x01') != find.npos ||
          find.size() > 1);
  const double value = Val(text);
  ToInt32(value);
  Format(value, find);
  return 0;
}
