// Any text as an article: the kept part is inside it, and decoding gives no more than was there.
#include <cstdlib>
#include <string>
#include <string_view>

#include "decode/base64_stream.h"
#include "decode/encodings.h"
#include "decode/uu_coder_stream.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  using namespace gravlin;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto within = [text](std::string_view part) {
    return part.empty() ||
           (part.data() >= text.data() && part.data() + part.size() <= text.data() + text.size());
  };
  Code::DetermineEncoding(text);
  const std::string_view base64 = Code::StripBase64(text);
  if (!within(base64) || !within(Code::StripUU(text))) std::abort();
  if (text.find(Code::ExtractFilenameFromBody(text)) == std::string_view::npos) std::abort();

  Base64Stream stream;
  std::string decoded;
  for (std::size_t at = 0; at < base64.size(); at += 7)
    decoded += stream.Decode(base64.substr(at, 7));
  decoded += stream.FinishDecoding();
  Base64Stream whole;
  const std::string at_once = whole.Decode(base64);
  if (decoded != at_once + whole.FinishDecoding()) std::abort();

  UUDecoder uu;
  std::string bytes;
  for (std::size_t from = 0; from < text.size();) {
    const std::size_t end = std::min(text.find('\n', from), text.size());
    uu.ReadLine(text.substr(from, end - from), bytes);
    from = end + 1;
  }
  if (bytes.size() > 63 * (text.size() / 2 + 1)) std::abort();
  return 0;
}
