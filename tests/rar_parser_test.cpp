// The recorded outputs of unrar, line by line.
#include "postprocess/rar_parser.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/recording.h"

namespace gravlin {
namespace {

using testing::LinesOf;
using testing::Recording;

struct Replay : RarView {
  RarReading reading;
  std::string status;
  std::vector<std::string> lines, volumes, files, comments;
  std::optional<UnrarEnding> ending;

  void ShowStatus(std::string_view text) override { status = text; }
  void AddVolume(std::string_view name) override { volumes.emplace_back(name); }
  bool HasFile(std::string_view name) const override {
    return std::find(files.begin(), files.end(), name) != files.end();
  }
  void AddFile(std::string_view name) override { files.emplace_back(name); }
  void ShowComment(std::string_view text) override { comments.emplace_back(text); }

  void Read(std::string_view text) {
    for (const std::string& line : LinesOf(text)) {
      lines.push_back(line);
      ReadUnrarLine(line, reading, *this);
    }
    if (!lines.empty() && !ending) ending = FindUnrarEnding(lines);
  }
};

std::string Joined(const std::vector<std::string>& texts) {
  std::string all;
  for (const std::string& text : texts) all += text + "|";
  return all;
}

struct Recorded {
  const char *recording, *volumes, *files;
  std::optional<UnrarEnding> ending;
};
const std::string kLongName = std::string(196, 'n') + ".rar |";
const std::string kOddNames =
    "a - b.part01.rar |two: parts, [x] (1).bin |Übung für Käse.txt |" + kLongName;
const Recorded kCases[] = {
    {"unrar-plain.txt", "plain.rar|", "big.bin |small.txt |", UnrarEnding::kComplete},
    {"unrar-comment.txt", "comment.rar|", "big.bin |small.txt |", UnrarEnding::kComplete},
    {"unrar-volumes.txt",
     "set.part1.rar|set.part2.rar|set.part3.rar|set.part4.rar|set.part5.rar|set.part6.rar|",
     "big.bin |small.txt |", UnrarEnding::kComplete},
    {"unrar-odd-names.txt", "names.rar|", kOddNames.c_str(), UnrarEnding::kComplete},
    {"unrar-missing-volume.txt", "set.part1.rar|set.part2.rar|", "big.bin |", UnrarEnding::kErrors},
    {"unrar-damaged.txt", "plain.rar|", "big.bin |small.txt |", UnrarEnding::kErrors},
    {"unrar-cannot-write.txt", "comment.rar|", "small.txt |", UnrarEnding::kErrors},
    {"unrar-no-archive.txt", "", "", UnrarEnding::kNoFiles},
    {"unrar-no-such-file.txt", "", "", UnrarEnding::kNoFiles},
    // "Program aborted": no rule knows it, so that the run ends by silence.
    {"unrar-password.txt", "password.rar|", "", std::nullopt},
};

TEST(RarParser, ARecordedRunShowsItsVolumesItsFilesAndItsEnding) {
  for (const Recorded& c : kCases) {
    Replay run;
    run.Read(Recording(c.recording));
    EXPECT_EQ(Joined(run.volumes), c.volumes) << c.recording;
    EXPECT_EQ(Joined(run.files), c.files) << c.recording;
    EXPECT_EQ(run.ending, c.ending) << c.recording;
    EXPECT_EQ(run.status, run.volumes.empty() ? "" : "Extracting...") << c.recording;
    EXPECT_TRUE(run.comments.empty()) << c.recording;  // the tool writes it ahead of the volumes
  }
  Replay later;
  later.Read(Recording("unrar-from-second-volume.txt"));
  EXPECT_EQ(Joined(later.comments), "\rA comment\r\r\r|");
  EXPECT_EQ(later.volumes.front(), "set.part2.rar");
}

// See the test of the same name for par2.
TEST(RarParser, ARecordingCutAtAnyByteEndsAsTheWholeOneDoes) {
  for (const Recorded& c : kCases) {
    const std::string text = Recording(c.recording);
    Replay whole;
    whole.Read(text);
    const std::size_t closing = text.rfind('\n', text.size() - 2) + 1;
    for (std::size_t cut = 0; cut <= text.size(); ++cut) {
      SCOPED_TRACE(std::string(c.recording) + " cut at " + std::to_string(cut));
      Replay run;
      run.Read(text.substr(0, cut));
      ASSERT_FALSE(run.ending && cut <= closing);
      run.Read(text.substr(cut));
      const bool closing_torn = cut > closing && cut < text.size() - 1;
      ASSERT_TRUE(run.ending == c.ending || (closing_torn && !run.ending));
      ASSERT_LE(run.volumes.size(), whole.volumes.size());
      ASSERT_LE(run.files.size(), whole.files.size());
      ASSERT_TRUE(run.files == whole.files || (cut > 0 && text[cut - 1] != '\n'));
    }
  }
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
      {start + "\nExtracting  /x/a   9%\nExtracting  /y/A   ", "a |A |", ""},
      {start + "\nExtracting  /x/a   9%\nExtracting  /y/a   ", "a |", ""},
      {start + "\nExtracting  /x/no run of blanks\nExtracting  /x/nor here", "|", ""},
  };
  for (const auto& c : cases) {
    Replay run;
    run.Read(c.lines);
    EXPECT_EQ(Joined(run.files), c.files) << c.lines;
    EXPECT_EQ(Joined(run.comments), c.comments) << c.lines;
  }
  EXPECT_EQ(FindUnrarEnding({"all ok"}), UnrarEnding::kComplete);
  EXPECT_EQ(FindUnrarEnding({"Total errors: 12"}), UnrarEnding::kErrors);
  EXPECT_FALSE(FindUnrarEnding({"All OK", ""}));
  EXPECT_FALSE(FindUnrarEnding({"All OK."}));
}

}  // namespace
}  // namespace gravlin
