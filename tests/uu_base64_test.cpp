// The UU and Base64 decoders on whole and broken text.
#include <gtest/gtest.h>
#include <openssl/evp.h>

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
      {"one and two bytes", begin + "!0P``\n\"0V$`\nend\n", "CCa"},
      {"a check character", begin + "#0V%TZ\nend\n", "Cat"},
      {"blanks lost at the end", begin + "&0V%T\n#0V%T\n#0\nend\n",
       "Cat" + std::string(3, '\0') + "Cat@" + std::string(2, '\0')},
      {"a count without data before the end", begin + "#\n`\nend\n", std::string(3, '\0')},
      {"text between the articles of a block",
       begin + "#0V%T\n-- cut here --\nPart 2 of 3\nSECTION 2\n\n#0V%T\nend\n", "CatCat"},
      {"the dot that closes an article", begin + "#0V%T\r\n.\r\n#0V%T\r\nend\r\n", "CatCat"},
      // Lines of uuencode and of Python's binascii, with the dot that the wire adds.
      {"a doubled dot", begin + "..1F]U<G1E96X@8GET97,`\n", "Fourteen bytes"},
      {"and a check character", begin + "..1F]U<G1E96X@8GET97,`$\n", "Fourteen bytes"},
      {"dots for count and data", begin + "...2!T;R`U+\"`X('1O(#0`\n", "9 to 5, 8 to 4"},
      {"no doubled dots", begin + ".1F]U<G1E96X@8GET97,`$\n..2!T;R`U+\"`X('1O(#0`\n",
       "Fourteen bytes9 to 5, 8 to 4"},
      {"characters that are no code", begin + "#0V{T\n#0V\x90T\n#0V%T\nend\n", "Cat"},
  };
  for (const auto& c : cases) EXPECT_EQ(DecodeUU(c.text), c.expected) << c.what;
}

TEST(UUCoderStreamTest, AnyBytesComeBack) {
  std::mt19937 random(3);
  for (const char zero : {'`', ' '}) {
    std::string bytes(199'994, '\0'), text = "begin 644 a\r\n";
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      if (i / 500 % 7 != 1) bytes[i] = static_cast<char>(random());
    }
    for (std::string line : testing::LinesOf(loopback::UuLines(bytes))) {
      std::replace(line.begin(), line.end(), '`', zero);
      while (line.ends_with(' ')) line.pop_back();
      text += (line.starts_with('.') ? "." : "") + line + "\r\n";
    }
    EXPECT_TRUE(DecodeUU(text + zero + "\r\nend\r\n") == bytes) << zero;
  }
}

std::string DecodeBase64(std::string_view text, std::size_t piece) {
  Base64Stream stream;
  std::string decoded;
  for (std::size_t at = 0; at < text.size(); at += piece)
    decoded += stream.Decode(text.substr(at, piece));
  decoded += stream.FinishDecoding();
  EXPECT_EQ(stream.FinishDecoding(), "");
  return decoded;
}

TEST(Base64StreamTest, GroupsBecomeBytesWhateverThePieces) {
  const struct {
    const char* what;
    std::string text, expected;
  } cases[] = {
      {"line ends within a group", "TW\r\nFu\neS\rBo", "Many h"},
      {"lines of other characters", "TW\n a\n\tb\nTo: b\nc-d\n.\nFu", "Man"},
      {"blanks at the end of a line", "TW \t\r\nFu ", "Man"},
      {"a word alone", "word\nTWFu", "\xc2\x8a\xddMan"},
      {"words that no encoder made",
       "TWFuTWFuTWFuTWFu\r\n\r\nthanks\nTWFuTWFuTWFuTQ==\nthanks\n--b\nhello\nTWFu",
       "ManManManManManManManMMan"},
      {"short last lines", "TWFuTWFuTWFuTWFu\r\nTWFuTW\n--b\nFu\n--b\nTWFu",
       "ManManManManManManMan"},
      {"too much padding", "TQ====TWE=", "MMa"},
      {"padding behind a lone character", "T=TWFu", "Man"},
  };
  for (const auto& c : cases) {
    for (std::size_t piece = 1; piece <= c.text.size() + 1; ++piece) {
      EXPECT_EQ(DecodeBase64(c.text, piece), c.expected) << c.what << ", pieces of " << piece;
    }
  }
  const std::string data(80'000, 'A'), other(1 << 16, '!');
  EXPECT_EQ(DecodeBase64(data + ": TWFu\nT!\n" + other + "TWFu", 999),
            std::string(60'000, '\0') + "Man");
}

// OpenSSL encodes; mpack, Python's email module and news programs write such lines around it.
TEST(Base64StreamTest, ArticlesBecomeTheirFile) {
  const std::string frame =
      "222 0 <1@vm> article\nSubject: in.bin (2/2)\nContent-Type: message/partial; number=2;\n"
      "\t id=\"20497.1795492099@vm\"\n\nThis is a MIME encoded message.\n---\n-----\n"
      "--===============8742==\n--Boundary--\n------=_NextPart_000_0001\n.\n";
  for (std::size_t width = 60; width < 79; ++width) {
    const std::size_t length = width == 77 ? 1'000 : width == 78 ? 200'000 : width;
    std::string text = frame, bytes;
    for (const std::size_t size : {length * 2 + 1, length * 2 + 2, length * 3}) {
      const std::string part = loopback::RandomBytes(size, 0, static_cast<std::int64_t>(size));
      bytes += part;
      std::string code(size / 3 * 4 + 5, '\0');
      code.resize(static_cast<std::size_t>(EVP_EncodeBlock(
          reinterpret_cast<unsigned char*>(code.data()),
          reinterpret_cast<const unsigned char*>(part.data()), static_cast<int>(size))));
      for (std::size_t at = 0; at < code.size(); at += length) {
        text += code.substr(at, length) + '\n';
        if (at == length) text += frame;
      }
      text += frame;
    }
    EXPECT_TRUE(DecodeBase64(text, 5'000) == bytes) << length;
    std::string wire;
    for (const char c : text) c == '\n' ? wire += "\r\n" : wire += c;
    EXPECT_TRUE(DecodeBase64(wire, 5'000) == bytes) << length << " and CR LF";
  }
}

}  // namespace
}  // namespace gravlin
