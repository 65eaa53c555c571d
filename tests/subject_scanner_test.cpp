// Subjects as posters write them.
#include "nzb/subject_scanner.h"

#include <gtest/gtest.h>

#include "nzb/catalogue.h"
#include "support/store_fixture.h"

namespace gravlin {
namespace {

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

TEST(SubjectScanner, CostStaysLinearInASubjectOfAlmostHits) {
  std::string long_subject;
  while (long_subject.size() < 1'000'000) long_subject += ".r.7x- \"";
  EXPECT_EQ(ScanSubject(long_subject, kTypes).name, "");
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

}  // namespace
}  // namespace gravlin
