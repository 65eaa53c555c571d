// Takes one line of an NZB at a time and looks for fixed words in it, not for XML.
#include "nzb/nzb_reader.h"

#include <array>
#include <charconv>

#include "nzb/names.h"
#include "platform/text.h"

namespace gravlin {
namespace {

constexpr std::size_t kNone = std::string_view::npos;

bool BeginsWith(std::string_view text, std::string_view word) {
  return text.size() >= word.size() && SameText(text.substr(0, word.size()), word);
}

// Index of each word's first occurrence in a line that may end a file.
struct Marks {
  std::size_t segment = kNone;
  bool file_ends = false;
  bool nzb_ends = false;
};

// One pass over the "<" of the line instead of a search for each word, because most lines of an NZB
// come through here.
Marks FindMarks(std::string_view line) {
  Marks marks;
  for (std::size_t at = line.find('<'); at != kNone; at = line.find('<', at + 1)) {
    const std::string_view tag = line.substr(at);
    if (tag.size() > 1 && tag[1] == '/') {
      marks.file_ends = marks.file_ends || BeginsWith(tag, "</file>");
      marks.nzb_ends = marks.nzb_ends || BeginsWith(tag, "</nzb>");
    } else if (marks.segment == kNone && BeginsWith(tag, "<segment ")) {
      marks.segment = at;
    }
  }
  return marks;
}

// Index of the first occurrence at or after `from` of an attribute's name with its "=".
std::size_t FindAttribute(std::string_view line, std::size_t from, std::string_view name) {
  for (std::size_t at = line.find('=', from + name.size() - 1); at != kNone;
       at = line.find('=', at + 1)) {
    const std::size_t begin = at + 1 - name.size();
    if (SameText(line.substr(begin, name.size()), name)) return begin;
  }
  return kNone;
}

// The value of the attribute that begins at index `begin`.  The opening quote may be any character;
// the search for the closing one starts at the value's second character, so that an empty value
// extends to the next quote.
bool ReadValue(std::string_view line, std::size_t begin, std::string_view& value) {
  if (begin + 1 >= line.size()) return false;
  const std::size_t end = line.find('"', begin + 1);
  if (end == kNone) return false;
  value = line.substr(begin, end - begin);
  return true;
}

// The text between the first ">" at or after `from` and the next "<".  Without a ">" it begins with
// the line; without a "<" it is empty.
std::string_view ElementText(std::string_view line, std::size_t from) {
  const std::size_t tag_end = line.find('>', from);
  const std::size_t begin = tag_end == kNone ? 0 : tag_end + 1;
  const std::size_t end = line.find('<', begin);
  return end == kNone ? std::string_view() : line.substr(begin, end - begin);
}

void AppendNumber(std::string& text, std::int32_t number) {
  std::array<char, 12> digits;
  const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), number);
  text.append(digits.data(), result.ptr);
}

void AppendUnescaped(std::string& text, std::string_view escaped) {
  if (escaped.find('&') == kNone) {
    text += escaped;
  } else {
    text += Code::RemoveXMLEscapeSequences(escaped);
  }
}

}  // namespace

std::string_view MessageOf(NzbFailure failure) {
  switch (failure) {
    case NzbFailure::kNone:
      return {};
    case NzbFailure::kNoSubject:
      return "Can't find subject attribute of file tag.";
    case NzbFailure::kNoSubjectOpeningQuote:
      return "Can't find opening quote for subject attribute of file tag.";
    case NzbFailure::kNoSubjectClosingQuote:
      return "Can't find closing quote for subject attribute of file tag.";
    case NzbFailure::kNoGroups:
      return "Couldn't find any <group> tags.";
    case NzbFailure::kNoNumber:
      return "Can't find number attribute of segment tag.";
    case NzbFailure::kNoNumberClosingQuote:
      return "Can't find closing quote of number attribute of segment tag.";
    case NzbFailure::kNoBytes:
      return "Can't find bytes attribute of segment tag.";
    case NzbFailure::kNoBytesClosingQuote:
      return "Can't find closing quote of bytes attribute of segment tag.";
    case NzbFailure::kPrematureEnd:
      return "Premature end of file while processing <file> tag.";
  }
  return {};
}

NzbEvent NzbReader::Take(std::string_view line, bool at_end) {
  switch (state_) {
    case State::kOutside:
      return InStr(line, "<file ") > 0 ? BeginFile(line) : NzbEvent::kNothing;
    case State::kSeekGroup:
      return SeekGroup(line, at_end);
    case State::kGroups:
      return TakeGroups(line);
    case State::kSegments:
      return TakeSegmentLine(line, at_end);
  }
  return NzbEvent::kNothing;
}

