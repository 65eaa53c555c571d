#include "platform/text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "platform/clock.h"

namespace gravlin {
namespace {

TEST(Text, FindsPositionsWithoutRegardToCase) {
  const struct {
    int start;
    const char* text;
    const char* find;
    int position;
  } cases[] = {
      {1, "abc", "a", 1},
      {0, "abc", "a", 1},
      {-5, "abc", "a", 1},
      {2, "abcabc", "a", 4},
      {1, "xxFILExx", "file", 3},
      {1, "xxfilexx", "FILE", 3},
      {1, "<FILE subj", "<file ", 1},
      {1, "ffFfile", "fILe", 4},
      {1, "abc", "abcd", 0},
      {4, "abc", "c", 0},
      {3, "abc", "c", 3},
      {1, "", "a", 0},
      {1, "Zz", "z", 1},
      {2, "zZ", "z", 2},
      {1, "[{", "{", 2},
      {1, "\xC3\x84", "\xC3\xA4", 0},
      {2, "abc", "", 2},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(InStr(c.start, c.text, c.find), c.position) << c.text << " / " << c.find;
  }
  EXPECT_EQ(InStr(std::string_view("a\0b", 3), "B"), 3);
  // Wherever the text is cut for the search.
  for (std::size_t at = 200; at < 600; ++at) {
    EXPECT_EQ(InStr(std::string(at, 'x') + "?b Ab", "aB"), static_cast<int>(at) + 4);
  }
}

TEST(Text, FindsTheLastOccurrence) {
  EXPECT_EQ(LastInStr("a.RAR.rar x.Rar.r", ".rar"), 12);
  EXPECT_EQ(LastInStr("aaa", "aa"), 2);
  EXPECT_EQ(LastInStr("abc", "abc"), 1);
  EXPECT_EQ(LastInStr("abc", "x"), 0);
  EXPECT_EQ(LastInStr("", ""), 0);
  EXPECT_EQ(LastInStr("ab", "abc"), 0);
}

// Every search that starts at one of many first letters must not run through the text for the other
// case again.
TEST(Text, SearchingATextFullOfFirstLettersStaysLinear) {
  const std::string text(1 << 22, 'a');
  EXPECT_EQ(InStr(text, "aB"), 0);
  EXPECT_EQ(ReplaceAll(text, "A", "").size(), 0u);
}

TEST(Text, CutsPieces) {
  EXPECT_EQ(Mid("abcdef", 3, 2), "cd");
  EXPECT_EQ(Mid("abcdef", 0, 2), "ab");
  EXPECT_EQ(Mid("abcdef", 5, 99), "ef");
  EXPECT_EQ(Mid("abcdef", 7, 1), "");
  EXPECT_EQ(Mid("abcdef", 2, -1), "");
  EXPECT_EQ(Mid("abcdef", 4), "def");
  EXPECT_EQ(Left("abc", 2), "ab");
  EXPECT_EQ(Left("abc", 9), "abc");
  EXPECT_EQ(Right("abc", 2), "bc");
  EXPECT_EQ(Right("abc", 9), "abc");
  EXPECT_EQ(Right("abc", 0), "");
  EXPECT_EQ(Trim("  a b \t "), "a b \t");
  EXPECT_EQ(Trim("   "), "");
}

TEST(Text, ValReadsASignAPointAndNothingElse) {
  const struct {
    const char* text;
    double value;
  } cases[] = {
      {"12/34", 12}, {"007", 7}, {"-5x", -5}, {"+5", 5},   {"1.5.2", 1.5}, {".5", 0.5}, {"5.", 5},
      {"", 0},       {"abc", 0}, {" 7", 0},   {"1e5", 1},  {"--1", 0},     {"+-1", 0},  {"-", 0},
      {".", 0},      {"inf", 0}, {"nan", 0},  {"0x10", 0}, {"12,5", 12},   {"- 3", 0},
  };
  for (const auto& c : cases) EXPECT_EQ(Val(c.text), c.value) << c.text;
  EXPECT_EQ(Val("9007199254740993"), 9007199254740992.0);
  EXPECT_TRUE(std::isinf(Val(std::string(400, '9'))));
}

TEST(Text, DoublesAreCutAndWrappedIntoThirtyTwoBits) {
  EXPECT_EQ(ToInt32(2.9), 2);
  EXPECT_EQ(ToInt32(-2.9), -2);
  EXPECT_EQ(ToInt32(2147483648.0), std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(ToInt32(4294967297.0), 1);
  EXPECT_EQ(ToInt32(-4294967297.0), -1);
  EXPECT_EQ(ToInt32(1e300), 0);
  EXPECT_EQ(ToInt32(std::numeric_limits<double>::infinity()), 0);
  EXPECT_EQ(ToInt32(std::numeric_limits<double>::quiet_NaN()), 0);
}

TEST(Text, FormatsWithPictures) {
  const struct {
    double value;
    const char* picture;
    const char* text;
  } cases[] = {
      {12, "00000", "00012"},
      {123456, "00000", "123456"},
      {0, "#####################", ""},
      {0.4, "#,###", ""},
      {88123456789.0, "#####################", "88123456789"},
      {9007199254740992.0, "#####################", "9007199254740992"},
      {1234567, "###,###,###,###", "1,234,567"},
      {123, "###,###,###,###", "123"},
      {0, "###,###,##0", "0"},
      {0, "##0.0", "0.0"},
      {999.96, "##0.0", "1000.0"},
      {0.05, "##0.00", "0.05"},
      {2.5, "####0", "3"},
      {3.125, "0.##", "3.13"},
      {3.5, "0.##", "3.5"},
      {3, "0.##", "3"},
      {-7, "00", "-07"},
      {-0.2, "0", "0"},
  };
  for (const auto& c : cases) EXPECT_EQ(Format(c.value, c.picture), c.text) << c.picture;
}

TEST(Text, ComparesReplacesAndSplits) {
  EXPECT_TRUE(SameText("PAR2", "par2"));
  EXPECT_FALSE(SameText("par2", "par"));
  EXPECT_FALSE(SameText("@", "`"));
  EXPECT_LT(CompareText("abc", "ABD"), 0);
  EXPECT_LT(CompareText("ab", "ABC"), 0);
  EXPECT_EQ(CompareText("ab", "AB"), 0);
  EXPECT_GT(CompareText("\xC3", "z"), 0);
  EXPECT_EQ(ReplaceAll("a...b", "..", ""), "a.b");
  EXPECT_EQ(ReplaceAll("xAyax", "a", "aa"), "xaayaax");
  EXPECT_EQ(ReplaceAll("abc", "", "x"), "abc");
  EXPECT_EQ(Split("a,b,,c", ","), (std::vector<std::string>{"a", "b", "", "c"}));
  EXPECT_EQ(Split(",", ","), (std::vector<std::string>{"", ""}));
  EXPECT_TRUE(Split("", ",").empty());
}

class FixedClock : public Clock {
 public:
  double UnixSeconds() override { return seconds; }
  std::int64_t Milliseconds() override { return milliseconds; }
  bool RunsByItself() const override { return false; }
  double seconds = 0;
  std::int64_t milliseconds = 0;
};

TEST(Clock, DatesAreLocalAndCarry) {
  FixedClock clock;
  SetClock(&clock);
  setenv("TZ", "UTC-2", 1);  // two hours east
  tzset();
  clock.seconds = 951782399;  // 2000-02-28 23:59:59 UTC
  clock.milliseconds = 2500;
  Date date;
  EXPECT_EQ(date.LongTime(), "01:59:59");
  EXPECT_EQ(date.Year() * 10000 + date.Month() * 100 + date.Day(), 20000229);
  EXPECT_EQ(date.TotalSeconds(), 951782399.0 + 7200 + 2082844800);
  EXPECT_EQ(Ticks(), 150);
  Date later = date;
  later.SetSecond(later.Second() + 1);
  EXPECT_EQ(later.LongTime(), "02:00:00");
  later.SetMinute(22 * 60);
  EXPECT_EQ(later.Day(), 1);
  EXPECT_EQ(later.Month(), 3);
  EXPECT_TRUE(date < later);
  setenv("TZ", "UTC", 1);
  tzset();
  SetClock(nullptr);
}

}  // namespace
}  // namespace gravlin
