// The yEnc decoder, kernel by kernel.
#include "decode/yenc.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "support/full_disk.h"
#include "support/temp_folder.h"

namespace gravlin {
namespace {

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

const std::string kHead = "=ybegin line=128 size=3 name=a\r\n";

TEST(YencTest, BlocksAreFoundAndDecoded) {
  const std::string abc = "\x8b\x8c\x8d";
  const struct {
    const char* what;
    std::string text, expected;
  } cases[] = {
      {"fewer than seven bytes", "=ybegi", ""},
      {"no text between blocks", kHead + abc + "\r\n=yend size=3\r\njunk\r\n.\r\n", "abc"},
      {"behind a long first line", "222 article follows\r\n" + kHead + abc, "abc"},
      {"behind an empty first line", "\r\n" + kHead + abc, "abc"},
      {"hidden by a short first line", "222\r\n" + kHead + abc, ""},
      {"in capitals", "222 article\r\n=YBEGIN x\r\n" + abc + "\r\n=yEnD\r\nnot this", "abc"},
      {"not at the start of a line", "222 article\r\n " + kHead + abc, ""},
      {"line feeds alone", "222 article\n=ybegin x\n" + abc, ""},
      {"two articles and text behind",
       kHead + abc + "\r\n=yend\r\n.\r\n222 next one\r\nA: b\r\n\r\n" + kHead + abc +
           "\r\n=yend size=3\r\njunk\r\n",
       "abcabc"},
      {"a part line", kHead + "=ypart begin=1 end=3\r\n" + abc, "abc"},
      {"escapes", kHead + "=@=J=M=}=\x7d", std::string("\xd6\xe0\xe3\x13\x13", 5)},
      {"an escaped CR", kHead + "=\r\n" + abc, std::string("\xa3") + "abc"},
      {"a capital Y is data", kHead + "=Yend\r\n", std::string("\xef\x3b\x44\x3a", 4)},
      {"wraps below 42", kHead + std::string("\0\x29\x2a", 3), std::string("\xd6\xff\0", 3)},
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

// Texts that reach every state: data with many marks and line ends, whole and broken control lines.
std::string RandomText(std::mt19937& random) {
  // clang-format off
  static const std::string kPieces[] = {
      "=ybegin", "\r\n=ybegin line=128\r\n", "=yend", "\r\n=yend size=1\r\n", "=ypart\r\n", "=y",
      "=", "==", "\r", "\n", "\r\n", "=\r\n", "y", "\r\n=yEnd\r\n", "=YBEGIN", "\r\r\n=ybegin\r\n",
      "=Y", "\n\n"};
  // clang-format on
  const auto up_to = [&random](std::size_t most) { return random() % (most + 1); };
  std::string text;
  if (up_to(3) != 0) text = up_to(1) ? kHead : "222 0 <a@b>\r\n" + kHead;
  for (std::size_t pieces = up_to(24); pieces > 0; --pieces) {
    const std::size_t kind = up_to(3);
    if (kind == 0) text += kPieces[up_to(std::size(kPieces) - 1)];
    for (std::size_t i = kind == 1 ? up_to(20) : 0; i > 0; --i)
      text += "=\r\nyY=beginend"[up_to(12)];
    if (kind == 2) {  // mostly as an encoder writes a line
      for (std::size_t i = up_to(260); i > 0; --i) text += static_cast<char>(random());
      text += "\r\n";
    }
    if (kind == 3) text.append(up_to(70), static_cast<char>(random()));
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

TEST(YencTest, FilesThatCannotBeReadOrWrittenAreReported) {
  const TempFolder folder;
  const FolderItem good = folder.Write("good", kHead + std::string(1'000'000, 'x'));
  EXPECT_EQ(Code::DecodeYencFile(folder.Item("missing"), folder.Item("out")), -1);
  EXPECT_EQ(Code::DecodeYencFile(good, folder.Item("no such folder/out")), -1);
  {
    const testing::FullDisk full(50'000);
    EXPECT_EQ(Code::DecodeYencFile(good, folder.Item("cut")), -1);
  }
  EXPECT_EQ(Code::DecodeYencFile(good, folder.Item("cut")), 1'000'000);
  EXPECT_TRUE(testing::ReadFile(folder / "cut") == std::string(1'000'000, 'x' - 42));
  EXPECT_EQ(Code::DecodeYencFile(folder.Write("none", "plain text"), folder.Item("empty")), 0);
  EXPECT_TRUE(folder.Item("empty").Exists());
}

}  // namespace
}  // namespace gravlin
