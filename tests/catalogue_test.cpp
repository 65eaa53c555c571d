#include "nzb/catalogue.h"

#include <gtest/gtest.h>

#include "app/code.h"
#include "store/schema.h"
#include "support/temp_folder.h"
#include "support/test_desktop.h"

namespace gravlin {
namespace {

using testing::Asked;
using testing::TempFolder;

TEST(Catalogue, OrdersTheTableForTheScanner) {
  const TempFolder folder;
  Code::fGlobalDB = folder.Item("store.rsd");
  Code::Types = {"old"};
  Code::NeedToLoadTypes = true;
  Code::LoadTypes();
  EXPECT_EQ(Code::Types, std::vector<std::string>{"old"});
  EXPECT_TRUE(Code::NeedToLoadTypes) << "the next scan tries again";

  Database db(Code::fGlobalDB);
  ASSERT_TRUE(db.CreateDatabaseFile());
  MakeSchema(db);
  Code::LoadTypes();
  EXPECT_FALSE(Code::NeedToLoadTypes);
  EXPECT_EQ(Code::Types,
            (std::vector<std::string>{"par", "par2", "avi", "bmp", "gif", "jpg", "md5", "m3u",
                                      "m4a", "mkv",  "mp3", "mp4", "mpg", "nfo", "nzb", "p**",
                                      "mov", "rar",  "r**", "s**", "ra",  "rm",  "sfv", "srr",
                                      "ts",  "vob",  "wmv", "p**", "r**", "s**"}));

  db.SQLExecute("Insert into FileTypes (Ext) values (''), (NULL), ('PAR2'), ('a**b'), ('xyz')");
  db.Commit();
  Code::LoadTypes();
  ASSERT_EQ(Code::Types.size(), 34u);
  EXPECT_EQ(Code::Types[2], "PAR2");
  EXPECT_EQ((std::vector<std::string>{Code::Types.begin() + 28, Code::Types.end()}),
            (std::vector<std::string>{"a**b", "xyz", "p**", "r**", "s**", "a**b"}));
  EXPECT_TRUE(Asked().boxes.empty());

  db.SQLExecute("Delete from FileTypes");
  db.Commit();
  Code::LoadTypes();
  EXPECT_TRUE(Code::Types.empty());
  ASSERT_EQ(Asked().boxes.size(), 1u);
  EXPECT_EQ(Asked().boxes[0].text, "Please add a FileType.");
  Code::fGlobalDB = FolderItem();
}

}  // namespace
}  // namespace gravlin
