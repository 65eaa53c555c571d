// The lines of par2 and unrar one by one; par_test.cpp and rar_test.cpp run the real tools.
#include <gtest/gtest.h>

#include "nzb/names.h"
#include "platform/failures.h"
#include "support/lines.h"
#include "support/tool_views.h"

namespace gravlin {
namespace {

using testing::ToolViews;

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
    ToolViews shown;
    RarReading reading;
    const std::vector<std::string> lines = testing::LinesOf(c.lines);
    for (const std::string& line : lines)
      ReadUnrarLine(line, &line != &lines.back() || c.lines.back() == '\n', reading, shown);
    EXPECT_EQ(Joined(shown.files), c.files) << c.lines;
    EXPECT_EQ(Joined(shown.comments), c.comments) << c.lines;
    EXPECT_FALSE(FindUnrarEnding(lines)) << c.lines;
  }
  EXPECT_EQ(FindUnrarEnding({"all ok"}), UnrarEnding::kComplete);
  EXPECT_EQ(FindUnrarEnding({"Total errors: 12"}), UnrarEnding::kErrors);
  EXPECT_FALSE(FindUnrarEnding({"All OK", ""}));
  EXPECT_FALSE(FindUnrarEnding({"All OK."}));
}

}  // namespace
}  // namespace gravlin
