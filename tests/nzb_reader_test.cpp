// NZB files as posters write them, whole, cut and odd.
#include "nzb/nzb_reader.h"

#include <gtest/gtest.h>

#include <vector>

#include "platform/text.h"
#include "support/lines.h"

namespace gravlin {
namespace {

// The result of reading a text: "subject|groups|parts|count|bytes;" of each file, then the message,
// "empty file", or "waits".
std::string Read(const std::string& text) {
  const std::vector<std::string> lines = testing::LinesOf(text);
  NzbReader reader;
  std::string files, end;
  std::size_t next = 0;
  do {
    const std::string line = next < lines.size() ? lines[next] : "";
    const bool at_end = ++next >= lines.size();
    const NzbEvent event = reader.Take(line, at_end);
    const NzbFile& file = reader.File();
    if (event == NzbEvent::kFile) {
      files += file.subject + "|" + file.groups + "|" + file.parts + "|" +
               std::to_string(file.part_count) + "|" + std::to_string(file.bytes) + ";";
    }
    if (event == NzbEvent::kEmptyFile) end = "empty file";
    if (event == NzbEvent::kFailure) end = MessageOf(reader.Failure());
    if (at_end && reader.InsideGroups()) end = "waits";
    if (next > lines.size() + 2) end += " hungry";
  } while (end.empty() && (reader.InsideFile() || next < lines.size()));
  return files + end;
}

const std::string kGood =
    "<?xml version=\"1.0\"?>\n<nzb>\n<head><meta type=\"x\">y</meta></head>\n"
    "<file poster=\"p\" date=\"1\" subject=\"&quot;a.rar&quot; yEnc (1/2)\">\n"
    "<groups>\n<group>alt.a</group>\n<group>alt.b</group><group></group>\n</groups>\n<segments>\n"
    "<segment bytes=\"384215\" number=\"1\">aXy77Qq@h</segment>\n"
    "<segment number=\"002\" bytes=\"120033\">b-T,z&lt;90&amp;Rr@h</segment>\n"
    "</segments>\n</file>\n</nzb>\n";

TEST(NzbReader, ReadsFilesAsTheirRowsKeepThem) {
  const std::string row =
      "\"a.rar\" yEnc (1/2)|alt.a,alt.b|1-384215-aXy77Qq@h,2-120033-b-T,z<90&Rr@h|2|504248;";
  EXPECT_EQ(Read(kGood), row);
  EXPECT_EQ(Read(kGood + kGood), row + row);
  EXPECT_EQ(Read("<nzb>\n</nzb>"), "");
  EXPECT_EQ(FindGroup("x<group>a</group> <GROUP>b&amp;c</GROUP><group></group><group>d"), "a,b&c");
  EXPECT_EQ(FindGroup("<groups>a</groups><group><group>a</group>"), "a");
}

TEST(NzbReader, LooksForWordsAndNotForXml) {
  const std::string file = "<file subject=\"s\">\n", group = "<group>g</group>";
  const std::string head = file + "<groups>" + group + "</groups>\n";
  const std::string seg = "<segment number=\"1\" bytes=\"5\">id</segment>", end = "\n</file>";
  const std::string row = "s|g|1-5-id|1|5;";
  const std::string no_groups = "Couldn't find any <group> tags.";
  const std::string premature = "Premature end of file while processing <file> tag.";
  const std::string no_subject_end = "Can't find closing quote for subject attribute of file tag.";
  const std::string no_number_end = "Can't find closing quote of number attribute of segment tag.";
  std::string capitals = head + seg + end;
  for (char& c : capitals) c = static_cast<char>(std::toupper(c));
  const std::pair<std::string, std::string> cases[] = {
      {head + seg + end, row},
      {capitals, "S|G|1-5-ID|1|5;"},
      {head + seg + "</nzb>", row},
      {head + seg + seg + end, row},  // one segment for each line
      {file + group + "</groups>" + seg + "\n" + seg + end, row},
      {"<file subject=\"s\"><group>x</group>\n" + group + "</groups>\n" + seg + end, row},
      {file + group + "\n<group>lost</group></groups>\n" + seg + end, row},
      {file + "<groups>\n" + group + "\njunk\n</groups>\n" + seg + end, row},
      {head + "<segment number='1\" bytes=x5\">id</segment>" + end, row},  // anything opens
      {"<file subject=\"\" a=\"x\">\n" + group + "</groups>\n" + seg + end, "\" a=|g|1-5-id|1|5;"},
      {head + "<segment number=\"\" bytes=\"5\">id</segment>" + end, "s|g|0-5-id|1|5;"},
      {head + "<segment number=\"abc\" bytes=\"abc\">id</segment>" + end, "s|g|0-abc-id|1|0;"},
      {head + "<segment number=\"1\" bytes=\"5\">id" + end, "s|g|1-5-|1|5;"},
      {head + "ab<segment number=\"1\" bytes=\"5\"" + end, "s|g|1-5-ab|1|5;"},
      {head + "number=\"8\" bytes=\"8\" " + seg + end, row},
      {head + "<segment number=\"1\" bytes=\"2147483647\">a</segment>\n" + seg + end,
       "s|g|1-2147483647-a,1-5-id|2|-2147483644;"},
      {head + seg + "\n<segment number=\"-3\" bytes=\"1.5\">b</segment>" + end,
       "s|g|1-5-id,-3-1.5-b|2|6;"},
      {head + "<file subject=\"t\">\n" + seg + end, row},

      {"<file poster=\"x\">", "Can't find subject attribute of file tag."},
      {"<file subject=>", "Can't find opening quote for subject attribute of file tag."},
      {"<file subject=\"x>", no_subject_end},
      {"<file subject=\"", no_subject_end},
      {file, no_groups},
      {file + group + "</groups>", no_groups},
      {file + group + "\nx", "waits"},
      {file + group + "\nx\n</groups>", premature},
      {head + "</file>", "empty file"},
      {head + "x\n</nzb>", "empty file"},
      {head + "<segment bytes=\"1\">", "Can't find number attribute of segment tag."},
      {head + "<segment number=\"1>", no_number_end},
      {head + "<segment number=", no_number_end},
      {head + "<segment number=\"1\">", "Can't find bytes attribute of segment tag."},
      {head + "<segment number=\"1\" bytes=\"1>",
       "Can't find closing quote of bytes attribute of segment tag."},
      {head + "<segment\nnumber=\"1\"", premature},
      {head + seg, premature}};
  for (const auto& [text, outcome] : cases) EXPECT_EQ(Read(text), outcome) << text;
}

// Whatever the file holds, reading ends, or waits for the rest of the groups.
TEST(NzbReader, EndsOnEveryDamagedFile) {
  for (std::size_t at = 0; at < kGood.size(); ++at) {
    EXPECT_EQ(Read(kGood.substr(0, at)).find("hungry"), std::string::npos);
    for (const char c : {'\0', '<', '>', '"', '=', '\n', '\r', '\xFF'}) {
      std::string damaged = kGood;
      damaged[at] = c;
      EXPECT_EQ(Read(damaged).find("hungry"), std::string::npos) << at;
    }
  }
}

}  // namespace
}  // namespace gravlin
