// The import thread with a real store, on files that are kept as posters write them.
#include <gtest/gtest.h>

#include <vector>

#include "app/code.h"
#include "nzb/catalogue.h"
#include "nzb/grv_parse.h"
#include "platform/scheduler.h"
#include "platform/text.h"
#include "store/schema.h"
#include "store/writers.h"
#include "support/temp_folder.h"
#include "support/test_clock.h"
#include "support/test_desktop.h"
#include "ui/file_types_window.h"

namespace gravlin {
namespace {

using testing::Asked;
using testing::TempFolder;
using testing::TestClock;

class FakeWindow : public ImportWindow {
 public:
  FolderItem NZBFile() const override { return nzb; }
  void BeginImport() override { percents.clear(); }
  void ShowImportProgress(int percent) override { percents.push_back(percent); }
  void ImportDone(std::string_view nzb_name, double total_bytes) override {
    done += std::string(nzb_name) + "=" + Format(total_bytes, "0") + ";";
  }

  FolderItem nzb;
  std::vector<int> percents;
  std::string done;
};

std::string FileElement(const std::string& subject, int segments, int bytes = 100) {
  std::string text = "<file poster=\"p\" subject=\"" + subject +
                     "\">\n<groups>\n<group>a.b</group>\n</groups>\n<segments>\n";
  for (int i = 1; i <= segments; ++i) {
    text += "<segment bytes=\"" + std::to_string(bytes) + "\" number=\"" + std::to_string(i) +
            "\">id" + std::to_string(i) + "@h</segment>\n";
  }
  return text + "</segments>\n</file>\n";
}

class ImportTest : public ::testing::Test {
 protected:
  ImportTest() {
    Code::fGlobalDB = folder.Item("store.rsd");
    Code::DBFree = true;
    store.SetDatabaseFile(Code::fGlobalDB);
    EXPECT_TRUE(store.CreateDatabaseFile());
    MakeSchema(store);
    Code::LoadTypes();
  }
  ~ImportTest() override {
    EndAllThreads();
    Code::DBFree = true;
    Code::fGlobalDB = FolderItem();
    Code::Types.clear();
  }
  void Start(const std::string& text, const std::string& name = "set.nzb") {
    window.nzb = folder.Write(name, text);
    Thread::Run(std::make_unique<grvParse>(window));
  }
  bool Ended() {
    return clock.RunUntil([] { return LiveThreads() == 0; });
  }
  void Import(const std::string& text, const std::string& name = "set.nzb") {
    Start(text, name);
    EXPECT_TRUE(Ended());
  }
  std::string Value(const std::string& sql) {
    const auto rows = store.SQLSelect("Select (" + sql + ") as v");
    return rows ? rows->Field("v").StringValue() : store.ErrorMessage();
  }
  std::string Rows() {
    return Value(
        "Select "
        "group_concat(PartsDone||'|'||Done||'|'||ServerErrors||'|'||Filename||'|'||TotalParts"
        "||'|'||TotalBytes||'|'||Ext||'|'||Groups||'|'||Parts, ';') from NZBFiles");
  }
  // An import that was given up leaves nothing that stops the next writer.
  void ExpectNoTransaction() {
    store.SQLExecute("BEGIN IMMEDIATE");
    EXPECT_EQ(store.ErrorMessage(), "");
    store.Rollback();
  }

