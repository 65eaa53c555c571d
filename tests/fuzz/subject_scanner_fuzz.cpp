// Any text as a subject, its first line as one more entry of the catalogue.
#include <cstdlib>
#include <string_view>

#include "nzb/subject_scanner.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const std::size_t end = std::min(text.find('\n'), text.size());
  std::vector<std::string> types = {"par", "rar", "r**", "x**"};
  if (end > 0) types.emplace_back(text.substr(0, end));
  const gravlin::BinaryPost post = gravlin::ScanSubject(text.substr(end), types);
  if (post.name.size() > 240 || post.name.find_first_of("/\"'\\:") != std::string::npos)
    std::abort();
  return 0;
}