NzbEvent NzbReader::BeginFile(std::string_view line) {
  const std::size_t subject = FindAttribute(line, 0, "subject=");
  if (subject == kNone) return Fail(NzbFailure::kNoSubject);
  const std::size_t quote = line.find('"', subject);
  if (quote == kNone) return Fail(NzbFailure::kNoSubjectOpeningQuote);
  std::string_view value;
  if (!ReadValue(line, quote + 1, value)) return Fail(NzbFailure::kNoSubjectClosingQuote);
  file_.subject = Code::RemoveXMLEscapeSequences(value);
  file_.groups.clear();
  file_.parts.clear();
  file_.part_count = 0;
  file_.bytes = 0;
  state_ = State::kSeekGroup;
  return NzbEvent::kSubject;
}

NzbEvent NzbReader::SeekGroup(std::string_view line, bool at_end) {
  // Even if the last line holds a group: no segment can follow it.
  if (at_end) return Fail(NzbFailure::kNoGroups);
  if (InStr(line, "<group>") == 0) return NzbEvent::kNothing;
  if (InStr(line, "</groups>") > 0) {
    file_.groups = FindGroup(line);
    return BeginSegments(line);
  }
  state_ = State::kGroups;
  return TakeGroups(line);
}

NzbEvent NzbReader::TakeGroups(std::string_view line) {
  // A group on the closing line is ignored, unless that line is the first one too.
  if (InStr(line, "</groups>") > 0) return BeginSegments(line);
  const std::string found = FindGroup(line);
  if (!found.empty() && !file_.groups.empty()) file_.groups += ',';
  file_.groups += found;
  return NzbEvent::kNothing;
}

NzbEvent NzbReader::BeginSegments(std::string_view line) {
  state_ = State::kSegments;
  // Segments on the line that ends the groups are ignored, but an end of the file is not.
  return InStr(line, "</file>") > 0 ? EndFile() : NzbEvent::kNothing;
}

NzbEvent NzbReader::TakeSegmentLine(std::string_view line, bool at_end) {
  const Marks marks = FindMarks(line);
  if (marks.segment != kNone && !AddSegment(line, marks.segment)) return NzbEvent::kFailure;
  if (marks.file_ends || marks.nzb_ends) return EndFile();
  return at_end ? Fail(NzbFailure::kPrematureEnd) : NzbEvent::kNothing;
}

bool NzbReader::AddSegment(std::string_view line, std::size_t tag) {
  static constexpr std::string_view kNumber = "number=", kBytes = "bytes=";
  const auto fail = [this](NzbFailure failure) {
    Fail(failure);
    return false;
  };
  std::string_view number, bytes;
  const std::size_t number_at = FindAttribute(line, tag, kNumber);
  if (number_at == kNone) return fail(NzbFailure::kNoNumber);
  if (!ReadValue(line, number_at + kNumber.size() + 1, number)) {
    return fail(NzbFailure::kNoNumberClosingQuote);
  }
  const std::size_t bytes_at = FindAttribute(line, tag, kBytes);
  if (bytes_at == kNone) return fail(NzbFailure::kNoBytes);
  if (!ReadValue(line, bytes_at + kBytes.size() + 1, bytes)) {
    return fail(NzbFailure::kNoBytesClosingQuote);
  }
  if (file_.part_count > 0) file_.parts += ',';
  AppendNumber(file_.parts, ToInt32(Val(number)));
  // The value of `bytes` is kept as it is, even if it is not a number.
  file_.parts.append("-").append(bytes).append("-");
  AppendUnescaped(file_.parts, ElementText(line, tag));
  file_.bytes = ToInt32(file_.bytes + Val(bytes));
  ++file_.part_count;
  return true;
}

NzbEvent NzbReader::EndFile() {
  state_ = State::kOutside;
  return file_.part_count > 0 ? NzbEvent::kFile : NzbEvent::kEmptyFile;
}

NzbEvent NzbReader::Fail(NzbFailure failure) {
  state_ = State::kOutside;
  failure_ = failure;
  return NzbEvent::kFailure;
}

std::string FindGroup(std::string_view line) {
  static constexpr std::string_view kGroup = "<group>";
  std::string names;
  for (int at = InStr(line, kGroup); at > 0; at = InStr(at + 6, line, kGroup)) {
    const std::string_view name = ElementText(line, static_cast<std::size_t>(at) - 1);
    if (!name.empty() && !names.empty()) names += ',';
    names += name;
  }
  return Code::RemoveXMLEscapeSequences(names);
}

}  // namespace gravlin
