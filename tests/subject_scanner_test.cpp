#include "nzb/subject_scanner.h"

#include <gtest/gtest.h>

#include "app/code.h"

namespace gravlin {
namespace {

// What a new store's catalogue reads as.
const std::vector<std::string> kTypes = {"par", "par2", "avi", "bmp", "gif", "jpg", "md5", "m3u",
                                         "m4a", "mkv",  "mp3", "mp4", "mpg", "nfo", "nzb", "p**",
                                         "mov", "rar",  "r**", "s**", "ra",  "rm",  "sfv", "srr",
                                         "ts",  "vob",  "wmv", "p**", "r**", "s**"};

TEST(SubjectScanner, FindsNameAndExtension) {
  const struct {
    const char* subject;
    const char* name;
    const char* ext;
  } cases[] = {
      // Which extension wins.
      {"x.par2", "x.par2", "par2"},
      {"x.vol003+004.par2", "x.vol003+004.par2", "par2"},
      {"x.r00", "x.r00", "rar"},
      {"x.s01", "x.s01", "rar"},
      {"x.p01", "x.p01", "par"},
      {"x.part03.rar", "x.part03.rar", "rar"},
      {"x.r2345x", "x.r2345", "rar"},
      {"a.nfo.rar", "a.nfo", "nfo"},
      {"x.avi.001", "x.avi", "avi"},
      {"HOLIDAY.AVI (1/2)", "HOLIDAY.AVI", "avi"},
      {"a.avi b.aviator", "", ""},  // only the last ".avi" is looked at
      {"a.avi_b", "a.avi", "avi"},
      {"a.avi)b", "", ""},
      {"film.001", "film.001", "rar"},  // numbers are taken for a RAR series
      {"film.001 (1/2)", "film.001", "rar"},
      // Digits alone.
      {"x.1", "", ""},
      {"x.12", "x.12", "rar"},
      {"x.1z", "x.1z", "rar"},  // the last character is not looked at
      {"x.123", "x.123", "rar"},
      {"abc.7z (1/2)", "", ""},
      {"abc.7 (1/2)", "abc.7", "rar"},
      {"abc.123 (1/2)", "abc.123", "rar"},
      {"abc.123_b", "", ""},
      {"v1.2 abc.345:x", "v1.2", "rar"},  // ".2" is tried before ".3"
      {"no name here yEnc (1/2)", "", ""},
      {"", "", ""},
      {".", "", ""},
      // Where the name begins.
      {"Some - \"holiday.part03.rar\" yEnc (17/123)", "holiday.part03.rar", "rar"},
      {"\"x y.rar\" yEnc (1/5)", "x y.rar", "rar"},
      {"post - x y.rar\" yEnc", "x y.rar", "rar"},
      {"Group - abc def.avi (1/5)", "abc def.avi", "avi"},
      {"abc def.avi (1/5)", "abc def.avi", "avi"},
      {"one abc def.avi (1/5)", "abc def.avi", "avi"},
      {"xyz abcd.avi", "abcd.avi", "avi"},
      {"say \"a b.avi", "a b.avi", "avi"},
      {"\".rar\"", ".rar", "rar"},
      {".rar", ".rar", "rar"},
      {"[a/b] c:d.mkv", "[ab] cd.mkv", "mkv"},
  };
  for (const auto& c : cases) {
    const BinaryPost post = ScanSubject(c.subject, kTypes);
    EXPECT_EQ(post.name, c.name) << c.subject;
    EXPECT_EQ(post.ext, c.ext) << c.subject;
  }
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
      {"x.avi (5/b)", 1, 1},       {"x.avi (2007)", 1, 1},
      {"x.avi (1", 1, 1},          {"(9/9) x.avi", 1, 1},
      {"x.avi (2/3]", 2, 3},       {"x.avi (4294967297/2)", 1, 2},
      {"x.avi (1) 2/3", 1, 1},     {"nothing (1/2)", 0, 0},
      {"x.avi ] (7/8", 1, 1},
  };
  for (const auto& c : cases) {
    const BinaryPost post = ScanSubject(c.subject, kTypes);
    EXPECT_EQ(post.part_no, c.part) << c.subject;
    EXPECT_EQ(post.total_parts, c.total) << c.subject;
  }
}

TEST(SubjectScanner, FollowsTheCatalogue) {
  EXPECT_EQ(ScanSubject("x.x01 y", {"x**"}).ext, ".x01") << "other wildcards keep dot and digits";
  EXPECT_EQ(ScanSubject("x.001", {"avi"}).ext, "") << "the last entry decides";
  EXPECT_EQ(ScanSubject("x.001", {"P**"}).ext, "par");
  EXPECT_EQ(ScanSubject("x.001", {}).name, "x.001");
  EXPECT_EQ(ScanSubject("x.a**b", {"a**b"}).name, "x.a**b") << "wildcard only at the end";
  EXPECT_EQ(ScanSubject("x.AVI", {"aVi"}).ext, "avi");

  Code::Types = {"xyz"};
  Code::NeedToLoadTypes = false;
  std::string name, ext;
  std::int32_t part = 9, total = 9;
  Code::ScanForBinaryPost("abcd.xyz (2/3)", name, ext, part, total);
  EXPECT_EQ(name + "|" + ext, "abcd.xyz|xyz");
  EXPECT_EQ(part * 10 + total, 23);
  Code::ScanForBinaryPost("abcd.avi", name, ext, part, total);
  EXPECT_EQ(name + "|" + ext, "|");
  EXPECT_EQ(part + total, 0);
  Code::Types.clear();
}

TEST(SubjectScanner, TakesAnySubject) {
  const std::string good = "A - \"x.part1.rar\" [1/2] 'y' (3/4) .r01 .7 - .s";
  for (std::size_t length = 0; length <= good.size(); ++length) {
    std::string subject = good.substr(0, length);
    ScanSubject(subject, kTypes);
    for (const char c : {'\0', '.', '"', '\xFF', '/'}) {
      if (length > 0) subject[length / 2] = c;
      const BinaryPost post = ScanSubject(subject, kTypes);
      EXPECT_EQ(post.name.find_first_of("\"/'"), std::string::npos);
    }
  }
  // Cost stays linear in a subject that consists of almost-hits.
  std::string long_subject;
  while (long_subject.size() < 1'000'000) long_subject += ".r.7x- \"";
  EXPECT_EQ(ScanSubject(long_subject, kTypes).name, "");
}

}  // namespace
}  // namespace gravlin
