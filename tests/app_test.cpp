// The start: what it reports when it fails, and that it never leaves an unusable store.
#include "app/app.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "support/engine_fixture.h"
#include "support/full_disk.h"

namespace gravlin::testing {
namespace {

namespace fs = std::filesystem;

class AppTest : public ::testing::Test {
 protected:
  ~AppTest() override {
    SpecialFolder::SetApplicationData({});
    Code::ParJobRunning = Code::RarJobRunning = false;  // for the next test of this process
  }

  // The boxes of a start, each with a line end, then "up" if it shows the main window.
  std::string Start() {
    SpecialFolder::SetApplicationData(data.Item());
    int argc = 1;
    char name[] = "gravlin";
    char* argv[] = {name, nullptr};
    Asked().Clear();
    App app(argc, argv);
    app.Event_Open();
    std::string told;
    for (const auto& box : Asked().boxes) told += box.text + "\n";
    const auto* window = Window::IfOpen<Gravlin>();
    const bool up = window && window->Visible();
    EXPECT_NE(up, Application::Quitting());
    return told + (up ? "up" : "");
  }
  void Write(const char* name, const char* text = "") { std::ofstream(data / name) << text; }

  TempFolder data;
  TestClock clock;
  std::optional<FileHandle> held;
};

TEST_F(AppTest, AFailedStartIsReportedInOneBoxAndEndsTheProgram) {
  const struct {
    const char* what;
    std::function<void()> prepare;
    const char* told;
  } cases[] = {
      {"a file for the folder", [this] { Write("Gravlin"); },
       "Can't create Gravlin.rsd database file.\r\n\r\nThe reason is: Not a directory.\n"},
      {"another session's program",
       [this] {
         fs::create_directory(data / "Gravlin");
         held = LockFile(data.Item("Gravlin/Gravlin.lock"));
       },
       "Gravlin is running already, in another session.\n"},
      {"a damaged store",
       [this] {
         fs::create_directory(data / "Gravlin");
         Write("Gravlin/Gravlin.rsd", "no store");
       },
       "Can't open database file.\r\n\r\nThe file is damaged.\n"},
      {"a column of the settings is missing",
       [this] {
         EXPECT_EQ(Start(), "up");
         Database db(data.Item("Gravlin/Gravlin.rsd"));
         ASSERT_TRUE(db.Connect());
         db.SQLExecute("Alter Table Settings_Gravlin Drop Column Top");
         db.Commit();
       },
       "An error occurred in App.Open\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    fs::remove_all(data / "Gravlin");
    c.prepare();
    EXPECT_EQ(Start(), c.told);
    held.reset();
  }
}

// A store that was deleted after a kill, but not its journal.
TEST_F(AppTest, ANewStoreGetsNoJournalOfAnOlderOne) {
  EXPECT_EQ(Start(), "up");
  const fs::path store = data / "Gravlin/Gravlin.rsd", journal = data / "Gravlin/Gravlin.rsd-wal";
  {
    Database db(data.Item("Gravlin/Gravlin.rsd"));
    ASSERT_TRUE(db.Connect());
    for (int i = 0; i < 200; ++i)
      db.SQLExecute("Insert into FileTypes (Name, Ext) values ('old" + std::to_string(i) +
                    "', 'x')");
    db.Commit();
    fs::copy_file(journal, data / "kept");
  }
  fs::remove(store);
  fs::rename(data / "kept", journal);
  EXPECT_EQ(Start(), "up");
  Database db(data.Item("Gravlin/Gravlin.rsd"));
  ASSERT_TRUE(db.Connect());
  EXPECT_EQ(db.SQLSelect("pragma integrity_check")->Field("integrity_check").StringValue(), "ok");
  EXPECT_EQ(db.SQLSelect("Select ID from FileTypes where Name like 'old%'")->RecordCount(), 0);
}

// A first start on a full disk, or one that is killed, leaves nothing that stops the next one.
TEST_F(AppTest, AFirstStartThatIsCutOffIsMadeAgain) {
  for (const rlim_t bytes : {0, 20'000, 100'000}) {
    SCOPED_TRACE(bytes);
    const FullDisk disk(bytes);
    EXPECT_EQ(Start().find("Can't create Gravlin.rsd database file.\r\n\r\nThe disk "), 0u);
  }
  for (const char* left : {"Gravlin/Gravlin.rsd.new", "Gravlin/Gravlin.rsd.new-wal"})
    Write(left, "half a store");
  EXPECT_EQ(Start(), "up");
  EXPECT_FALSE(fs::exists(data / "Gravlin/Gravlin.rsd.new"));
  {
    const FullDisk disk(20'000);
    EXPECT_EQ(Start(), "Can't open database file.\r\n\r\nThe disk is full.\n");
  }
  EXPECT_EQ(Start(), "up");
}

using DocumentsTest = ProgramTest;

TEST_F(DocumentsTest, GoToTheWindowOfTheirKind) {
  Launch();
  const std::pair<const char*, const char*> cases[] = {
      {"set.PAR2", "PAR"}, {"set.p01", "PAR"}, {"a.par", "PAR"}, {"a.rar", "RAR"},
      {"a.R00", "RAR"},    {"a.r01", "RAR"},   {"a.p02", ""},    {"a.nzb", ""}};
  for (const auto& [document, title] : cases) {
    const std::size_t boxes = Asked().boxes.size();
    app->Event_OpenDocument(data.Item(document));
    Window& last = *Window::All().back();
    EXPECT_EQ(Asked().boxes.size() - boxes, *title ? 0u : 1u) << document;
    EXPECT_EQ(last.Title(), *title ? title : "Gravlin") << document;
    if (*title) last.Close();
  }
}

}  // namespace
}  // namespace gravlin::testing
