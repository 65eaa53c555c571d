// What the text that par2 writes means for the window that follows it: one line in, what to show
// out. The patterns are the wording of par2cmdline; they are tested as whole lines or as
// beginnings, case ignored.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace gravlin {

// What the parser shows, and what it has to read back.  Rows count from 0; -1 is none.
class ParView {
 public:
  virtual ~ParView() = default;
  virtual std::string Status() const = 0;
  virtual void ShowStatus(std::string_view text) = 0;
  virtual void ShowPercent(std::int32_t percent) = 0;
  // Adds a row after the others and selects it.
  virtual void AddRow(std::string_view name) = 0;
  // First row of that name, case ignored.
  virtual int FindRow(std::string_view name) const = 0;
  virtual int SelectedRow() const = 0;
  virtual void SelectRow(int row) = 0;
  virtual void ShowRowStatus(int row, std::string_view status) = 0;
  // The repair phase begins: the time left is counted from now.
  virtual void StartClock() = 0;
  virtual void ShowTimeLeft(double percent) = 0;
  virtual void ClearTimeLeft() = 0;
  // A target that is the first volume of an archive; the first one named is the one to extract.
  virtual void FoundArchive(std::string_view name) = 0;
};

// Reads one line.  `mode` is the parser's state from line to line: "start" at the start of a run,
// then "verify", "constructing", "solving", "repairing", "verify repair", by whatever line comes.
void ReadPar2Line(std::string_view line, std::string& mode, ParView& view);

struct Par2Ending {
  std::string text;  // the tool's own words
  bool repaired;     // false: too few recovery blocks
};

// The end of the run, if the last line says so; one empty line after it is passed over.  Lines
// must not be empty. A single empty line has no line before it: OutOfBoundsException.
std::optional<Par2Ending> FindPar2Ending(const std::vector<std::string>& lines);

}  // namespace gravlin
