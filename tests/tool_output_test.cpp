// The recorded outputs of par2 and unrar, line by line.
#include <gtest/gtest.h>

#include "nzb/names.h"
#include "paths.h"
#include "platform/failures.h"
#include "support/lines.h"
#include "support/temp_folder.h"
#include "support/tool_views.h"

namespace gravlin {
namespace {

using testing::ToolViews;

std::string Recording(const std::string& name) {
  const std::string text =
      testing::ReadFile(std::string(testing::kSourceFolder) + "/tests/data/" + name);
  EXPECT_FALSE(text.empty()) << name;
  return text;
}

struct Par2Run : ToolViews {
  std::string mode = "start";
  std::vector<std::string> lines;
  std::optional<Par2Ending> end;

  void ReadLine(const std::string& line, bool) { ReadPar2Line(line, mode, *this); }
  void FindEnding() { end = FindPar2Ending(lines); }
  std::string Ending() const { return !end ? "" : end->repaired ? "repaired" : "lacking"; }
};

struct UnrarRun : ToolViews {
  RarReading reading;
  std::vector<std::string> lines;
  std::optional<UnrarEnding> end;

  void ReadLine(const std::string& line, bool whole) { ReadUnrarLine(line, whole, reading, *this); }
  void FindEnding() { end = FindUnrarEnding(lines); }
  std::string Ending() const {
    const char* const endings[] = {"complete", "errors", "no files"};
    return end ? endings[static_cast<int>(*end)] : "";
  }
};

template <class Run>
void Read(Run& run, std::string_view text) {
  const std::vector<std::string> lines = testing::LinesOf(text);
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const std::string& line = lines[i];
    run.lines.push_back(line);
    run.ReadLine(line, i + 1 < lines.size() || text.ends_with('\n') || text.ends_with('\r'));
    ASSERT_TRUE(run.percent >= 0 && run.percent <= 100) << line;
  }
  if (!run.lines.empty() && !run.end) run.FindEnding();
}

// A read may end anywhere.  A torn line of par2 may lose a row or a phase; unrar's lines are joined
// again.  No cut ends the run before its closing line, or hides a closing line unless it tears it.
template <class Run>
void CutAnywhere(const std::string& name) {
  const std::string text = Recording(name);
  Run whole;
  Read(whole, text);
  const std::size_t closing_end = text.find_last_not_of("\r\n") + 1;
  const std::size_t closing = text.find_last_of("\r\n", closing_end - 1) + 1;
  for (std::size_t cut = 0; cut <= text.size(); cut += 13) {
    SCOPED_TRACE(name + " cut at " + std::to_string(cut));
    Run run;
    Read(run, text.substr(0, cut));
    ASSERT_FALSE(run.end && cut <= closing);
    Read(run, text.substr(cut));
    const bool closing_torn = cut > closing && cut < closing_end;
    ASSERT_TRUE(run.Ending() == whole.Ending() || (closing_torn && !run.end)) << run.Ending();
    ASSERT_EQ(run.volumes, whole.volumes);
    ASSERT_EQ(run.files, whole.files);
    ASSERT_EQ(run.comments, whole.comments);
  }
}

TEST(ParParser, ARecordedRunShowsItsFilesAndItsEnding) {
  const std::string n(196, 'n');
  const std::string odd = n +
                          ".rar: found|a - b.part01.rar: found|two: parts, [x] (1).bin: found|" +
                          "Übung für Käse.txt: found|";
  const std::string whole_repair =
      "status=Loading PAR's...|status=Scanning|status=Computing Reed-Solomon matrix...|"
      "status=Solving Reed-Solomon matrix...|status=Repairing...|clock|clear|"
      "status=Verifying repaired files...|status=Scanning";
  const struct {
    const char* recording;
    std::string rows, archive, ending, notes;
    bool repaired;
  } cases[] = {
      {"par2-repaired.txt", "notes.txt: found|set.part1.rar: found|set.part2.rar: found|",
       "set.part1.rar", "Repair complete.", whole_repair, true},
      {"par2-odd-names.txt", odd, n + ".rar", "Repair complete.", whole_repair, true},
      {"par2-lacking.txt",
       "set.part1.rar: missing|set.part2.rar: damaged. Found 10 of 11 data blocks|"
       "notes.txt: damaged. Found 7 of 11 data blocks|",
       "set.part1.rar", "You need 6 more recovery blocks to be able to repair.",
       "status=Loading PAR's...|status=Scanning", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.recording);
    Par2Run run;
    Read(run, Recording(c.recording));
    ASSERT_GE(run.rows.size(), 3u);
    EXPECT_EQ(run.rows[1].second, " 4 recovery blocks");
    std::string rows;
    for (std::size_t i = 3; i < run.rows.size(); ++i)
      rows += run.rows[i].first + ": " + run.rows[i].second + "|";
    EXPECT_EQ(rows, c.rows);
    EXPECT_EQ(run.archives.at(0), c.archive);
    EXPECT_EQ(run.notes, c.notes);
    EXPECT_EQ(run.end.value().text, c.ending);
    EXPECT_EQ(run.end->repaired, c.repaired);
    CutAnywhere<Par2Run>(c.recording);
  }
}

// Cases that no recording has.
TEST(ParParser, EachRuleTakesItsCutOfTheLine) {
  const struct {
    const char *mode, *line, *mode_after, *notes;
    int percent;
    const char* last_row;
  } cases[] = {
      {"start", "loading \"x y.PAR2\".", "start", "status=Loading PAR's...", 0, "x y.PAR2="},
      {"verify", "Scanning: \"a: b.bin\": 12.7%", "verify", "status=Scanning: \"a: b.bin\"", 12,
       "A.bin="},
      {"verify", "Target: \"a - b: c\" - damaged. Found 1 of 2 data blocks.", "verify", "", 7,
       "a - b: c=damaged. Found 1 of 2 data blocks"},
      {"verify", "Target: \"half of a na", "verify", "", 7, "A.bin="},
      {"solving", "Solving: 8.2%", "solving", "", 8, "A.bin="},
      {"verify repair", "Target: \"a.BIN\" - found.", "verify repair", "", 7, "A.bin=found"},
  };
  for (const auto& c : cases) {
    ToolViews shown;
    shown.AddRow("A.bin");
    shown.percent = 7;
    std::string mode = c.mode;
    ReadPar2Line(c.line, mode, shown);
    EXPECT_EQ(mode, c.mode_after) << c.line;
    EXPECT_EQ(shown.notes, c.notes) << c.line;
    EXPECT_EQ(shown.percent, c.percent) << c.line;
    EXPECT_EQ(shown.rows.back().first + "=" + shown.rows.back().second, c.last_row) << c.line;
  }
  ToolViews repair;
  std::string mode = "solving";
  for (const char* line : {"Repairing: 0.1%", "Repairing: 12.5%", "Repairing: 13.0%"})
    ReadPar2Line(line, mode, repair);
  EXPECT_EQ(repair.time_left, 13.0);
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
    EXPECT_TRUE(Code::IsFirstVolume(name)) << name;
  for (const char* name : {"a.part2.rar", "a.part11.rar", "a.part0001.rar", "a.partial.rar",
                           "a.r00", "a.rar.txt", "rar"})
    EXPECT_FALSE(Code::IsFirstVolume(name)) << name;
}

std::string Joined(const std::vector<std::string>& texts) {
  std::string all;
  for (const std::string& text : texts) all += text + "|";
  return all;
}

TEST(RarParser, ARecordedRunShowsItsVolumesItsFilesAndItsEnding) {
  const struct {
    const char* recording;
    std::string volumes, files, ending;
  } cases[] = {
      {"unrar-plain.txt", "plain.rar|", "big.bin |small.txt |", "complete"},
      {"unrar-odd-names.txt", "names.rar|",
       "a - b.part01.rar |two: parts, [x] (1).bin |Übung für Käse.txt |" + std::string(196, 'n') +
           ".rar |",
       "complete"},
      {"unrar-missing-volume.txt", "set.part1.rar|set.part2.rar|", "big.bin |", "errors"},
      {"unrar-damaged.txt", "plain.rar|", "big.bin |small.txt |", "errors"},
      {"unrar-cannot-write.txt", "comment.rar|", "small.txt |", "errors"},
      {"unrar-no-archive.txt", "", "", "no files"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.recording);
    UnrarRun run;
    Read(run, Recording(c.recording));
    EXPECT_EQ(Joined(run.volumes), c.volumes);
    EXPECT_EQ(Joined(run.files), c.files);
    EXPECT_EQ(run.Ending(), c.ending);
    EXPECT_EQ(run.status, run.volumes.empty() ? "" : "Extracting...");
    EXPECT_TRUE(run.comments.empty());  // the tool writes it before the volumes
    CutAnywhere<UnrarRun>(c.recording);
  }
  UnrarRun later;
  Read(later, Recording("unrar-from-second-volume.txt"));
  EXPECT_EQ(Joined(later.comments), "\rA comment\r\r\r|");
  EXPECT_EQ(later.volumes.front(), "set.part2.rar");
  CutAnywhere<UnrarRun>("unrar-from-second-volume.txt");
}

TEST(RarParser, LinesOutsideTheUsualAreTakenAsTheyStand) {
  const std::string start = "UNRAR\n\nExtracting from /a/b.rar\n";
  const struct {
    std::string lines;
    const char *files, *comments;
  } cases[] = {
      {start + "\n\nExtracting  /x/a   ", "a |", ""},         // two empty lines: no comment
      {start + "\n!\nExtracting  /x/a   ", "a |", "\r!\r|"},  // three characters: a comment
      {start + "hi\nExtracting from /a/b.r00\nExtracting  /x/a   ", "a |", "hi\r|"},
      {start + "\nExtracting  /x/a   9%\nExtracting  /y/A   ", "a |", ""},
      {start + "\nExtracting  /x/no run of blanks\nExtracting  /x/nor here\n", "|", ""},
      {start + "\nExtracting  /x/no end yet", "", ""},
      // Asked for a password without a terminal: no rule knows these words, so silence ends the
      // run.
      {start + "\nProgram aborted\n", "", ""},
  };
  for (const auto& c : cases) {
    UnrarRun run;
    Read(run, c.lines);
    EXPECT_EQ(Joined(run.files), c.files) << c.lines;
    EXPECT_EQ(Joined(run.comments), c.comments) << c.lines;
    EXPECT_FALSE(run.end) << c.lines;
  }
  EXPECT_EQ(FindUnrarEnding({"all ok"}), UnrarEnding::kComplete);
  EXPECT_EQ(FindUnrarEnding({"Total errors: 12"}), UnrarEnding::kErrors);
  EXPECT_FALSE(FindUnrarEnding({"All OK", ""}));
  EXPECT_FALSE(FindUnrarEnding({"All OK."}));
}

}  // namespace
}  // namespace gravlin
