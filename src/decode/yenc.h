// yEnc (the yEnc working draft 1.3): the decoder of a whole posted file in one pass.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/folder_item.h"

namespace gravlin {

// Walks over joined articles as they came from the server: finds each line `=ybegin` that follows a
// CR, decodes the data after it up to `=yend`, and passes over everything else.  No attribute of
// any line is read; sizes and sums are the business of the repair.  Works on pieces of any size.
class YencDecoder {
 public:
  enum class State {
    kOutside = -1,  // seeking a line that begins with `=ybegin`
    kData = 0,
    kEscape = 1,       // after a `=` in the data
    kControlLine = 2,  // in a line that begins with `=y`
  };
  // How runs of data are decoded: byte by byte, or a vector at a time with AVX2 or NEON.  Both give
  // the same bytes.
  enum class Kernel { kPlain, kVector };
  // Whether this processor has the vectors.
  static bool HasVectors() { return VectorRun() != nullptr; }

  // Bytes after the decoded ones that Decode may overwrite.
  static constexpr std::size_t kSlack = 64;

  // kVector is kPlain on a processor without the vectors.
  explicit YencDecoder(Kernel kernel = Kernel::kVector)
      : run_(kernel == Kernel::kVector ? VectorRun() : nullptr) {}

  // Decodes the next piece into `out`, which takes piece.size() + kSlack bytes and does not overlap
  // the piece. Returns the number of decoded bytes.
  std::size_t Decode(std::span<const std::uint8_t> piece, std::uint8_t* out);

  State CurrentState() const { return state_; }

 private:
  const std::uint8_t* ReadStart(const std::uint8_t* at, const std::uint8_t* end);
  const std::uint8_t* ReadOutside(const std::uint8_t* at, const std::uint8_t* end);
  const std::uint8_t* ReadControlLine(const std::uint8_t* at, const std::uint8_t* end);
  const std::uint8_t* ReadData(const std::uint8_t* begin, const std::uint8_t* at,
                               const std::uint8_t* end, std::uint8_t*& out);

  static constexpr std::size_t kMarkLength = 7;  // of `=ybegin`
  bool LineIsBegin() const;

  // Decodes whole vectors from `at`, at[-1] being data that ends no escape, until less than a
  // vector is left or one holds a `=` after a `=` or a `=y`.  Moves `out`; sets `escape` if the
  // last byte that it took is a `=`.
  using Run = const std::uint8_t* (*)(const std::uint8_t* at, const std::uint8_t* end,
                                      std::uint8_t*& out, bool& escape);
  // nullptr if this processor has no vectors.
  static Run VectorRun();

  Run run_;  // nullptr for the plain kernel
  State state_ = State::kOutside;
  bool at_start_ = true;  // still within the first bytes of all
  std::uint8_t previous_ = 0;
  std::array<std::uint8_t, kMarkLength> line_{};  // what is compared with `=ybegin`
  std::size_t line_length_ = 0;
  // Bytes of `=yend` that the control line has matched; 0 when it can no longer match.
  std::size_t end_matched_ = 0;
};

namespace Code {

// Decodes a file of joined articles into `target`, which is made or overwritten.  Returns the
// number of decoded bytes, beyond 2 GiB too, since the parts are deleted afterwards; 0, and an
// empty target, for a source without data.  -1 if a file could not be opened, read or written to
// its end: the target is then not to be used.  Touches nothing but its arguments, so that it may
// run anywhere.
double DecodeYencFile(const FolderItem& source, const FolderItem& target);

}  // namespace Code
}  // namespace gravlin
