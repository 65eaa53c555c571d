// The diagnostics log: one line for each step of the engine, written at once.
#include "base/code.h"
#include "engine/engine.h"
#include "platform/streams.h"
#include "platform/text.h"

namespace gravlin {

// The file is opened and closed around each line, so that whatever has been written lies on disk
// when the program dies.
void Engine::WriteDebug(std::string_view label, std::string_view text) {
  if (!Code::DebugOn || DebugFile.IsNil()) return;
  const Date now;
  const auto stream = DebugFile.AppendToTextFile();
  if (!stream) return;
  std::string line = now.LongTime() + " - ";
  line.append(label).append(": ").append(text).append(Code::CRLF);
  stream->Write(line);
  stream->Close();
}

void Engine::StartDebugMode() {
  DebugFile = Code::AppDataFolder.Child("Gravlin_Debug..txt");
  if (const auto emptied = DebugFile.CreateTextFile()) emptied->Close();
  WriteDebug("StartDebugMode", Code::DebugName);
}

}  // namespace gravlin
