// yEnc from file to file: finds the blocks, decodes what lies between, reports what cannot be
// written.
#include "decode/yenc.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string_view>

#include "platform/failures.h"
#include "platform/streams.h"
#include "platform/thread.h"
#include "platform/write_behind.h"

namespace gravlin {
namespace {

constexpr std::uint8_t kLineFeed = 10;
constexpr std::uint8_t kCarriageReturn = 13;
constexpr std::string_view kBegin = "=ybegin";
constexpr std::string_view kEnd = "=yend";

// So large that waking the writer for a block costs little compared with writing it.
constexpr std::size_t kBlock = 2 * 1024 * 1024;
// Bytes that are decoded one by one before the fast way is tried again.
constexpr std::ptrdiff_t kStretch = 64;

constexpr std::uint8_t Lower(std::uint8_t c) {
  return c >= 'A' && c <= 'Z' ? static_cast<std::uint8_t>(c + 32) : c;
}

}  // namespace

bool YencDecoder::LineIsBegin() const {
  return line_length_ == kMarkLength &&
         std::equal(kBegin.begin(), kBegin.end(), line_.begin(),
                    [](char mark, std::uint8_t c) { return mark == static_cast<char>(Lower(c)); });
}

std::size_t YencDecoder::Decode(std::span<const std::uint8_t> piece, std::uint8_t* out) {
  const std::uint8_t* at = piece.data();
  const std::uint8_t* const end = at + piece.size();
  std::uint8_t* to = out;
  if (at_start_) at = ReadStart(at, end);
  while (at != end) {
    switch (state_) {
      case State::kOutside:
        at = ReadOutside(at, end);
        break;
      case State::kControlLine:
        at = ReadControlLine(at, end);
        break;
      default:
        at = ReadData(piece.data(), at, end, to);
    }
  }
  return static_cast<std::size_t>(to - out);
}

// The first line has no CR in front of it, so its mark is looked for among the first seven bytes.
const std::uint8_t* YencDecoder::ReadStart(const std::uint8_t* at, const std::uint8_t* end) {
  while (at != end && at_start_) {
    previous_ = *at++;
    if (previous_ == kCarriageReturn) {
      // A short first line keeps its text, and so hides a mark on the second line, unless it is
      // empty.
      at_start_ = false;
    } else {
      line_[line_length_++] = previous_;
      at_start_ = line_length_ < kMarkLength;
    }
  }
  if (LineIsBegin()) {
    state_ = State::kControlLine;
    line_length_ = 0;
  }
  return at;
}

const std::uint8_t* YencDecoder::ReadOutside(const std::uint8_t* at, const std::uint8_t* end) {
  while (at != end && state_ == State::kOutside) {
    if (line_length_ == 0 && previous_ != kCarriageReturn) {
      // Nothing happens before the next CR.
      const void* next = std::memchr(at, kCarriageReturn, static_cast<std::size_t>(end - at));
      at = next ? static_cast<const std::uint8_t*>(next) + 1 : end;
      previous_ = at[-1];
      continue;
    }
    const std::uint8_t c = *at++;
    previous_ = c;
    if (c == kCarriageReturn) {
      line_length_ = 0;
    } else if (line_length_ == 0) {
      line_[line_length_++] = c;
    } else if (line_length_ == kMarkLength) {
      // The byte after the mark, the blank, is lost with it.
      if (LineIsBegin()) state_ = State::kControlLine;
      line_length_ = 0;
    } else {
      if (line_length_ == 1 && line_[0] == kLineFeed) line_length_ = 0;
      line_[line_length_++] = c;
    }
  }
  return at;
}

const std::uint8_t* YencDecoder::ReadControlLine(const std::uint8_t* at, const std::uint8_t* end) {
  while (at != end) {
    const std::uint8_t c = *at++;
    previous_ = c;
    if (end_matched_ != 0) {
      end_matched_ =
          Lower(c) == static_cast<std::uint8_t>(kEnd[end_matched_]) ? end_matched_ + 1 : 0;
      if (end_matched_ == kEnd.size()) {
        end_matched_ = 0;
        state_ = State::kOutside;
        return at;
      }
    }
    if (c == kCarriageReturn) {
      end_matched_ = 0;
      state_ = State::kData;
      return at;
    }
  }
  return at;
}

const std::uint8_t* YencDecoder::ReadData(const std::uint8_t* begin, const std::uint8_t* at,
                                          const std::uint8_t* end, std::uint8_t*& out) {
  if (run_ && state_ == State::kData && at != begin && at[-1] != '=') {
    bool escape = false;
    at = run_(at, end, out, escape);
    previous_ = at[-1];
    if (escape) state_ = State::kEscape;
  }
  std::uint8_t* to = out;
  const std::uint8_t* const stop = end - at > kStretch ? at + kStretch : end;
  while (at != stop) {
    const std::uint8_t c = *at++;
    previous_ = c;
    if (state_ == State::kEscape) {
      // Only a small y: `=Y` is an escaped byte.
      if (c == 'y') {
        state_ = State::kControlLine;
        end_matched_ = 2;
        break;
      }
      state_ = State::kData;
      *to++ =
          static_cast<std::uint8_t>(c - 64 - 42);  // also a CR, though no encoder writes one there
    } else if (c == '=') {
      state_ = State::kEscape;
    } else if (c != kLineFeed && c != kCarriageReturn) {
      *to++ = static_cast<std::uint8_t>(c - 42);
    }
  }
  out = to;
  return at;
}

namespace Code {

double DecodeYencFile(const FolderItem& source, const FolderItem& target) {
  try {
    LongBinaryStream input(source, false);
    LongBinaryStream output(target, true);
    const auto from = std::make_unique_for_overwrite<std::uint8_t[]>(kBlock);
    WriteBehind writer(output, kBlock + YencDecoder::kSlack);
    YencDecoder decoder;
    std::int64_t decoded = 0;
    while (const std::size_t count = input.Read(from.get(), kBlock)) {
      const std::size_t bytes = decoder.Decode({from.get(), count}, writer.Room());
      decoded += static_cast<std::int64_t>(bytes);
      if (!writer.Put(bytes) || Thread::Ending()) return -1;
    }
    return writer.Finish() && input.Close() && output.Close() ? static_cast<double>(decoded) : -1;
  } catch (const NilObjectException&) {
    return -1;
  }
}

}  // namespace Code
}  // namespace gravlin