  TempFolder folder;
  TestClock clock;
  Database store;
  FakeWindow window;
};

TEST_F(ImportTest, WritesOneRowForEachFile) {
  const std::string text = "<nzb>\n" + FileElement("\"one.rar\" yEnc (1/7)", 2) +
                           FileElement("xyz [2/2] - two.r00", 1, 50) + "</nzb>\n";
  const std::string rows =
      "0|No|0|one.rar|2|200|rar|a.b|1-100-id1@h,2-100-id2@h;0|No|0|two.r00|1|50|rar|a.b|1-50-id1@h";
  Import(text);
  EXPECT_EQ(Rows(), rows);
  EXPECT_EQ(Value("Select ExpectedBytes||'|'||CompletedBytes||'|'||Name from Settings_Gravlin"),
            "250.0|0.0|set.nzb");
  EXPECT_EQ(window.done, "set.nzb=250;");
  EXPECT_TRUE(Code::DBFree);
  EXPECT_TRUE(Asked().boxes.empty());

  // Once more: the rows of the first time are gone before names are compared.
  store.SQLExecute("Update Settings_Gravlin set CompletedBytes=99");
  store.Commit();
  Import(text);
  EXPECT_EQ(Rows(), rows);
  EXPECT_EQ(Value("Select CompletedBytes from Settings_Gravlin"), "0.0");
}

TEST_F(ImportTest, EqualNamesInOneFileStayEqual) {
  Import(FileElement("same.rar", 1) + FileElement("same.rar", 1));
  EXPECT_EQ(Value("Select group_concat(Filename) from NZBFiles"), "same.rar,same.rar");
  EXPECT_EQ(Code::UnknownNZBFileNo, 0);
}

TEST_F(ImportTest, AFileWithoutFilesAndAnOddNameAreFine) {
  Import(FileElement("old.rar", 1));
  Import("<nzb>\r\n</nzb>", "it's.nzb");
  EXPECT_EQ(Value("Select count(*) from NZBFiles"), "0");
  EXPECT_EQ(Value("Select ExpectedBytes||'|'||Name from Settings_Gravlin"), "0.0|");
  Import("");
  EXPECT_EQ(window.done, "set.nzb=100;it's.nzb=0;set.nzb=0;");
  EXPECT_TRUE(Asked().boxes.empty());
}

TEST_F(ImportTest, ShowsWholePercentsOnce) {
  Import(FileElement("x.rar", 5000));
  EXPECT_EQ(window.percents.front(), 0);
  EXPECT_EQ(window.percents.back(), 100);
  EXPECT_EQ(window.percents.size(), 101u);
  Import(FileElement("x.rar", 1));
  EXPECT_LT(window.percents.size(), 12u);
}

TEST_F(ImportTest, AnUnknownSubjectLosesTheWholeImport) {
  Import(FileElement("known.rar", 1) + FileElement("what &quot;this&quot; is", 1));
  ASSERT_EQ(Asked().boxes.size(), 1u);
  EXPECT_EQ(
      Asked().boxes[0].text,
      "Can't find filename in subject. Please look at this subject, spot the file extension, "
      "add it to the File Types window, and then re-import the NZB file.\r\n\r\nwhat \"this\" is");
  EXPECT_TRUE(Code::FileTypesOpen) << "where the user can add the extension";
  Window::Shared<FileTypesWin>().Close();
  EXPECT_EQ(Rows(), "");
  EXPECT_EQ(window.done, "");
  EXPECT_TRUE(Code::DBFree);
  ExpectNoTransaction();

  // The user adds the extension; the next import reads the catalogue again.
  store.SQLExecute("Insert into FileTypes (Ext) values ('odd')");
  store.Commit();
  Code::NeedToLoadTypes = true;
  Import(FileElement("abcd.odd", 1));
  EXPECT_EQ(Value("Select Filename||Ext from NZBFiles"), "abcd.oddodd");
}

TEST_F(ImportTest, EveryMessageGivesTheRightToWriteBackButOne) {
  const std::string first = FileElement("a.rar", 1);
  const std::string head = "<file subject=\"b.rar\">\n<group>g</group></groups>\n";
  for (const std::string& text :
       {std::string("<file>"), std::string("<file x>"), std::string("<file subject=\"b.rar\">"),
        head + "<segment bytes=\"1\">\n"}) {
    Asked().Clear();
    Import(first + text);
    EXPECT_EQ(Asked().boxes.size(), text == "<file>" ? 0u : 1u) << text;
    EXPECT_TRUE(Code::DBFree) << text;
    EXPECT_EQ(Value("Select count(*) from NZBFiles"), text == "<file>" ? "1" : "0") << text;
    ExpectNoTransaction();
  }

  Asked().Clear();
  Import(first + head + "<segment number=\"1\" bytes=\"1\">x</segment>\n");
  ASSERT_EQ(Asked().boxes.size(), 1u);
  EXPECT_EQ(Asked().boxes[0].text, "Premature end of file while processing <file> tag.");
  EXPECT_FALSE(Code::DBFree);
  EXPECT_EQ(Rows(), "");
  ExpectNoTransaction();
}

TEST_F(ImportTest, EndsSilentlyWithoutSegmentsOrWithoutAFile) {
  Import(FileElement("a.rar", 1));
  Import(FileElement("b.rar", 1) + FileElement("c.rar", 0));
  EXPECT_EQ(Rows(), "") << "the last import is cleared before the first line is read";
  EXPECT_TRUE(Code::DBFree);
  ExpectNoTransaction();

  window.nzb = folder.Item("absent.nzb");
  Thread::Run(std::make_unique<grvParse>(window));
  EXPECT_TRUE(Ended());
  window.nzb = FolderItem();
  Thread::Run(std::make_unique<grvParse>(window));
  EXPECT_TRUE(Ended());
  EXPECT_TRUE(Code::DBFree);
  EXPECT_TRUE(Asked().boxes.empty());
  EXPECT_EQ(window.done, "set.nzb=100;");
}

TEST_F(ImportTest, WaitsForTheEndOfTheGroupsWithoutBurningTheCore) {
  Start("<file subject=\"a.rar\">\n<group>g</group>\nx");
  EXPECT_TRUE(clock.RunUntil([] { return NextCallDue() >= 0; })) << "asleep between its turns";
  clock.Advance(10'000);
  EXPECT_EQ(LiveThreads(), 1);
  EXPECT_FALSE(Code::DBFree);
  EXPECT_GT(NextCallDue(), clock.Milliseconds());
  // The rest arrives.
  window.nzb.AppendToTextFile()->Write(
      "\n</groups>\n<segment number=\"1\" bytes=\"5\">i</segment>\n</file>\n");
  EXPECT_TRUE(Ended());
  EXPECT_EQ(Value("Select Groups||'|'||Parts from NZBFiles"), "g|1-5-i");
}

TEST_F(ImportTest, WaitsForOtherWritersAndForTheStore) {
  Code::DBFree = false;
  Start(FileElement("a.rar", 1));
  clock.Advance(1000);
  EXPECT_EQ(LiveThreads(), 1);
  EXPECT_EQ(Rows(), "");
  Code::DBFree = true;
  EXPECT_TRUE(Ended());
  EXPECT_NE(Rows(), "");

  const FolderItem real = Code::fGlobalDB;
  Code::fGlobalDB = folder.Item("not made yet.rsd");
  Start(FileElement("b.rar", 1));
  clock.Advance(1000);
  EXPECT_EQ(LiveThreads(), 1);
  Database late(Code::fGlobalDB);
  ASSERT_TRUE(late.CreateDatabaseFile());
  MakeSchema(late);
  EXPECT_TRUE(Ended());
  EXPECT_EQ(late.SQLSelect("Select Filename from NZBFiles")->Field("Filename").StringValue(),
            "b.rar");
  Code::fGlobalDB = real;
}

TEST_F(ImportTest, TheSecondFileOfTwoDropsWins) {
  Start(FileElement("a.rar", 2000), "first.nzb");
  clock.Advance(1);
  Start(FileElement("b.rar", 1, 7), "second.nzb");
  EXPECT_TRUE(Ended());
  EXPECT_EQ(window.done, "first.nzb=200000;second.nzb=7;");
  EXPECT_EQ(Value("Select group_concat(Filename) from NZBFiles"), "b.rar");
  EXPECT_EQ(Value("Select Name from Settings_Gravlin"), "second.nzb");
}

TEST_F(ImportTest, TakesFilesThatAreNoText) {
  std::string bytes;
  for (int i = 0; i < 300'000; ++i) bytes += static_cast<char>(i * 2654435761u >> 13);
  Import(bytes);
  EXPECT_EQ(window.done, "set.nzb=0;");
  Import(FileElement(std::string("a\0b\xFF.rar", 8), 1) + bytes);
  EXPECT_EQ(Value("Select count(*) from NZBFiles"), "1");
}

}  // namespace
}  // namespace gravlin
