// The lines that a tool has written since the last look at its output.
#include "postprocess/output_file.h"

#include <cstdint>
#include <memory>

#include "platform/streams.h"
#include "platform/thread.h"

namespace gravlin {

bool ReadNewLines(const FolderItem& file, double& position, std::vector<std::string>& lines,
                  bool* whole) {
  const std::unique_ptr<TextInputStream> stream = file.OpenAsTextFile();
  if (!stream) return false;
  stream->SetPositionB(static_cast<std::int64_t>(position));
  while (!stream->EndOfFile()) {
    const std::int64_t begin = stream->PositionB();
    lines.push_back(stream->ReadLine());
    *whole = stream->PositionB() > begin + static_cast<std::int64_t>(lines.back().size());
    Thread::Yield();
  }
  position = static_cast<double>(stream->PositionB());
  stream->Close();
  return true;
}

}  // namespace gravlin
