// Names that come from outside.
#include "nzb/names.h"

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace gravlin
