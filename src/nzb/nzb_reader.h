// Reads an NZB file line by line.  Not an XML parser on purpose: it looks for fixed words in each
// line, so that it accepts files that no parser would.  Each start tag of a file and each segment
// must be on one line.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace gravlin {

enum class NzbFailure {
  kNone,
  kNoSubject,
  kNoSubjectOpeningQuote,
  kNoSubjectClosingQuote,
  kNoGroups,
  kNoNumber,
  kNoNumberClosingQuote,
  kNoBytes,
  kNoBytesClosingQuote,
  kPrematureEnd,
};

// The message for the user.
std::string_view MessageOf(NzbFailure failure);

// One file of the NZB, as its row keeps it.
struct NzbFile {
  std::string subject;  // without XML escapes
  std::string groups;   // names joined by ","
  std::string parts;    // number "-" bytes "-" message id, joined by ",", in the order of the lines
  std::int32_t part_count = 0;  // elements of `parts`
  std::int32_t bytes = 0;       // sum of the segments, wrapping as 32 bits
};

// What one line led to.
enum class NzbEvent {
  kNothing,
  kSubject,    // File().subject is known; the rest of the file follows
  kFile,       // File() is complete
  kEmptyFile,  // the file ended without a segment
  kFailure,    // Failure() says why; nothing more is to be read
};

class NzbReader {
 public:
  // Takes the next line, without its end.  `at_end`: no byte follows it.  After the end the caller
  // passes empty lines as long as InsideFile is true.
  NzbEvent Take(std::string_view line, bool at_end);

  // True between a file's start tag and its end.
  bool InsideFile() const { return state_ != State::kOutside; }
  // True while the reader waits for the end of the groups.  Only this wait ignores the end of the
  // NZB, and may never end.
  bool InsideGroups() const { return state_ == State::kGroups; }

  // Keeps its values until the next start tag.
  const NzbFile& File() const { return file_; }
  NzbFailure Failure() const { return failure_; }

 private:
  enum class State { kOutside, kSeekGroup, kGroups, kSegments };
  NzbEvent BeginFile(std::string_view line);
  NzbEvent SeekGroup(std::string_view line, bool at_end);
  NzbEvent TakeGroups(std::string_view line);
  NzbEvent BeginSegments(std::string_view line);
  NzbEvent TakeSegmentLine(std::string_view line, bool at_end);
  bool AddSegment(std::string_view line, std::size_t tag);
  NzbEvent EndFile();
  NzbEvent Fail(NzbFailure failure);

  State state_ = State::kOutside;
  NzbFailure failure_ = NzbFailure::kNone;
  NzbFile file_;
};

// The names in the <group> elements of one line, joined by ",", without XML escapes.
std::string FindGroup(std::string_view line);

}  // namespace gravlin
