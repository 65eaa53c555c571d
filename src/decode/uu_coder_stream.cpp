// Decodes UU lines, with the length that each line gives.
#include "decode/uu_coder_stream.h"

#include <algorithm>

#include "platform/failures.h"
#include "platform/text.h"

namespace gravlin {
namespace {

constexpr std::size_t kPiece = 64 * 1024;

bool IsCode(char c) { return c >= ' ' && c <= '`'; }
unsigned Value(char c) { return (static_cast<unsigned char>(c) - 32u) & 63u; }

// Characters after the count.
std::size_t Demanded(std::size_t count) { return (count + 2) / 3 * 4; }

bool IsBegin(std::string_view line) {
  return SameText(line.substr(0, 6), "begin ") && Val(line.substr(6, 3)) > 0;
}

// The line as it was posted.  The wire doubles every leading dot, so that two dots stand for one;
// only a line that is whole as it is (its count, 20 characters, a zero to fill the last group) came
// without that.
std::string_view WithoutWireDot(std::string_view line) {
  const bool whole = line.size() == 1 + Demanded(Value('.')) && Value(line.back()) == 0;
  return line.starts_with("..") && !whole ? line.substr(1) : line;
}

// Decodes `count` bytes; what the line lacks is blank.
void AppendBytes(std::string_view codes, std::size_t count, std::string& to) {
  const auto value = [codes](std::size_t i) { return i < codes.size() ? Value(codes[i]) : 0u; };
  for (std::size_t i = 0; count > 0; i += 4) {
    const unsigned bits = value(i) << 18 | value(i + 1) << 12 | value(i + 2) << 6 | value(i + 3);
    for (int shift = 16; shift >= 0 && count > 0; shift -= 8, --count) {
      to += static_cast<char>(bits >> shift & 0xff);
    }
  }
}

}  // namespace

UUCoderStream::UUCoderStream(const FolderItem& source)
    : source_bytes_(source.Length()), source_(source.OpenAsTextFile()) {
  if (!source_) throw NilObjectException();
}

bool UUCoderStream::EndOfFile() { return source_->EndOfFile(); }

std::string UUCoderStream::Read() {
  std::string line, decoded;
  while (decoded.size() < kPiece && !source_->EndOfFile()) {
    source_->ReadLine(line);
    decoder_.ReadLine(line, decoded);
  }
  return decoded;
}

bool UUCoderStream::Close() {
  const bool whole = source_->PositionB() == source_bytes_;
  source_->Close();
  return whole;
}

void UUDecoder::ReadLine(std::string_view line, std::string& to) {
  if (IsBegin(line)) {
    in_block_ = true;
    full_count_ = 0;
    doubtful_.clear();
  } else if (in_block_) {
    ReadData(WithoutWireDot(line), to);
  }
}

void UUDecoder::ReadData(std::string_view line, std::string& to) {
  const std::string_view text = line.substr(0, line.find_last_not_of(" \t") + 1);
  if (text.empty()) return;
  const std::size_t count = Value(text[0]);
  const bool end = text == "end";
  if (end || (count == 0 && text.size() == 1)) {
    to += doubtful_;
    if (end) in_block_ = false;
  }
  doubtful_.clear();
  if (end || count == 0 || !IsCode(text[0])) return;

  const std::size_t demanded = Demanded(count);
  const std::string_view codes = line.substr(1, demanded);
  if (!std::all_of(codes.begin(), codes.end(), IsCode)) return;
  if (full_count_ == 0) full_count_ = count;
  // A line of prose may look like data, but hardly ever has the length that its first letter gives.
  const std::size_t given = line.size() - 1;
  const bool exact = given == demanded || given == demanded + 1 || given == (count * 4 + 2) / 3 ||
                     text.size() == 1 + demanded;
  if (exact || count == full_count_) {
    AppendBytes(codes, count, to);
  } else if (given < demanded) {
    AppendBytes(codes, count, doubtful_);
  }
}

}  // namespace gravlin
