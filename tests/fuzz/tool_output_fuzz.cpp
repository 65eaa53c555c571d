// What par2 and unrar write, read at any state of the parsers.  tests/data holds good beginnings.
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "platform/failures.h"
#include "postprocess/par_parser.h"
#include "postprocess/rar_parser.h"

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

// Keeps what a window would keep, and insists on rows that exist.
struct Shown : gravlin::ParView, gravlin::RarView {
  std::string status;
  int rows = 0, selected = -1;

  std::string Status() const override { return status; }
  void ShowStatus(std::string_view text) override { status = text; }
  void ShowPercent(std::int32_t) override {}
  void AddRow(std::string_view) override { selected = rows++; }
  int FindRow(std::string_view name) const override {
    return static_cast<int>(name.size() % static_cast<std::size_t>(rows + 1)) - 1;
  }
  int SelectedRow() const override { return selected; }
  void SelectRow(int row) override {
    Require(row >= 0 && row < rows);
    selected = row;
  }
  void ShowRowStatus(int row, std::string_view) override { Require(row >= 0 && row < rows); }
  void StartClock() override {}
  void ShowTimeLeft(double) override {}
  void ClearTimeLeft() override {}
  void FoundArchive(std::string_view name) override { Require(gravlin::IsFirstVolume(name)); }
  void AddVolume(std::string_view name) override {
    Require(name.find('/') == std::string_view::npos);
  }
  bool HasFile(std::string_view name) const override { return name.size() % 2 == 1; }
  void AddFile(std::string_view name) override {
    Require(name.find('/') == std::string_view::npos);
  }
  void ShowComment(std::string_view comment) override { Require(comment.size() > 2); }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  std::vector<std::string> lines;
  std::string mode = "start";
  gravlin::RarReading reading;
  Shown par, rar;
  while (!rest.empty()) {
    const std::size_t end = rest.find_first_of("\r\n");
    lines.emplace_back(rest.substr(0, end));
    gravlin::ReadPar2Line(lines.back(), mode, par);
    gravlin::ReadUnrarLine(lines.back(), reading, rar);
    Require(reading.RarComment.empty() || reading.RarComment.back() == '\r');
    gravlin::FindUnrarEnding(lines);
    try {
      gravlin::FindPar2Ending(lines);
    } catch (const gravlin::OutOfBoundsException&) {
      Require(lines.size() == 1 && lines[0].empty());
    }
    if (end == std::string_view::npos) break;
    rest.remove_prefix(end + 1);
  }
  return 0;
}
