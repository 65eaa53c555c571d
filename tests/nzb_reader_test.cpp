#include "nzb/nzb_reader.h"

#include <gtest/gtest.h>

#include <vector>

#include "support/recording.h"

namespace gravlin {
namespace {

using testing::LinesOf;

// What reading a text led to, as one line of text.
struct Reading {
  std::vector<std::string> files;  // subject|groups|parts|count|bytes
  std::string end;                 // the message, "empty file", or "waits"
};

Reading Read(const std::string& text) {
  const std::vector<std::string> lines = LinesOf(text);
  NzbReader reader;
  Reading reading;
  std::size_t next = 0;
  do {
    const std::string line = next < lines.size() ? lines[next] : "";
    const bool at_end = ++next >= lines.size();
    const NzbEvent event = reader.Take(line, at_end);
    const NzbFile& file = reader.File();
    if (event == NzbEvent::kFile) {
      reading.files.push_back(file.subject + "|" + file.groups + "|" + file.parts + "|" +
                              std::to_string(file.part_count) + "|" + std::to_string(file.bytes));
    }
    if (event == NzbEvent::kEmptyFile) reading.end = "empty file";
    if (event == NzbEvent::kFailure) reading.end = MessageOf(reader.Failure());
    if (at_end && reader.InsideGroups()) reading.end = "waits";
    if (next > lines.size() + 2) reading.end += " hungry";
  } while (reading.end.empty() && (reader.InsideFile() || next < lines.size()));
  return reading;
}

const std::string kGood =
    "<?xml version=\"1.0\"?>\n<nzb>\n<head><meta type=\"x\">y</meta></head>\n"
    "<file poster=\"p\" date=\"1\" subject=\"&quot;a.rar&quot; yEnc (1/2)\">\n"
    "<groups>\n<group>alt.a</group>\n<group>alt.b</group><group></group>\n</groups>\n<segments>\n"
    "<segment bytes=\"384215\" number=\"1\">aXy77Qq@h</segment>\n"
    "<segment number=\"002\" bytes=\"120033\">b-T,z&lt;90&amp;Rr@h</segment>\n"
    "</segments>\n</file>\n</nzb>\n";
const std::string kHead = "<file subject=\"s\">\n<groups><group>g</group></groups>\n";

TEST(NzbReader, ReadsFilesAsTheirRowsKeepThem) {
  const Reading reading = Read(kGood);
  EXPECT_EQ(reading.end, "");
  ASSERT_EQ(reading.files.size(), 1u);
  EXPECT_EQ(reading.files[0],
            "\"a.rar\" yEnc (1/2)|alt.a,alt.b|1-384215-aXy77Qq@h,2-120033-b-T,z<90&Rr@h|2|504248");
  EXPECT_EQ(Read(kGood + kGood).files, (std::vector<std::string>(2, reading.files[0])));
  EXPECT_TRUE(Read("<nzb>\n</nzb>").files.empty());
}

TEST(NzbReader, LooksForWordsAndNotForXml) {
  const std::string seg = "<segment number=\"1\" bytes=\"5\">id</segment>";
  const std::string end = "\n</file>";
  const std::string row = "s|g|1-5-id|1|5";
  const struct {
    const char* what;
    std::string text;
    std::string row;
  } cases[] = {
      {"ends with the end of a file", kHead + seg + end, row},
      {"any case",
       "<FILE SUBJECT=\"s\">\n<GROUP>g</GROUP></GROUPS>\n<SEGMENT NUMBER=\"1\" "
       "BYTES=\"5\">id</SEGMENT>\n</FILE>",
       row},
      {"segment and end of file on one line", kHead + seg + "</file>", row},
      {"segment and end of NZB on one line", kHead + seg + "</nzb>", row},
      {"one segment a line", kHead + seg + seg + end, row},
      {"segments on the line of the groups",
       "<file subject=\"s\">\n<group>g</group></groups>" + seg + "\n" + seg + end, row},
      {"group on the line of the file",
       "<file subject=\"s\"><group>x</group>\n<group>g</group></groups>\n" + seg + end, row},
      {"a group on the later closing line is lost",
       "<file subject=\"s\">\n<group>g</group>\n<group>x</group></groups>\n" + seg + end, row},
      {"groups without a group tag on their line",
       "<file subject=\"s\">\n<groups>\n<group>g</group>\n"
       "junk\n</groups>\n" +
           seg + end,
       row},
      {"single quote opens", kHead + "<segment number='1\" bytes=x5\">id</segment>" + end, row},
      {"quote anywhere behind the subject",
       "<file subject=s a=\"s\">\n<group>g</group></groups>\n" + seg + end, row},
      {"empty subject runs on",
       "<file subject=\"\" a=\"x\">\n<group>g</group></groups>\n" + seg + end,
       "\" a=|g|1-5-id|1|5"},
      {"empty number runs on", kHead + "<segment number=\"\" bytes=\"5\">id</segment>" + end,
       "s|g|0-5-id|1|5"},
      {"no numbers", kHead + "<segment number=\"abc\" bytes=\"abc\">id</segment>" + end,
       "s|g|0-abc-id|1|0"},
      {"no id end", kHead + "<segment number=\"1\" bytes=\"5\">id" + end, "s|g|1-5-|1|5"},
      {"no tag end: the text in front of the first tag",
       kHead + "ab<segment number=\"1\" bytes=\"5\"" + end, "s|g|1-5-ab|1|5"},
      {"attributes in front of the tag do not count",
       kHead + "number=\"8\" bytes=\"8\" " + seg + end, row},
      {"bytes wrap as 32 bits",
       kHead +
           "<segment number=\"1\" bytes=\"2147483647\">a</segment>\n"
           "<segment number=\"2\" bytes=\"2\">b</segment>" +
           end,
       "s|g|1-2147483647-a,2-2-b|2|-2147483647"},
      {"order and gaps stay",
       kHead +
           "<segment number=\"9\" bytes=\"1\">a</segment>\n"
           "<segment number=\"-3\" bytes=\"1.5\">b</segment>" +
           end,
       "s|g|9-1-a,-3-1.5-b|2|2"},
      {"a file tag inside a file", kHead + "<file subject=\"t\">\n" + seg + end, row},
  };
  for (const auto& c : cases) {
    const Reading reading = Read(c.text);
    EXPECT_EQ(reading.files, std::vector<std::string>{c.row}) << c.what << ": " << reading.end;
    EXPECT_EQ(reading.end, "") << c.what;
  }
}

TEST(NzbReader, TellsWhatIsMissing) {
  const std::pair<std::string, std::string> cases[] = {
      {"<file poster=\"x\">", "Can't find subject attribute of file tag."},
      {"<file subject=>", "Can't find opening quote for subject attribute of file tag."},
      {"<file subject=\"x>", "Can't find closing quote for subject attribute of file tag."},
      {"<file subject=\"\">", "Can't find closing quote for subject attribute of file tag."},
      {"<file subject=\"", "Can't find closing quote for subject attribute of file tag."},
      {"<file subject=\"s\">", "Couldn't find any <group> tags."},
      {"<file subject=\"s\">\n<groups>\n</groups>\n", "Couldn't find any <group> tags."},
      {"<file subject=\"s\">\n<group>g</group></groups>", "Couldn't find any <group> tags."},
      {"<file subject=\"s\">\n<group>g</group>\n", "Couldn't find any <group> tags."},
      {"<file subject=\"s\">\n<group>g</group>\nx", "waits"},
      {"<file subject=\"s\">\n<group>g</group>\nx\n</groups>",
       "Premature end of file while processing <file> tag."},
      {kHead, "Couldn't find any <group> tags."},
      {kHead + "</file>", "empty file"},
      {kHead + "x\n</nzb>", "empty file"},
      {kHead + "<segment bytes=\"1\">", "Can't find number attribute of segment tag."},
      {kHead + "<segment number=\"1>",
       "Can't find closing quote of number attribute of segment tag."},
      {kHead + "<segment number=", "Can't find closing quote of number attribute of segment tag."},
      {kHead + "<segment number=\"1\">", "Can't find bytes attribute of segment tag."},
      {kHead + "<segment number=\"1\" bytes=\"1>",
       "Can't find closing quote of bytes attribute of segment tag."},
      {kHead + "<segment\nnumber=\"1\"", "Premature end of file while processing <file> tag."},
      {kHead + "<segment number=\"1\" bytes=\"5\">id</segment>",
       "Premature end of file while processing <file> tag."},
  };
  for (const auto& [text, message] : cases) {
    const Reading reading = Read(text);
    EXPECT_EQ(reading.end, message) << text;
    EXPECT_TRUE(reading.files.empty()) << text;
  }
}

TEST(NzbReader, FindsTheGroupsOfALine) {
  EXPECT_EQ(FindGroup("x<group>a</group> <GROUP>b&amp;c</GROUP><group></group><group>d"), "a,b&c");
  EXPECT_EQ(FindGroup("<groups>a</groups>"), "");
  EXPECT_EQ(FindGroup("<group><group>a</group>"), "a");
}

// Whatever stands in the file, reading ends, or waits for the rest of the groups.
TEST(NzbReader, EndsOnEveryDamagedFile) {
  for (std::size_t at = 0; at < kGood.size(); ++at) {
    EXPECT_EQ(Read(kGood.substr(0, at)).end.find("hungry"), std::string::npos);
    for (const char c : {'\0', '<', '>', '"', '=', '\n', '\r', '\xFF'}) {
      std::string damaged = kGood;
      damaged[at] = c;
      EXPECT_EQ(Read(damaged).end.find("hungry"), std::string::npos) << at;
    }
  }
}

}  // namespace
}  // namespace gravlin
