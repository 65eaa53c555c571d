// Decodes Base64 text, whatever is between its letters.
#include "decode/base64_stream.h"

#include <array>

namespace gravlin {
namespace {

constexpr signed char kNone = -1;
constexpr signed char kPadding = -2;

constexpr std::array<signed char, 256> MakeValues() {
  std::array<signed char, 256> values{};
  values.fill(kNone);
  constexpr std::string_view kAlphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  for (std::size_t i = 0; i < kAlphabet.size(); ++i) {
    values[static_cast<unsigned char>(kAlphabet[i])] = static_cast<signed char>(i);
  }
  values['='] = kPadding;
  return values;
}

constexpr std::array<signed char, 256> kValues = MakeValues();

}  // namespace

std::string Base64Stream::Decode(std::string_view text) {
  std::string decoded;
  decoded.reserve(text.size() / 4 * 3 + 3);
  for (const char c : text) {
    const signed char value = kValues[static_cast<unsigned char>(c)];
    if (value >= 0) {
      bits_ = bits_ << 6 | static_cast<unsigned>(value);
      if (++characters_ == 4) EndGroup(decoded);
    } else if (value == kPadding) {
      EndGroup(decoded);
    }
  }
  return decoded;
}

std::string Base64Stream::FinishDecoding() {
  std::string decoded;
  EndGroup(decoded);
  return decoded;
}

// Two characters give one byte, three give two, four give three; one alone gives none.
void Base64Stream::EndGroup(std::string& to) {
  const unsigned group = bits_ << 6 * (4 - characters_);
  for (int i = 0; i < characters_ - 1; ++i) to += static_cast<char>(group >> (16 - 8 * i) & 0xff);
  bits_ = 0;
  characters_ = 0;
}

}  // namespace gravlin
