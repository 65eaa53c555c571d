#include "nzb/names.h"

#include <gtest/gtest.h>

#include "app/code.h"
#include "store/schema.h"
#include "support/temp_folder.h"

namespace gravlin {
namespace {

using testing::TempFolder;

TEST(Names, ACleanFilenameHoldsNothingThatAFileSystemMinds) {
  const std::pair<std::string, std::string> cases[] = {
      {"a..b", "ab"},
      {"a...b", "a.b"},
      {"....", ""},
      {":'\\/,;\"<>|\r", ""},
      {"  [keep] (this)_  ", "[keep] (this)_"},
      {"a.;.b", "a..b"},  // the semicolon goes after the dots were looked at
      {"a.:.b", "ab"},    // the colon before
      {"\tx\t", "\tx\t"},
      {"..\\..\\evil.rar", "evil.rar"},
  };
  for (const auto& [name, clean] : cases) EXPECT_EQ(Code::CleanFilename(name), clean) << name;
}

TEST(Names, ALongNameLosesItsStartAtACharacter) {
  const std::string ext = ".part01.rar";
  EXPECT_EQ(Code::CleanFilename(std::string(300, 'x') + ext),
            std::string(240 - ext.size(), 'x') + ext);
  EXPECT_EQ(Code::CleanFilename(std::string(240, 'y')), std::string(240, 'y'));
  for (const std::string character : {"\xC3\xA4", "\xE2\x82\xAC", "\xF0\x9F\x8E\xB5"}) {
    std::string name;
    while (name.size() < 300) name += character;
    const std::string clean = Code::CleanFilename(name + "." + ext);
    EXPECT_LE(clean.size(), 240u);
    EXPECT_GT(clean.size(), 240u - character.size());
    EXPECT_TRUE(clean.starts_with(character)) << "cut inside a character";
  }
  EXPECT_EQ(Code::CleanFilename(std::string(300, '\x80')).size(), 237u) << "not UTF-8 at all";
}

TEST(Names, TextForStatementsLosesFiveCharacters) {
  EXPECT_EQ(Code::CleanSQLString(" |a[b]\"c'd''|| "), "abcd ");
  EXPECT_EQ(Code::CleanSQLString("   "), "");
  EXPECT_EQ(Code::CleanSQLString("' x"), "x");
  const std::string longer(12'000, 'x');
  EXPECT_EQ(Code::CleanSQLString(longer).size(), 12'000u);
  EXPECT_EQ(Code::CleanSQLString("'" + longer).size(), 9'999u);

  EXPECT_EQ(Code::BadSQLChar("a'b|c"), "|");
  EXPECT_EQ(Code::BadSQLChar("a'b\"c"), "\"");
  EXPECT_EQ(Code::BadSQLChar("a]"), "]");
  EXPECT_EQ(Code::BadSQLChar("O;K"), "");
}

TEST(Names, EscapesAreUndoneInOrder) {
  const std::pair<std::string, std::string> cases[] = {
      {"a &quot;b&quot; &#39;c&#x27;", "a \"b\" 'c'"},
      {"&lt;id&gt; &#60;&#x3c;&#62;&#x3E; &APOS;", "<id> <<>> '"},
      {"&amp;lt;", "<"},     // a double escape
      {"&#38;lt;", "&lt;"},  // in numeric form it comes too late for the named ones
      {"&#38;#60;", "<"},
      {"&amp;amp;lt;", "&amp;lt;"},
      {"&#228; &nbsp; & &amp", "&#228; &nbsp; & &amp"},
      {"", ""},
  };
  for (const auto& [escaped, text] : cases) {
    EXPECT_EQ(Code::RemoveXMLEscapeSequences(escaped), text) << escaped;
  }
}

TEST(Names, PathsForTheShellHaveNoVolume) {
  const FolderItem file = FolderItem::FromPath("/home/a b/x.rar");
  EXPECT_EQ(Code::GetFixedPath(file), "home:a b:x.rar");
  EXPECT_EQ(Code::GetFixedPath2(file), "home:a b:x.rar");
  EXPECT_EQ(Code::GetFixedPath(FolderItem::FromPath("/x.rar")), "x.rar");
  EXPECT_EQ(Code::GetFixedPath(FolderItem::FromPath("/d:1/x:2.rar")), "d/1:x/2.rar");
}

TEST(Names, OnlyCommittedRowsMakeANameADuplicate) {
  const TempFolder folder;
  Code::fGlobalDB = folder.Item("store.rsd");
  EXPECT_EQ(Code::FixNZBFilename("x.rar"), "") << "no store";
  Database db(Code::fGlobalDB);
  ASSERT_TRUE(db.CreateDatabaseFile());
  MakeSchema(db);
  Code::UnknownNZBFileNo = 0;

  db.SQLExecute("BEGIN");
  db.SQLExecute("Insert into NZBFiles (Filename) values ('x y.rar')");
  EXPECT_EQ(Code::FixNZBFilename("[x] 'y'.rar"), "x y.rar");
  db.Commit();
  EXPECT_EQ(Code::FixNZBFilename("[x] 'y'.rar"), "x y.rar.Gravlin-DUPE0001");
  EXPECT_EQ(Code::FixNZBFilename("x y.rar"), "x y.rar.Gravlin-DUPE0002");
  EXPECT_EQ(Code::FixNZBFilename("X y.rar"), "X y.rar") << "the store minds case";
  EXPECT_EQ(Code::FixNZBFilename("'; Delete from NZBFiles; --"), "Delete from NZBFiles --");
  EXPECT_EQ(Code::FixNZBFilename("x y.rar"), "x y.rar.Gravlin-DUPE0003");
  Code::fGlobalDB = FolderItem();
}

}  // namespace
}  // namespace gravlin
