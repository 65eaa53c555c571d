// The import thread with a real store, on files as posters write them.
#include <gtest/gtest.h>

#include <vector>

#include "base/code.h"
#include "nzb/catalogue.h"
#include "nzb/grv_parse.h"
#include "platform/calls.h"
#include "platform/fibers.h"
#include "platform/scoped_flag.h"
#include "support/full_disk.h"
#include "support/store_fixture.h"

namespace gravlin {
namespace {

using testing::Asked;
using testing::TestClock;

class FakeWindow : public ImportOwner {
 public:
  FolderItem NZBFile() const override { return nzb; }
  void BeginImport() override { percents.clear(); }
  void ListCleared() override { EXPECT_FALSE(shows_list); }
  void ListKept() override { done += "kept;"; }
  void FilesRead(std::vector<DatabaseRecord>) override {}
  void ListRead(Database&) override {}
  void ShowImportProgress(int percent) override { percents.push_back(percent); }
  void ImportDone(std::string_view nzb_name, double total_bytes) override {
    done += std::string(nzb_name) + "=" + Format(total_bytes, "0") + ";";
    const ScopedFlag loading(shows_list, true);
    Thread::Sleep(500);
  }

  FolderItem nzb;
  std::vector<int> percents;
  std::string done;
  bool shows_list = false;
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

class ImportTest : public testing::StoreTest {
 protected:
  ImportTest() { Code::LoadTypes(); }
  void Start(const FolderItem& nzb) {
    window.nzb = nzb;
    Thread::Run(std::make_unique<grvParse>(window));
  }
  bool Ended() {
    return clock.RunUntil([] { return LiveThreads() == 0; });
  }
  void Import(const std::string& text, const std::string& name = "set.nzb") {
    Start(folder.Write(name, text));
    EXPECT_TRUE(Ended());
  }
  std::string Names() { return Stored("NZBFiles", "group_concat(Filename)"); }

