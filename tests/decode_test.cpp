// Encodings and their decoders, on whole and broken text.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "decode/base64_stream.h"
#include "decode/decode_file.h"
#include "decode/encodings.h"
#include "decode/uu_coder_stream.h"
#include "decode/yenc.h"
#include "loopback/posted_set.h"
#include "support/full_disk.h"
#include "support/lines.h"
#include "support/temp_folder.h"

namespace gravlin {
namespace {

const std::string kHead = "222 1 <a@b>\r\nFrom: x\r\nSubject: y\r\n\r\n";
const std::string kMime =
    "Content-Type: image/jpeg; name=\"m.jpg\"\r\nContent-Transfer-Encoding: BASE64\r\n"
    "Content-Disposition: attachment; filename=\"pic one.jpg\"\r\n\r\n";

struct Case {
  const char* what;
  std::string text, expected;
};

void Check(auto function, const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    EXPECT_EQ(function(c.text), c.expected) << c.what;
    // A text may be cut anywhere; the sanitizers watch for bad reads.
    for (std::size_t length = 0; length < std::min<std::size_t>(c.text.size(), 400); ++length)
      function(c.text.substr(0, length));
  }
}

std::string Fill(std::size_t size) { return std::string(size, 'x'); }

TEST(EncodingsTest, TheBodyTellsItsEncoding) {
  Check(Code::DetermineEncoding,
        {
            {"empty", "", ""},
            {"no empty line", "=ybegin line=128 name=x\r\n", ""},
            {"yEnc within a line, in capitals", kHead + "see =YBEGIN", "yEnc"},
            {"yEnc before UU", kHead + "begin 644 a\r\n=ybegin\r\n", "yEnc"},
            {"yEnc at the end of the reach", kHead + Fill(4993) + "=ybegin", "yEnc"},
            {"yEnc beyond the reach", kHead + Fill(4994) + "=ybegin", ""},
            {"yEnc in the headers only", "=ybegin\r\n\r\n\r\ntext", ""},
            {"UU further on", kHead + "text\r\nBegin 755 a.txt\r\n", "UU"},
            {"neither is 0", kHead + "begin 000 x\r\n", ""},
            {"a line feed alone starts no line", kHead + "a\nbegin 644 x\r\n", ""},
            {"UU at the end of the reach", kHead + Fill(5000) + "\r\nbegin 006 x", "UU"},
            {"UU beyond the reach", kHead + Fill(5001) + "\r\nbegin 644 x", ""},
            {"Base64 far behind", kHead + Fill(9000) + "\r\n" + kMime, "Base64"},
            {"Base64 in the headers only", kMime + "AAAA", ""},
            {"headers that just fit", Fill(4998) + "\r\n\r\n=ybegin", "yEnc"},
            {"headers that do not", Fill(4999) + "\r\n\r\n=ybegin", ""},
        });
}

TEST(EncodingsTest, UUKeepsTheBody) {
  const std::string body = "begin 644 a\r\n#86)C\r\nend\r\n";
  const std::string late = "BEGIN 644 a\r\n\r\n\r\nend\r\n.\r\n";
  Check(Code::StripUU, {{"a body", kHead + body + ".\r\n", body},
                        {"an empty line behind the start", late, late},
                        {"a torn dot", kHead + ".\r", ""},
                        {"nothing", kHead, ""}});
}

TEST(EncodingsTest, Base64KeepsTheFirstEncodedPart) {
  const std::string data = "QUJD\r\nREVG\r\n";
  const std::string long_mime = "Content-Transfer-Encoding: base64\r\n" + Fill(5000) + "\r\n\r\n";
  const std::string brink =
      Fill(5000 - 2 - 35 - kHead.size());  // the LF of the empty line at 5,000
  const std::string brink_mime = "Content-Transfer-Encoding: base64\r\n" + brink + "\r\n\r\n";
  Check(Code::StripBase64,
        {
            {"a header part that ends at the last position", kHead + brink_mime + data + ".\r\n",
             brink_mime + data},
            {"a header part that ends before it",
             kHead + brink_mime.substr(0, 35) + brink_mime.substr(36) + data + ".\r\n", data},
            {"one part", kHead + kMime + data + ".\r\n", data},
            {"up to the boundary", kHead + kMime + data + "--=_nextpart_1--\r\n.\r\n", data},
            {"a later article, whole", kHead + data + ".\r\n", kHead + data + "."},
            {"a header part without an end",
             kHead + "Content-Transfer-Encoding: base64\r\nQUJD\r\n.\r\n",
             "Content-Transfer-Encoding: base64\r\nQUJD\r\n"},
            {"a header part beyond the reach", kHead + long_mime + data + "--=_NextPart_\r\n.\r\n",
             long_mime + data + "--=_NextPart_\r\n"},
        });
}

TEST(EncodingsTest, TheBodyGivesAFileName) {
  Check(Code::ExtractFilenameFromBody,
        {
            {"yEnc", kHead + "=ybegin line=128 size=9 name= a b.bin \r\ndata\r\n.\r\n", "a b.bin"},
            {"yEnc without a line end", kHead + "=ybegin line=128 name=a.bin", ""},
            {"a name in the headers comes first",
             "222 1 <a@b>\r\nSubject: s\r\nX: name=other\r\n\r\n=ybegin name=a.bin\r\n.\r\n",
             "other"},
            {"a mark in the last three bytes", "=ybegin name=a\r\n", "a"},
            {"UU at the very start", "begin 644 a.txt\r\n", "a.txt"},
            {"UU behind a false start", kHead + "begin with\r\nto begin 644 no\r\nbegin 600 a\r\n",
             "a"},
            {"UU without a line end", kHead + "begin 644 a.txt", ""},
            {"Base64", kHead + kMime, "pic one.jpg"},
            {"Base64 without a file name", kHead + "Content-Transfer-Encoding: base64\r\n\r\n", ""},
            {"a file name before the encoding",
             kHead + "filename=\"a\"\r\nContent-Transfer-Encoding: base64\r\n", ""},
            {"empty", "", ""},
        });
}

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
      {"blanks lost before the closing line", begin + "&0V%T\n#0\n`\nend\n",
       "Cat" + std::string(3, '\0') + "@" + std::string(2, '\0')},
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

using testing::TempFolder;
using Kernel = YencDecoder::Kernel;

constexpr Kernel kKernels[] = {Kernel::kPlain, Kernel::kVector};

// Decodes in pieces that end at the given positions.
std::string Decode(const std::string& text, Kernel kernel, std::vector<std::size_t> borders = {}) {
  YencDecoder decoder(kernel);
  std::string out;
  borders.push_back(text.size());
  std::size_t from = 0;
  for (const std::size_t border : borders) {
    // A separate block, so that a sanitizer sees a read beyond the piece.
    const std::vector<std::uint8_t> piece(text.begin() + static_cast<std::ptrdiff_t>(from),
                                          text.begin() + static_cast<std::ptrdiff_t>(border));
    std::vector<std::uint8_t> to(piece.size() + YencDecoder::kSlack);
    const std::size_t count = decoder.Decode(piece, to.data());
    out.append(reinterpret_cast<const char*>(to.data()), count);
    from = border;
  }
  return out;
}

const std::string kBegin = "=ybegin line=128 size=3 name=a\r\n";

TEST(YencTest, BlocksAreFoundAndDecoded) {
  const std::string abc = "\x8b\x8c\x8d";
  const struct {
    const char* what;
    std::string text, expected;
  } cases[] = {
      {"fewer than seven bytes", "=ybegi", ""},
      {"no text between blocks", kBegin + abc + "\r\n=yend size=3\r\njunk\r\n.\r\n", "abc"},
      {"behind a long first line", "222 article follows\r\n" + kBegin + abc, "abc"},
      {"behind an empty first line", "\r\n" + kBegin + abc, "abc"},
      {"hidden by a short first line", "222\r\n" + kBegin + abc, ""},
      {"in capitals", "222 article\r\n=YBEGIN x\r\n" + abc + "\r\n=yEnD\r\nnot this", "abc"},
      {"not at the start of a line", "222 article\r\n " + kBegin + abc, ""},
      {"line feeds alone", "222 article\n=ybegin x\n" + abc, ""},
      {"two articles and text behind",
       kBegin + abc + "\r\n=yend\r\n.\r\n222 next one\r\nA: b\r\n\r\n" + kBegin + abc +
           "\r\n=yend size=3\r\njunk\r\n",
       "abcabc"},
      {"a part line", kBegin + "=ypart begin=1 end=3\r\n" + abc, "abc"},
      {"escapes", kBegin + "=@=J=M=}=\x7d", std::string("\xd6\xe0\xe3\x13\x13", 5)},
      {"an escaped CR", kBegin + "=\r\n" + abc, std::string("\xa3") + "abc"},
      {"a capital Y is data", kBegin + "=Yend\r\n", std::string("\xef\x3b\x44\x3a", 4)},
      {"wraps below 42", kBegin + std::string("\0\x29\x2a", 3), std::string("\xd6\xff\0", 3)},
      {"an end in the opening line", "=ybegin =yend\r\n" + abc, "abc"},
  };
  for (const auto& c : cases) {
    for (const Kernel kernel : kKernels) {
      EXPECT_EQ(Decode(c.text, kernel), c.expected) << c.what;
      std::vector<std::size_t> every(c.text.size());
      for (std::size_t i = 0; i < every.size(); ++i) every[i] = i;
      EXPECT_EQ(Decode(c.text, kernel, every), c.expected) << c.what << ", byte by byte";
    }
  }
}

// Texts that reach every state: lines as an encoder writes them, runs of one byte, and whole and
// broken control lines.
std::string RandomText(std::mt19937& random) {
  static const std::string kPieces[] = {"=ybegin", "\r\n=ybegin line=128\r\n",
                                        "=yend",   "=ypart\r\n",
                                        "=y",      "\r\n=yend size=1\r\n",
                                        "=",       "==",
                                        "\r",      "\n",
                                        "\r\n",    "=\r\n",
                                        "y",       "\r\n=yEnd\r\n",
                                        "=YBEGIN", "=Y",
                                        "\n\n"};
  const auto up_to = [&random](std::size_t most) { return random() % (most + 1); };
  std::string text;
  if (up_to(3) != 0) text = up_to(1) ? kBegin : "222 0 <a@b>\r\n" + kBegin;
  for (std::size_t pieces = up_to(24); pieces > 0; --pieces) {
    const std::size_t kind = up_to(2);
    if (kind == 0) text += kPieces[up_to(std::size(kPieces) - 1)];
    for (std::size_t i = kind == 1 ? up_to(260) : 0; i > 0; --i)
      text += static_cast<char>(random());
    if (kind == 2) text.append(up_to(70), static_cast<char>(random()));
  }
  return text;
}

TEST(YencTest, EveryKernelGivesTheBytesOfThePlainOneWhateverThePieces) {
  std::mt19937 random(20250615);
  int data_seen = 0;
  for (int execution = 0; execution < 20'000; ++execution) {
    const std::string text = RandomText(random);
    const std::string expected = Decode(text, Kernel::kPlain);
    data_seen += !expected.empty();
    std::vector<std::size_t> borders(random() % 4);
    for (std::size_t& border : borders) border = random() % (text.size() + 1);
    std::sort(borders.begin(), borders.end());
    for (const Kernel kernel : kKernels) {
      ASSERT_EQ(Decode(text, kernel, borders), expected)
          << "kernel " << static_cast<int>(kernel) << ", execution " << execution << ", text "
          << ::testing::PrintToString(text);
    }
  }
  EXPECT_GT(data_seen, 14'000) << "the texts hardly reach the data";
}

TEST(DecodeFile, FilesThatCannotBeReadOrWrittenAreReported) {
  const TempFolder folder;
  const std::pair<const char*, std::string> cases[] = {
      {"yEnc", kBegin + std::string(1'000'000, 'x')},
      {"UU", "begin 644 a\r\n" + loopback::UuLines(std::string(1'000'000, 'x'))},
      {"Base64", std::string(1'000'000, 'A')}};
  for (const auto& [encoding, text] : cases) {
    const FolderItem good = folder.Write("good", text), out = folder.Item("out");
    EXPECT_FALSE(DecodeFile(encoding, folder.Item("missing"), out)) << encoding;
    EXPECT_FALSE(DecodeFile(encoding, good, folder.Item("no such folder/out"))) << encoding;
    {
      const testing::FullDisk full(50'000);
      EXPECT_FALSE(DecodeFile(encoding, good, out)) << encoding;
    }
    EXPECT_TRUE(DecodeFile(encoding, good, out)) << encoding;
    EXPECT_EQ(out.Length(), *encoding == 'B' ? 750'000 : 1'000'000) << encoding;
    const char first = *encoding == 'y' ? 'x' - 42 : *encoding == 'U' ? 'x' : '\0';
    EXPECT_EQ(testing::ReadFile(folder / "out").find_first_not_of(first), std::string::npos);
  }
  EXPECT_EQ(Code::DecodeYencFile(folder.Write("none", "plain text"), folder.Item("empty")), 0);
  EXPECT_TRUE(folder.Item("empty").Exists());
}

}  // namespace
}  // namespace gravlin
