// The output of par2 and unrar, read in any state of the parsers.
#include <cstdlib>

#include "nzb/names.h"
#include "platform/failures.h"
#include "support/lines.h"
#include "support/tool_views.h"

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  std::vector<std::string> lines;
  std::string mode = "start";
  gravlin::RarReading reading;
  gravlin::testing::ToolViews par, rar;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  for (const std::string& line : gravlin::testing::LinesOf(text)) {
    lines.push_back(line);
    gravlin::ReadPar2Line(line, mode, par);
    gravlin::ReadUnrarLine(line, line.size() % 7 != 0, reading, rar);
    Require(reading.RarComment.empty() || reading.RarComment.back() == '\r');
    gravlin::FindUnrarEnding(lines);
    try {
      gravlin::FindPar2Ending(lines);
    } catch (const gravlin::OutOfBoundsException&) {
      Require(lines.size() == 1 && lines[0].empty());
    }
  }
  for (const std::string& name : par.archives) Require(gravlin::Code::IsFirstVolume(name));
  for (const std::string& comment : rar.comments) Require(comment.size() > 2);
  for (const auto* names : {&rar.volumes, &rar.files})
    for (const std::string& name : *names) Require(name.find('/') == std::string::npos);
  return 0;
}
