// Any text in two pieces, cut where the first byte says: every kernel gives the bytes of the plain
// one.
#include <cstdlib>
#include <vector>

#include "decode/yenc.h"

namespace {

using gravlin::YencDecoder;

std::vector<std::uint8_t> Decode(std::span<const std::uint8_t> text, std::size_t cut,
                                 YencDecoder::Kernel kernel) {
  YencDecoder decoder(kernel);
  std::vector<std::uint8_t> out(text.size() + YencDecoder::kSlack);
  std::size_t size = decoder.Decode(text.first(cut), out.data());
  size += decoder.Decode(text.subspan(cut), out.data() + size);
  out.resize(size);
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  if (size == 0) return 0;
  const std::span<const std::uint8_t> text(data + 1, size - 1);
  const auto expected = Decode(text, 0, YencDecoder::Kernel::kPlain);
  for (const auto kernel : {YencDecoder::Kernel::kPlain, YencDecoder::Kernel::kVector})
    if (Decode(text, data[0] % (text.size() + 1), kernel) != expected) std::abort();
  return 0;
}
