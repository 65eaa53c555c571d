// Any bytes as an NZB file: reading ends, or waits inside the groups.
#include <cstdlib>
#include <string_view>

#include "nzb/nzb_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  using gravlin::NzbEvent;
  std::string_view text(reinterpret_cast<const char*>(data), size);
  gravlin::NzbReader reader;
  int after_the_end = 0;
  do {
    const std::size_t end = std::min(text.find_first_of("\r\n"), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (line.empty() && text.empty() && ++after_the_end > 3) std::abort();
    switch (reader.Take(line, text.empty())) {
      case NzbEvent::kNothing:
      case NzbEvent::kSubject:
        break;
      case NzbEvent::kFile:
        if (reader.File().part_count < 1 || reader.InsideFile()) std::abort();
        break;
      case NzbEvent::kEmptyFile:
        return 0;
      case NzbEvent::kFailure:
        if (gravlin::MessageOf(reader.Failure()).empty()) std::abort();
        return 0;
    }
    if (text.empty() && reader.InsideGroups()) return 0;
  } while (reader.InsideFile() || !text.empty());
  return 0;
}
