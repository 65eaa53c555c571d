// How the encoding of an article is recognised.
#include "decode/encodings.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

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

}  // namespace
}  // namespace gravlin