  FakeWindow window;
};

TEST_F(ImportTest, WritesOneRowForEachFileAndShowsWholePercentsOnce) {
  const std::string text = "<nzb>\n" + FileElement("\"one.rar\" yEnc (1/7)", 2) +
                           FileElement("xyz [2/2] - two.r00", 1, 50) + "</nzb>\n";
  // The second time, the rows of the first are deleted before names are compared.
  for (int time = 0; time < 2; ++time) {
    Import(text);
    EXPECT_EQ(Stored("NZBFiles",
                     "group_concat(PartsDone||'|'||Done||'|'||ServerErrors||'|'||Filename||'|'||"
                     "TotalParts||'|'||TotalBytes||'|'||Ext||'|'||Groups||'|'||Parts, ';')"),
              "0|No|0|one.rar|2|200|rar|a.b|1-100-id1@h,2-100-id2@h;"
              "0|No|0|two.r00|1|50|rar|a.b|1-50-id1@h");
    EXPECT_EQ(Stored("Settings_Gravlin", "ExpectedBytes||'|'||CompletedBytes||'|'||Name"),
              "250.0|0.0|set.nzb");
    EXPECT_TRUE(Code::DBFree);
    Store("Update Settings_Gravlin set CompletedBytes=99");
  }
  Import(FileElement("same.rar", 1) + FileElement("same.rar", 5000));
  EXPECT_EQ(Names(), "same.rar,same.rar") << "names of one import stay equal";
  EXPECT_EQ(window.percents.size(), 101u);
  EXPECT_EQ(window.percents.front() + window.percents.back(), 100);
  // A quote in the NZB's name, and no bytes at all.
  Import("<nzb>\r\n</nzb>", "it's.nzb");
  EXPECT_EQ(Names(), "");
  EXPECT_EQ(Stored("Settings_Gravlin", "ExpectedBytes||'|'||Name"), "0.0|");
  Import("");
  EXPECT_EQ(window.done, "set.nzb=250;set.nzb=250;set.nzb=500100;it's.nzb=0;set.nzb=0;");
  EXPECT_TRUE(Asked().boxes.empty());
}

TEST_F(ImportTest, AnUnknownSubjectLosesTheWholeImport) {
  Import(FileElement("known.rar", 1) + FileElement("what &quot;this&quot; is", 1));
  EXPECT_EQ(
      LastBox(),
      "Can't find filename in subject. Please look at this subject, spot the file extension, "
      "add it to the File Types window, and then re-import the NZB file.\r\n\r\nwhat \"this\" is");
  EXPECT_TRUE(Code::FileTypesOpen) << "where the user can add the extension";
  EXPECT_EQ(Names() + window.done, "");
  EXPECT_TRUE(Code::DBFree);

  // The user adds the extension; the next import reads the catalogue again.
  Store("Insert into FileTypes (Ext) values ('odd')");
  Code::NeedToLoadTypes = true;
  Import(FileElement("abcd.odd", 1));
  EXPECT_EQ(Stored("NZBFiles", "Filename||Ext"), "abcd.oddodd");
}

TEST_F(ImportTest, EveryMessageGivesTheRightToWriteBackButOne) {
  const std::string head = "<file subject=\"b.rar\">\n<group>g</group></groups>\n";
  const struct {
    std::string text;
    const char* message;
    const char* names = "";
    bool right_is_back = true;
  } cases[] = {
      {"<file>", "", "a.rar"},
      {FileElement("c.rar", 0), ""},
      {"<file x>", "Can't find subject attribute of file tag."},
      {"<file subject=\"b.rar\">", "Couldn't find any <group> tags."},
      {head + "<segment bytes=\"1\">\n", "Can't find number attribute of segment tag."},
      {head + "<segment number=\"1\" bytes=\"1\">x</segment>\n",
       "Premature end of file while processing <file> tag.", "", false},
  };
  for (const auto& c : cases) {
    Asked().Clear();
    Import(FileElement("a.rar", 1) + c.text);
    EXPECT_EQ(LastBox(), c.message) << c.text;
    EXPECT_EQ(Names(), c.names) << c.text;
    EXPECT_EQ(Code::DBFree, c.right_is_back) << c.text;
    Store("BEGIN IMMEDIATE");  // nothing is left that blocks the next writer
  }
  Asked().Clear();
  Code::DBFree = true;
  for (const FolderItem& absent : {folder.Item("absent.nzb"), FolderItem()}) {
    Start(absent);
    EXPECT_TRUE(Ended() && Code::DBFree && Asked().boxes.empty());
  }
}

TEST_F(ImportTest, WaitsForTheEndOfTheGroupsWithoutBurningTheCore) {
  Start(folder.Write("set.nzb", "<file subject=\"a.rar\">\n<group>g</group>\nx"));
  EXPECT_TRUE(clock.RunUntil([] { return NextCallDue() >= 0; })) << "asleep between its turns";
  clock.Advance(10'000);
  EXPECT_EQ(LiveThreads(), 1);
  EXPECT_FALSE(Code::DBFree);
  EXPECT_TRUE(TestClock::PumpUntil([&] { return NextCallDue() > clock.Milliseconds(); }));
  // The rest arrives.
  window.nzb.AppendToTextFile()->Write(
      "\n</groups>\n<segment number=\"1\" bytes=\"5\">i</segment>\n</file>\n");
  EXPECT_TRUE(Ended());
  EXPECT_EQ(Stored("NZBFiles", "Groups||'|'||Parts"), "g|1-5-i");
}

TEST_F(ImportTest, WaitsForTheStoreAndForOtherWriters) {
  Code::fGlobalDB = folder.Item("not made yet.rsd");
  Code::DBFree = false;
  Start(folder.Write("set.nzb", FileElement("a.rar", 1)));
  clock.Advance(1000);
  store.SetDatabaseFile(Code::fGlobalDB);
  ASSERT_TRUE(store.CreateDatabaseFile());
  MakeSchema(store);
  clock.Advance(1000);
  EXPECT_EQ(LiveThreads(), 1);
  EXPECT_EQ(Names(), "");
  Code::DBFree = true;
  EXPECT_TRUE(Ended());
  EXPECT_EQ(Names(), "a.rar");
}

// A disk that fills leaves the whole old list, the whole new one or, with a message, none; and an
// intact store.
TEST_F(ImportTest, AListThatCannotBeStoredWholeIsReportedAndLeftOut) {
  std::string old_list, text;
  for (int i = 0; i < 60; ++i) {
    const std::string name = std::to_string(i) + ".rar";
    old_list += FileElement("old" + name, 3000);
    text += FileElement("new" + name, 1000);
  }
  Import(old_list);
  int ends[3] = {};
  for (const int room : {0, 50'000, 100'000, 200'000, 700'000, 10'000'000}) {
    window.done.clear(), Asked().Clear();
    Start(folder.Write("set.nzb", text));
    {
      const testing::FullDisk disk(room);
      EXPECT_TRUE(Ended());
    }
    const bool kept = window.done == "kept;", imported = window.done == "set.nzb=6000000;";
    ++ends[imported ? 2 : kept];
    EXPECT_EQ(Stored("NZBFiles", "count(*)||coalesce(min(Filename), '')"), imported ? "60new0.rar"
                                                                           : kept   ? "60old0.rar"
                                                                                    : "0");
    EXPECT_EQ(LastBox().find("The NZB file could not be imported: "),
              imported ? std::string::npos : 0u)
        << room;
    Import(old_list);
  }
  for (const int count : ends) EXPECT_GT(count, 0) << "an end that was not tried";
  // A file without text, and one without a line end within a sensible length.
  folder.Write("image.nzb", "x");
  std::filesystem::resize_file(folder / "image.nzb", std::int64_t{1} << 32);
  Start(folder.Item("image.nzb"));
  EXPECT_TRUE(Ended());
  EXPECT_EQ(LastBox(),
            "The NZB file could not be imported: it has a line of more than 16 MiB and is no NZB "
            "file.");
}

}  // namespace
}  // namespace gravlin
