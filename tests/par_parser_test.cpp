// The recorded outputs of par2, line by line.
#include "postprocess/par_parser.h"

#include <gtest/gtest.h>

#include <set>

#include "platform/failures.h"
#include "platform/text.h"
#include "support/recording.h"

namespace gravlin {
namespace {

using testing::LinesOf;
using testing::Recording;

// A window without a window: what it would show, and a note of each change but those of the bar.
struct Shown : ParView {
  std::string status = "File selected: set.par2. Starting...", archive, notes;
  int percent = 0, selected = -1;
  double time_left = -1;
  std::vector<std::pair<std::string, std::string>> rows;

  std::string Status() const override { return status; }
  void ShowStatus(std::string_view text) override {
    status = text;
    Note("status=" + status);
  }
  void ShowPercent(std::int32_t value) override {
    EXPECT_TRUE(value >= 0 && value <= 100) << value;
    percent = value;
  }
  void AddRow(std::string_view name) override {
    rows.emplace_back(name, "");
    selected = static_cast<int>(rows.size()) - 1;
  }
  int FindRow(std::string_view name) const override {
    for (std::size_t i = 0; i < rows.size(); ++i)
      if (SameText(rows[i].first, name)) return static_cast<int>(i);
    return -1;
  }
  int SelectedRow() const override { return selected; }
  void SelectRow(int row) override { selected = row; }
  void ShowRowStatus(int row, std::string_view text) override {
    rows.at(static_cast<std::size_t>(row)).second = text;
  }
  void StartClock() override { Note("clock"); }
  void ShowTimeLeft(double value) override { time_left = value; }
  void ClearTimeLeft() override { Note("clear"); }
  void FoundArchive(std::string_view name) override {
    if (archive.empty()) archive = name;
  }
  void Note(const std::string& note) { notes += (notes.empty() ? "" : "|") + note; }
};

struct Replay {
  Shown shown;
  std::string mode = "start";
  std::vector<std::string> lines;
  std::optional<Par2Ending> ending;
  void Read(std::string_view text) {
    for (const std::string& line : LinesOf(text)) {
      lines.push_back(line);
      ReadPar2Line(line, mode, shown);
    }
    if (!lines.empty() && !ending) ending = FindPar2Ending(lines);
  }
};

TEST(ParParser, ARecordedRunShowsItsFilesAndItsEnding) {
  const std::string n(196, 'n');
  const std::string odd = n +
                          ".rar: found|a - b.part01.rar: found|two: parts, [x] (1).bin: found|" +
                          "Übung für Käse.txt: found|";
  const std::string whole_repair =
      "status=Loading PAR's...|status=Scanning|status=Computing Reed-Solomon matrix...|"
      "status=Solving Reed-Solomon matrix...|status=Repairing...|clock|clear|"
      "status=Verifying repaired files...|status=Scanning";
  const std::string scanned = "status=Loading PAR's...|status=Scanning";
  const struct {
    const char *recording, *rows, *archive, *ending, *notes;
    bool repaired;
  } cases[] = {
      {"par2-correct.txt", "set.part1.rar: found|set.part2.rar: found|", "set.part1.rar",
       "All files are correct, repair is not required.", scanned.c_str(), true},
      {"par2-repaired.txt", "notes.txt: found|set.part1.rar: found|set.part2.rar: found|",
       "set.part1.rar", "Repair complete.", whole_repair.c_str(), true},
      {"par2-odd-names.txt", odd.c_str(), nullptr, "Repair complete.", whole_repair.c_str(), true},
      {"par2-lacking.txt",
       "set.part1.rar: missing|set.part2.rar: damaged. Found 10 of 11 data blocks|"
       "notes.txt: damaged. Found 7 of 11 data blocks|",
       "set.part1.rar", "You need 6 more recovery blocks to be able to repair.", scanned.c_str(),
       false},
      {"par2-renamed.txt", "set.part1.rar: missing|", "set.part1.rar",
       "You need 1 more recovery blocks to be able to repair.", "status=Loading PAR's...", false},
  };
  for (const auto& c : cases) {
    Replay run;
    const std::string archive = c.archive ? c.archive : n + ".rar";
    run.Read(Recording(c.recording));
    std::string rows;
    for (std::size_t i = 3; i < run.shown.rows.size(); ++i)
      rows += run.shown.rows[i].first + ": " + run.shown.rows[i].second + "|";
    ASSERT_GE(run.shown.rows.size(), 3u) << c.recording;
    EXPECT_EQ(run.shown.rows[1].second, " 4 recovery blocks") << c.recording;
    EXPECT_EQ(rows, c.rows) << c.recording;
    EXPECT_EQ(run.shown.archive, archive) << c.recording;
    EXPECT_EQ(run.shown.notes, c.notes) << c.recording;
    ASSERT_TRUE(run.ending) << c.recording;
    EXPECT_EQ(run.ending->text, c.ending);
    EXPECT_EQ(run.ending->repaired, c.repaired);
  }
}

// A read may end anywhere.  A torn line may lose a row or a phase, and it may leave one row with a
// torn name; it never ends the run ahead of its closing line, and never hides a closing line but by
// tearing that one itself.
TEST(ParParser, ARecordingCutAtAnyByteEndsAsTheWholeOneDoes) {
  for (const char* name : {"par2-correct.txt", "par2-lacking.txt", "par2-missing-file.txt",
                           "par2-renamed.txt", "par2-odd-names.txt", "par2-repaired.txt"}) {
    const std::string text = Recording(name);
    Replay whole;
    whole.Read(text);
    std::set<std::string> names;
    for (const auto& row : whole.shown.rows) names.insert(row.first);
    const std::size_t closing = text.rfind(whole.ending.value().text);
    for (std::size_t cut = 0; cut <= text.size(); ++cut) {
      SCOPED_TRACE(std::string(name) + " cut at " + std::to_string(cut));
      Replay run;
      run.Read(text.substr(0, cut));
      ASSERT_FALSE(run.ending && cut <= closing);
      run.Read(text.substr(cut));
      std::size_t torn = 0;
      for (const auto& row : run.shown.rows) torn += 1 - names.count(row.first);
      ASSERT_LE(torn, 1u);
      const bool closing_torn = cut > closing && cut < closing + whole.ending->text.size();
      ASSERT_TRUE(run.ending.has_value() || closing_torn);
      ASSERT_TRUE(!run.ending || run.ending->repaired == whole.ending->repaired);
      const bool between_lines = cut == 0 || text[cut - 1] == '\n' || text[cut - 1] == '\r';
      if (between_lines) {
        ASSERT_EQ(run.shown.rows, whole.shown.rows);
        ASSERT_EQ(run.shown.notes, whole.shown.notes);
      }
    }
  }
}

TEST(ParParser, EachRuleTakesItsCutOfTheLine) {
  const struct {
    const char *mode, *line, *mode_after, *notes;
    int percent;
    const char* last_row;
  } cases[] = {
      {"start", "loading \"x y.PAR2\".", "start", "status=Loading PAR's...", 0, "x y.PAR2="},
      {"start", "Loading: 61.9%", "start", "status=Loading PAR's...", 61, "A.bin="},
      {"start", "Loaded 5 new packets including 2 recovery blocks", "start",
       "status=Loading PAR's...", 100, "A.bin= 2 recovery blocks"},
      {"repairing", "verifying SOURCE files:", "verify", "", 7, "A.bin="},
      {"verify", "Scanning: \"a: b.bin\": 12.7%", "verify", "status=Scanning: \"a: b.bin\"", 12,
       "A.bin="},
      {"verify", "Target: \"a - b: c\" - damaged. Found 1 of 2 data blocks.", "verify", "", 7,
       "a - b: c=damaged. Found 1 of 2 data blocks"},
      {"verify", "Target: \"half of a na", "verify", "", 7, "A.bin="},
      // The mode is "solving" by the time the mode rules see it.
      {"constructing", "Constructing: done.", "solving", "status=Solving Reed-Solomon matrix...", 7,
       "A.bin="},
      {"solving", "Solving: 8.2%", "solving", "", 8, "A.bin="},
      {"solving", "Repairing: 3.5%", "repairing", "status=Repairing...|clock", 3, "A.bin="},
      {"verify repair", "Target: \"a.BIN\" - found.", "verify repair", "", 7, "A.bin=found"},
  };
  for (const auto& c : cases) {
    Shown shown;
    shown.AddRow("A.bin");
    shown.percent = 7;
    std::string mode = c.mode;
    ReadPar2Line(c.line, mode, shown);
    EXPECT_EQ(mode, c.mode_after) << c.line;
    EXPECT_EQ(shown.notes, c.notes) << c.line;
    EXPECT_EQ(shown.percent, c.percent) << c.line;
    EXPECT_EQ(shown.rows.back().first + "=" + shown.rows.back().second, c.last_row) << c.line;
  }
}

TEST(ParParser, TheTimeLeftFollowsTheFraction) {
  Shown shown;
  std::string mode = "solving";
  for (const char* line : {"Repairing: 0.1%", "Repairing: 12.5%", "Repairing: 13.0%"})
    ReadPar2Line(line, mode, shown);
  EXPECT_EQ(shown.time_left, 13.0);
}

TEST(ParParser, OnlyTheLastLineOrTheOneBeforeAnEmptyOneEndsTheRun) {
  EXPECT_TRUE(FindPar2Ending({"x", "repair COMPLETE.", ""})->repaired);
  EXPECT_FALSE(FindPar2Ending({"You need 3"})->repaired);
  EXPECT_FALSE(FindPar2Ending({"Repair complete.", "", ""}));
  EXPECT_FALSE(FindPar2Ending({"Repair complete. "}));
  EXPECT_FALSE(FindPar2Ending({"Repair is not possible."}));
  EXPECT_THROW(FindPar2Ending({""}), OutOfBoundsException);
}

TEST(ParParser, OnlyAFirstVolumeIsPicked) {
  for (const char* name :
       {"a.part1.rar", "apart1.RAR", "a.part01.rar", "a.part001.rar", "a.rar", "x.part2.part1.rar"})
    EXPECT_TRUE(IsFirstVolume(name)) << name;
  for (const char* name : {"a.part2.rar", "a.part11.rar", "a.part0001.rar", "a.partial.rar",
                           "a.r00", "a.rar.txt", "rar"})
    EXPECT_FALSE(IsFirstVolume(name)) << name;
}

}  // namespace
}  // namespace gravlin
