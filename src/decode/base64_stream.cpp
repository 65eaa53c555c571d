// Decodes Base64 lines, whatever is between them.
#include "decode/base64_stream.h"

#include <algorithm>
#include <array>

namespace gravlin {
namespace {

constexpr std::size_t kLongestUnknown = 64 * 1024;
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

signed char ValueOf(char c) { return kValues[static_cast<unsigned char>(c)]; }
bool IsData(char c) { return ValueOf(c) != kNone; }

}  // namespace

std::string Base64Stream::Decode(std::string_view text) {
  std::string decoded;
  decoded.reserve((line_.size() + text.size()) / 4 * 3 + 3);
  for (const char c : text) {
    const bool second_of_end = c == '\n' && last_ == '\r';
    last_ = c;
    if (c == '\n' || c == '\r') {
      if (!second_of_end) EndLine(decoded);
    } else if (kind_ == Line::kData) {
      Take(c, decoded);
    } else if (kind_ == Line::kUnknown) {
      line_ += c;
      if (line_.size() == kLongestUnknown) Judge(decoded);
    }
  }
  return decoded;
}

std::string Base64Stream::FinishDecoding() {
  std::string decoded;
  EndLine(decoded);
  EndGroup(decoded);
  return decoded;
}

void Base64Stream::Judge(std::string& to) {
  line_.resize(line_.find_last_not_of(" \t") + 1);
  const bool data = std::all_of(line_.begin(), line_.end(), IsData) && !IsWord();
  kind_ = data ? Line::kData : Line::kOther;
  if (data) {
    for (const char c : line_) Take(c, to);
    widest_ = std::max(widest_, line_.size());
  }
  in_run_ = data && !line_.empty() && !line_.ends_with('=');
  line_.clear();
}

bool Base64Stream::IsWord() const {
  const bool closes =
      line_.ends_with('=') || (static_cast<std::size_t>(characters_) + line_.size()) % 4 == 0;
  return !in_run_ && !closes && line_.size() < widest_ / 2;
}

void Base64Stream::EndLine(std::string& to) {
  if (kind_ == Line::kUnknown) Judge(to);
  kind_ = Line::kUnknown;
}

void Base64Stream::Take(char c, std::string& to) {
  const signed char value = ValueOf(c);
  if (value >= 0) {
    bits_ = bits_ << 6 | static_cast<unsigned>(value);
    if (++characters_ == 4) EndGroup(to);
  } else if (value == kPadding) {
    EndGroup(to);
  }
}

// Two characters give one byte, three give two, four give three; one alone gives none.
void Base64Stream::EndGroup(std::string& to) {
  const unsigned group = bits_ << 6 * (4 - characters_);
  for (int i = 0; i < characters_ - 1; ++i) to += static_cast<char>(group >> (16 - 8 * i) & 0xff);
  bits_ = 0;
  characters_ = 0;
}

}  // namespace gravlin
