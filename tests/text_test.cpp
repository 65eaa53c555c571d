// Text by its positions, numbers and formats.
#include "platform/text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "platform/clock.h"
#include "support/test_clock.h"

namespace gravlin {
namespace {

TEST(Text, FindsTheFirstAndTheLastPositionWithoutRegardToCase) {
  const struct {
    int start;
    const char *text, *find;
    int first, last;
  } cases[] = {{0, "abc", "a", 1, 1},    {-5, "aaa", "aa", 1, 2},
               {2, "abcabc", "A", 4, 4}, {1, "ffFfile", "fILe", 4, 4},
               {1, "abc", "abcd", 0, 0}, {4, "abc", "c", 0, 3},
               {3, "abc", "c", 3, 3},    {1, "", "a", 0, 0},
               {1, "[{", "{", 2, 2},     {2, "zZ", "z", 2, 2},
               {2, "abc", "", 2, 3},     {1, "a.RAR.rar x.Rar.r", ".rar", 2, 12},
               {1, "abc", "abc", 1, 1},  {1, "\xC3\x84", "\xC3\xA4", 0, 0}};
  for (const auto& c : cases) {
    EXPECT_EQ(InStr(c.start, c.text, c.find), c.first) << c.text << " / " << c.find;
    EXPECT_EQ(LastInStr(c.text, c.find), c.last) << c.text << " / " << c.find;
  }
  EXPECT_EQ(InStr(std::string_view("a\0b", 3), "B"), 3);
  // At each position of the border between two pieces of the search.
  for (std::size_t at = 200; at < 600; ++at) {
    EXPECT_EQ(InStr(std::string(at, 'x') + "?b Ab", "aB"), static_cast<int>(at) + 4);
  }
  // Without reading the text for the other case at every first letter.
  const std::string text(1 << 22, 'a');
  EXPECT_EQ(InStr(text, "aB"), 0);
  EXPECT_EQ(ReplaceAll(text, "A", "").size(), 0u);
}

TEST(Text, CutsReplacesSplitsAndCompares) {
  EXPECT_EQ(Mid("abcdef", 0, 2) + Mid("abcdef", 5, 99), "abef");
  EXPECT_EQ(Mid("abcdef", 7, 1) + Mid("abcdef", 2, -1) + Right("abc", 0), "");
  EXPECT_EQ(Left("abc", 9) + Right("abc", 9) + Right("abc", 2), "abcabcbc");
  EXPECT_EQ(Trim("  a b \t ") + Trim("   "), "a b \t");
  EXPECT_EQ(ReplaceAll("a...b", "..", ""), "a.b");
  EXPECT_EQ(ReplaceAll("xAyax", "a", "aa"), "xaayaax");
  EXPECT_EQ(ReplaceAll("abc", "", "x"), "abc");
  EXPECT_EQ(Split("a,b,,", ","), (std::vector<std::string>{"a", "b", "", ""}));
  EXPECT_TRUE(Split("", ",").empty());
  EXPECT_TRUE(SameText("PAR2", "par2"));
  EXPECT_FALSE(SameText("par2", "par") || SameText("@", "`"));
  EXPECT_LT(CompareText("abc", "ABD"), 0);
  EXPECT_LT(CompareText("ab", "ABC"), 0);
  EXPECT_GT(CompareText("\xC3", "z"), 0);
}

TEST(Text, NumbersAreReadCutAndWrapped) {
  const std::pair<std::string, double> cases[] = {
      {"12/34", 12}, {"007", 7}, {"-5x", -5}, {"+5", 5},   {"1.5.2", 1.5}, {".5", 0.5}, {"5.", 5},
      {"", 0},       {"abc", 0}, {" 7", 0},   {"1e5", 1},  {"--1", 0},     {"+-1", 0},  {"-", 0},
      {".", 0},      {"inf", 0}, {"nan", 0},  {"0x10", 0}, {"12,5", 12},   {"- 3", 0}};
  for (const auto& [text, value] : cases) EXPECT_EQ(Val(text), value) << text;
  EXPECT_TRUE(std::isinf(Val(std::string(400, '9'))));

  const double infinity = std::numeric_limits<double>::infinity();
  const std::pair<double, std::int32_t> cuts[] = {
      {2.9, 2},   {-2.9, -2},    {2147483648.0, INT32_MIN}, {4294967297.0, 1}, {-4294967297.0, -1},
      {1e300, 0}, {infinity, 0}, {std::nan(""), 0}};
  for (const auto& [value, cut] : cuts) EXPECT_EQ(ToInt32(value), cut) << value;
}

TEST(Text, FormatsWithPictures) {
  const struct {
    double value;
    const char *picture, *text;
  } cases[] = {{12, "00000", "00012"},
               {0, "####", ""},
               {0.4, "#,###", ""},
               {1234567, "#,###", "1,234,567"},
               {999.96, "##0.0", "1000.0"},
               {2.5, "####0", "3"},
               {3.125, "0.##", "3.13"},
               {3.5, "0.##", "3.5"},
               {3, "0.##", "3"},
               {-7, "00", "-07"},
               {-0.2, "0", "0"},
               {1e15, "#", "1000000000000000"}};
  for (const auto& c : cases) EXPECT_EQ(Format(c.value, c.picture), c.text) << c.picture;
}

TEST(Clock, DatesAreLocalAndCarry) {
  testing::TestClock clock;
  setenv("TZ", "UTC-2", 1);  // two hours east
  tzset();
  clock.start_seconds = 951782399 - clock.UnixSeconds() + clock.start_seconds;
  Date date;  // 2000-02-28 23:59:59 UTC
  EXPECT_EQ(date.LongTime(), "01:59:59");
  EXPECT_EQ(date.Year() * 10000 + date.Month() * 100 + date.Day(), 20000229);
  EXPECT_EQ(date.TotalSeconds(), 951782399.0 + 7200 + 2082844800);
  Date later = date;
  later.SetSecond(later.Second() + 1);
  EXPECT_EQ(later.LongTime(), "02:00:00");
  later.SetMinute(22 * 60);
  EXPECT_EQ(later.Month() * 100 + later.Day(), 301);
  setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
  tzset();
  clock.start_seconds += 1761440390 - clock.UnixSeconds();  // ten seconds before summer time ends
  const Date summer;
  clock.Advance(20'000);
  const Date winter;
  EXPECT_EQ(winter.SecondsSince(summer), 20);
  EXPECT_TRUE(summer < winter && winter > summer);
  EXPECT_EQ(winter.TotalSeconds() - summer.TotalSeconds(), 20 - 3600);
  setenv("TZ", "UTC", 1);
  tzset();
  EXPECT_EQ(Ticks(), clock.Milliseconds() * 60 / 1000);
}

}  // namespace
}  // namespace gravlin
