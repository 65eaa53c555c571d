// The UU and Base64 decoders on whole and broken text.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

#include "decode/base64_stream.h"
#include "decode/uu_coder_stream.h"
#include "loopback/posted_set.h"
#include "support/lines.h"
#include "support/temp_folder.h"

namespace gravlin {
namespace {

std::string DecodeUU(const std::string& text) {
  const testing::TempFolder folder;
  UUCoderStream stream(folder.Write("in", text));
  std::string decoded;
  while (!stream.EndOfFile()) decoded += stream.Read();
  EXPECT_TRUE(stream.Close());
  return decoded;
}

TEST(UUCoderStreamTest, LinesBecomeBytes) {
  const std::string cat = "begin 644 a\r\n#0V%T\r\n`\r\nend\r\n";
  const std::string begin = "begin 644 a\n";
  const struct {
    const char* what;
    std::string text, expected;
  } cases[] = {
      {"one block", cat, "Cat"},
      {"no line end at the end", "begin 644 a\n#0V%T", "Cat"},
      {"two blocks and text around", "hello\r\n" + cat + "junk 1\r\n#0V%T\r\n" + cat + "bye",
       "CatCat"},
      {"a block without its end", begin + "#0V%T\n" + cat, "CatCat"},
      {"back-quotes and blanks", begin + "#````\n#    \nend\n", std::string(6, '\0')},
      {"one and two bytes", begin + "!0P``\n\"0V$`\nend\n", "CCa"},
      {"a check character", begin + "#0V%TZ\nend\n", "Cat"},
      {"blanks lost at the end", begin + "&0V%T\n#0V%T\n#0\nend\n",
       "Cat" + std::string(3, '\0') + "Cat@" + std::string(2, '\0')},
      {"a count without data before the end", begin + "#\n`\nend\n", std::string(3, '\0')},
      {"text between the articles of a block",
       begin + "#0V%T\n-- cut here --\nPart 2 of 3\nSECTION 2\n\n#0V%T\nend\n", "CatCat"},
      {"the dot that closes an article", begin + "#0V%T\r\n.\r\n#0V%T\r\nend\r\n", "CatCat"},
      {"characters that are no code", begin + "#0V{T\n#0V\x90T\n#0V%T\nend\n", "Cat"},
  };
  for (const auto& c : cases) EXPECT_EQ(DecodeUU(c.text), c.expected) << c.what;
}

TEST(UUCoderStreamTest, AnyBytesComeBack) {
  std::mt19937 random(3);
  for (const char zero : {'`', ' '}) {
    std::string bytes(200'000, '\0'), text = "begin 644 a\r\n";
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      if (i / 500 % 7) bytes[i] = static_cast<char>(random());
    }
    for (std::string line : testing::LinesOf(loopback::UuLines(bytes))) {
      std::replace(line.begin(), line.end(), '`', zero);
      while (line.ends_with(' ')) line.pop_back();
      text += line + "\r\n";
    }
    EXPECT_TRUE(DecodeUU(text + zero + "\r\nend\r\n") == bytes) << zero;
  }
}

TEST(Base64StreamTest, GroupsBecomeBytesWhateverThePieces) {
  const struct {
    const char* what;
    std::string text, expected;
  } cases[] = {
      {"empty", "", ""},
      {"line ends within a group", "TW\r\nFu\neS\rBo", "Many h"},
      {"what is no character", "T-W_F*u", "Man"},
      {"text behind padding", "TWE=TWE=", "MaMa"},
      {"too much padding", "TQ====TWE=", "MMa"},
      {"a lone character", "TWFuT", "Man"},
      {"padding behind a lone character", "T=TWFu", "Man"},
      {"the highest values", "+/+/", "\xfb\xff\xbf"},
  };
  for (const auto& c : cases) {
    for (std::size_t piece = 1; piece <= c.text.size() + 1; ++piece) {
      Base64Stream stream;
      std::string decoded;
      for (std::size_t at = 0; at < c.text.size(); at += piece) {
        decoded += stream.Decode(std::string_view(c.text).substr(at, piece));
      }
      decoded += stream.FinishDecoding();
      EXPECT_EQ(decoded, c.expected) << c.what << ", pieces of " << piece;
      EXPECT_EQ(stream.FinishDecoding(), "");
    }
  }
}

}  // namespace
}  // namespace gravlin
