// The lines that a tool has written since the last look at its output.
#include "postprocess/output_file.h"

#include <cstdint>
#include <memory>

#include "platform/streams.h"
#include "platform/thread.h"

namespace gravlin {

bool ReadNewLines(const FolderItem& file, double& position, std::vector<std::string>& lines) {
  const std::unique_ptr<TextInputStream> stream = file.OpenAsTextFile();
  if (!stream) return false;
  stream->SetPositionB(static_cast<std::int64_t>(position));
  while (!stream->EndOfFile()) {
    lines.push_back(stream->ReadLine());
    Thread::Yield();
  }
  position = static_cast<double>(stream->PositionB());
  stream->Close();
  return true;
}

}  // namespace gravlin
