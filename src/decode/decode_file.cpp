// One pass of the decoder from file to file; runs off the main thread.
#include "decode/decode_file.h"

#include <vector>

#include "decode/base64_stream.h"
#include "decode/uu_coder_stream.h"
#include "decode/yenc.h"
#include "platform/failures.h"
#include "platform/streams.h"
#include "platform/thread.h"

namespace gravlin {
namespace {

constexpr std::size_t kWorkBlock = 4096;
constexpr std::size_t kBase64Piece = 5000;

bool DecodeUUFile(const FolderItem& source, const FolderItem& target) {
  UUCoderStream coder(source);
  LongBinaryStream output(target, true, kWorkBlock);
  while (!coder.EndOfFile()) {
    if (Thread::Ending() || !output.Write(coder.Read())) return false;
  }
  return coder.Close() && output.Close();
}

bool DecodeBase64File(const FolderItem& source, const FolderItem& target) {
  LongBinaryStream input(source, false, kWorkBlock);
  LongBinaryStream output(target, true, kWorkBlock);
  Base64Stream coder;
  std::vector<char> piece(kBase64Piece);
  while (const std::size_t count = input.Read(piece.data(), piece.size())) {
    if (Thread::Ending() || !output.Write(coder.Decode({piece.data(), count}))) return false;
  }
  return output.Write(coder.FinishDecoding()) && input.Close() && output.Close();
}

}  // namespace

bool DecodeFile(std::string_view encoding, const FolderItem& source, const FolderItem& target) {
  try {
    if (encoding == "yEnc") return Code::DecodeYencFile(source, target) >= 0;
    if (encoding == "UU") return DecodeUUFile(source, target);
    return encoding == "Base64" && DecodeBase64File(source, target);
  } catch (const NilObjectException&) {
    return false;
  }
}

}  // namespace gravlin
