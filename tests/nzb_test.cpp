// What comes from outside: names, subjects as posters write them, NZB files whole, cut and odd.
#include <gtest/gtest.h>

#include <vector>

#include "nzb/catalogue.h"
#include "nzb/names.h"
#include "nzb/nzb_reader.h"
#include "nzb/subject_scanner.h"
#include "platform/text.h"
#include "support/lines.h"
#include "support/store_fixture.h"

namespace gravlin {
namespace {

TEST(Names, ACleanFilenameHoldsNothingThatAFileSystemMinds) {
  const std::string ext = ".part01.rar";
  const std::pair<std::string, std::string> cases[] = {
      {"a...b", "a.b"},
      {"....", ""},
      {":'\\/,;\"<>|\r", ""},
      {"  [keep] (this)_  ", "[keep] (this)_"},
      {"a.;.b", "a..b"},  // the semicolon is removed after the dots
      {"a.:.b", "ab"},    // the colon is removed before them
      {"..\\..\\evil.rar", "evil.rar"},
      {std::string(300, 'x') + ext, std::string(240 - ext.size(), 'x') + ext},
      {std::string(300, '\x80'), std::string(237, '\x80')},  // not UTF-8 at all
  };
  for (const auto& [name, clean] : cases) EXPECT_EQ(Code::CleanFilename(name), clean) << name;
  for (const std::string character : {"\xC3\xA4", "\xE2\x82\xAC", "\xF0\x9F\x8E\xB5"}) {
    std::string name;
    while (name.size() < 300) name += character;
    const std::string clean = Code::CleanFilename(name + "." + ext);
    EXPECT_LE(clean.size(), 240u);
    EXPECT_GT(clean.size(), 240u - character.size());
    EXPECT_TRUE(clean.starts_with(character)) << "cut inside a character";
  }
}

TEST(Names, TextForStatementsLosesFiveCharacters) {
  const std::string longer(12'000, 'x');
  const std::pair<std::string, std::string> cases[] = {{" |a[b]\"c'd''|| ", "abcd "},
                                                       {"   ", ""},
                                                       {"' x", "x"},
                                                       {longer, longer},
                                                       {"'" + longer, longer.substr(0, 9'999)}};
  for (const auto& [text, clean] : cases) EXPECT_EQ(Code::CleanSQLString(text), clean);
  EXPECT_EQ(Code::BadSQLChar("a'b|c"), "|");
  EXPECT_EQ(Code::BadSQLChar("a'b\"c"), "\"");
  EXPECT_EQ(Code::BadSQLChar("O;K"), "");
}

TEST(Names, EscapesAreUndoneInOrder) {
  const std::pair<std::string, std::string> cases[] = {
      {"a &quot;b&quot; &#39;c&#x27;", "a \"b\" 'c'"},
      {"&lt;id&gt; &#60;&#x3c;&#62;&#x3E; &APOS;", "<id> <<>> '"},
      {"&amp;lt;", "<"},     // a double escape
      {"&#38;lt;", "&lt;"},  // the numeric form is undone after the named ones
      {"&#38;#60;", "<"},
      {"&amp;amp;lt;", "&amp;lt;"},
      {"&#228; &nbsp; & &amp", "&#228; &nbsp; & &amp"},
  };
  for (const auto& [escaped, text] : cases) {
    EXPECT_EQ(Code::RemoveXMLEscapeSequences(escaped), text) << escaped;
  }
}

using NamesInTheStore = testing::StoreTest;

TEST_F(NamesInTheStore, OnlyCommittedRowsMakeANameADuplicate) {
  Code::UnknownNZBFileNo = 0;
  store.SQLExecute("BEGIN");
  store.SQLExecute("Insert into NZBFiles (Filename) values ('x y.rar')");
  EXPECT_EQ(Code::FixNZBFilename("[x] 'y'.rar"), "x y.rar");
  store.Commit();
  EXPECT_EQ(Code::FixNZBFilename("[x] 'y'.rar"), "x y.rar.Gravlin-DUPE0001");
  EXPECT_EQ(Code::FixNZBFilename("X y.rar"), "X y.rar") << "the store minds case";
  EXPECT_EQ(Code::FixNZBFilename("'; Delete from NZBFiles; --"), "Delete from NZBFiles --");
  EXPECT_EQ(Code::FixNZBFilename("x y.rar"), "x y.rar.Gravlin-DUPE0002");
  Code::fGlobalDB = folder.Item("absent");
  EXPECT_EQ(Code::FixNZBFilename("x.rar"), "");
}

using Types = std::vector<std::string>;

// The catalogue of a new store.
const Types kTypes = {"par", "par2", "avi", "bmp", "gif", "jpg", "md5", "m3u", "m4a", "mkv",
                      "mp3", "mp4",  "mpg", "nfo", "nzb", "p**", "mov", "rar", "r**", "s**",
                      "ra",  "rm",   "sfv", "srr", "ts",  "vob", "wmv", "p**", "r**", "s**"};

void ExpectNames(const std::vector<std::pair<const char*, const char*>>& cases) {
  for (const auto& [subject, found] : cases) {
    const BinaryPost post = ScanSubject(subject, kTypes);
    EXPECT_EQ(post.name + "|" + post.ext, found) << subject;
  }
}

TEST(SubjectScanner, FindsNameAndExtension) {
  // Which extension wins.  For one type only its last place in the subject counts.
  ExpectNames({{"X.VOL3+4.PAR2 (1/2)", "X.VOL3+4.PAR2|par2"},
               {"x.r2345x", "x.r2345|rar"},
               {"a.nfo.rar", "a.nfo|nfo"},
               {"x.avi.001", "x.avi|avi"},
               {"a.avi b.aviator", "|"},
               {"a.avi_b", "a.avi|avi"},
               {"a.avi)b", "|"}});
  // Digits alone count as a RAR series, and the first digit decides (".2" before ".3").  The last
  // character of a subject is ignored.
  ExpectNames({{"film.001 (1/2)", "film.001|rar"},
               {"x.1", "|"},
               {"x.1z", "x.1z|rar"},
               {"abc.7z (1/2)", "|"},
               {"abc.123_b", "|"},
               {"v1.2 abc.345:x", "v1.2|rar"},
               {"no name here yEnc (1/2)", "|"}});
  // Where the name begins.
  ExpectNames({{"Some - \"day.part03.rar\" yEnc (17/123)", "day.part03.rar|rar"},
               {"\"x y.rar\" yEnc (1/5)", "x y.rar|rar"},
               {"post - x y.rar\" yEnc", "x y.rar|rar"},
               {"one abc def.avi (1/5)", "abc def.avi|avi"},
               {"xyz abcd.avi", "abcd.avi|avi"},
               {".rar", ".rar|rar"},
               {"[a/b] c:d.mkv", "[ab] cd.mkv|mkv"}});
  EXPECT_EQ(ScanSubject("x.x01 y", {"x**"}).ext, ".x01") << "other wildcards keep dot and digits";
  EXPECT_EQ(ScanSubject("x.001", {"avi"}).ext, "") << "the last entry decides";
  EXPECT_EQ(ScanSubject("x.001", {}).name, "x.001");
  EXPECT_EQ(ScanSubject("x.a**b", {"a**b"}).name, "x.a**b") << "wildcard only at the end";
}

TEST(SubjectScanner, FindsPartNumbers) {
  const struct {
    const char* subject;
    int part, total;
  } cases[] = {
      {"x.avi (17/123)", 17, 123}, {"x.avi", 1, 1},
      {"x.avi [3/4]", 3, 4},       {"x.avi [3/4] (1/2)", 1, 2},
      {"x.avi (00/12)", 0, 0},     {"x.avi (/12)", 0, 0},
      {"x.avi (a/12)", 1, 12},     {"x.avi (5/0)", 1, 1},
      {"x.avi (2007)", 1, 1},      {"x.avi (1) 2/3", 1, 1},
      {"x.avi (1", 1, 1},          {"(9/9) x.avi", 1, 1},
      {"x.avi (2/3]", 2, 3},       {"x.avi (4294967297/2)", 1, 2},
      {"x.avi ] (7/8", 1, 1},      {"nothing (1/2)", 0, 0},
  };
  for (const auto& c : cases) {
    const BinaryPost post = ScanSubject(c.subject, kTypes);
    EXPECT_EQ(post.part_no, c.part) << c.subject;
    EXPECT_EQ(post.total_parts, c.total) << c.subject;
  }
}

using Catalogue = testing::StoreTest;

TEST_F(Catalogue, OrdersTheTableForTheScanner) {
  const FolderItem there = Code::fGlobalDB;
  Code::fGlobalDB = folder.Item("absent");
  Code::Types = {"old"};
  Code::NeedToLoadTypes = true;
  Code::LoadTypes();
  EXPECT_EQ(Code::Types, Types{"old"});
  Code::fGlobalDB = there;
  std::string name, ext;
  std::int32_t part = 9, total = 9;
  Code::ScanForBinaryPost("abcd.avi (2/3)", name, ext, part, total);
  EXPECT_EQ(name + ext + std::to_string(part * 10 + total), "abcd.aviavi23");
  EXPECT_FALSE(Code::NeedToLoadTypes);
  EXPECT_EQ(Code::Types, kTypes);

  Store("Insert into FileTypes (Ext) values (''), (NULL), ('PAR2'), ('a**b'), ('xyz')");
  Code::LoadTypes();
  ASSERT_EQ(Code::Types.size(), 34u);
  EXPECT_EQ(Code::Types[2], "PAR2");
  EXPECT_EQ((Types{Code::Types.begin() + 28, Code::Types.end()}),
            (Types{"a**b", "xyz", "p**", "r**", "s**", "a**b"}));
  EXPECT_EQ(LastBox(), "");
  Store("Delete from FileTypes");
  Code::LoadTypes();
  EXPECT_TRUE(Code::Types.empty());
  EXPECT_EQ(LastBox(), "Please add a FileType.");
}

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

}  // namespace
}  // namespace gravlin
