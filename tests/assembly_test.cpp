// Joining and decoding with the real engine, store and files.
#include <gtest/gtest.h>

#include <set>

#include "engine/active_files.h"
#include "support/engine_fixture.h"
#include "support/full_disk.h"
#include "support/store_fixture.h"

namespace gravlin::testing {
namespace {

// An article as the server sends it.
std::string Article(const std::string& body) {
  return "222 0 <id@host>\r\nFrom: a\r\nSubject: b\r\n\r\n" + body + "\r\n.\r\n";
}

std::string Yenc(const std::string& bytes, const std::string& name) {
  std::string data;
  for (const char c : bytes) data += static_cast<char>(c + 42);
  return Article("=ybegin part=1 line=128 size=9 name=" + name + "\r\n=ypart begin=1 end=9\r\n" +
                 data + "\r\n=yend size=9");
}

using NameSet = std::set<std::string>;

class AssemblyTest : public StoreTest {
 protected:
  AssemblyTest() {
    Code::AppDataFolder = folder.Item();
    engine->db = std::make_unique<Database>(Code::fGlobalDB);
    EXPECT_TRUE(engine->db->Connect());
    EXPECT_TRUE(engine->CheckFolders());
  }
  ~AssemblyTest() override {
    EndAllThreads();
    Code::ActiveFiles.clear();
  }

  // A row of the store and of the list, which becomes the current file.
  void Choose(const std::string& name, const std::string& ext = "bin", int largest = 3) {
    Store("Insert into NZBFiles (Filename) values ('" + name + "')");
    engine->List.Add({.filename = name});
    engine->TheFilename = name;
    engine->TheExt = ext;
    engine->LargestPartNo = largest;
    engine->DownloaderFilesID = static_cast<std::int32_t>(store.LastRowID());
  }
  void PutPart(const std::string& file, const std::string& number, const std::string& text) {
    folder.Write("Parts/" + file + "-p" + number + ".txt", text);
  }
  void Run() {
    engine->StartConcat();
    EXPECT_TRUE(clock.RunUntil([this] { return engine->ThreadFlag() && LiveThreads() == 0; }));
  }
  NameSet Names(const std::string& in) {
    const auto names = folder.Item(in).ChildNames();
    return {names.begin(), names.end()};
  }
  std::string Cell(int row, int column) { return engine->List.Cell(row, column); }

  std::unique_ptr<FullDisk> full;
  ShownRun view;
  const std::unique_ptr<TestEngine> engine = std::make_unique<TestEngine>(view);
};

TEST_F(AssemblyTest, PartsAreJoinedByNumberAndTheFileIsSaved) {
  Choose("text.bin");
  PutPart("text.bin", "00001", Article("of no known encoding, so that the part is kept"));
  Run();
  EXPECT_EQ(Cell(0, ListColumn::kDone), "Yes");
  EXPECT_TRUE(engine->FileCreated);
  Choose("a.bin");
  PutPart("a.bin", "00003", Yenc("three", "a.bin"));
  PutPart("a.bin", "00001", Yenc("one", "a.bin"));
  PutPart("a.bin", "00002", Yenc("two", "a.bin"));
  PutPart("a.bin", "00004", "beyond the largest");
  PutPart("a.bin", "2", "no part name");
  PutPart("a.bin-p", "00001", "of another file");
  folder.Write("Parts/nzb_temp.bin", "left by a crash, and longer than the file");
  Run();
  EXPECT_EQ(ReadFile(folder / "Downloads/a.bin"), "onetwothree");
  EXPECT_EQ(Names("Parts"), (NameSet{"a.bin-p-p00001.txt", "a.bin-p00004.txt", "a.bin-p2.txt",
                                     "text.bin-p00001.txt"}));
  EXPECT_EQ(Names("Downloads"), NameSet{"a.bin"});
  EXPECT_EQ(Cell(1, ListColumn::kDone), "Yes");
  EXPECT_EQ(Cell(1, ListColumn::kMessage), "File saved OK.");
  EXPECT_TRUE(engine->FileCreated);
  EXPECT_TRUE(Code::ActiveFiles.empty());
  EXPECT_EQ(engine->TotalErrors, 0);
}

TEST_F(AssemblyTest, EveryEncodingIsDecoded) {
  const struct {
    const char* name;
    std::string first, second;
  } cases[] = {
      {"y.bin", Yenc("Many ", "y.bin"), Yenc("hands", "y.bin")},
      {"u.bin", Article("begin 644 u.bin\r\n%36%N>2``"), Article("%:&%N9',`\r\n`\r\nend")},
      {"b.bin",
       Article("Content-Transfer-Encoding: base64\r\nX: filename=\"b.bin\"\r\n\r\nTWFu\r\n"
               "------=_NextPart_1--"),
       Article("Content-Transfer-Encoding: base64\r\n\r\neSBoYW5kcw==\r\n------=_NextPart_1--")},
  };
  for (const auto& c : cases) {
    Choose(c.name, "txt");
    // The first part says nothing: its empty line is too far away.
    PutPart(c.name, "00001", std::string(6000, '-') + "\r\n");
    PutPart(c.name, "00002", c.first);
    PutPart(c.name, "00003", c.second);
    folder.Write("Parts/nzb_temp.txt", "an article on its way");
    Run();
    EXPECT_EQ(ReadFile(folder / "Downloads" / c.name), "Many hands") << c.name;
    EXPECT_EQ(Names("Parts"), NameSet{"nzb_temp.txt"});
    EXPECT_EQ(ReadFile(folder / "Parts/nzb_temp.txt"), "an article on its way");
  }
}

TEST_F(AssemblyTest, AMissingPartLeavesAGap) {
  Choose("a.bin", "bin", 2'000'000'000);
  PutPart("a.bin", "00001", Yenc("one", "a.bin"));
  PutPart("a.bin", "00002", "");
  PutPart("a.bin", "00900", Yenc("late", "a.bin"));
  PutPart("a.bin", "1999999999", Yenc("last", "a.bin"));
  Run();
  EXPECT_EQ(ReadFile(folder / "Downloads/a.bin"), "onelatelast");
  EXPECT_EQ(Names("Parts"), NameSet{});
}

TEST_F(AssemblyTest, TheNameInTheBodyWinsUnlessItIsTakenOnDisk) {
  Choose("taken.bin");
  folder.Write("Downloads/older.bin", "older");
  folder.Write("Downloads/again.bin", "bytes");  // by a run that ended before it was stored
  const std::string cases[][3] = {
      // the name of the NZB, the name in the body, the name on disk
      {"same.bin", "SAME.BIN", "same.bin"},        {"plain1.bin", "real one.bin", "real one.bin"},
      {"plain2.bin", "../e'vil|.bin", "evil.bin"}, {"plain3.bin", "taken.bin", ""},
      {"plain4.bin", "|", "plain4.bin"},           {"plain5.bin", "older.bin", "plain5.bin"},
      {"plain6.bin", "again.bin", "again.bin"},
  };
  for (const auto& [name, in_body, on_disk] : cases) {
    Choose(name);
    const int row = engine->List.ListCount() - 1;
    PutPart(name, "00001", Yenc("bytes", in_body));
    Run();
    const std::string shown = Cell(row, ListColumn::kFilename);
    if (on_disk.empty()) {  // with the marker of a duplicate name
      EXPECT_TRUE(shown != "taken.bin" && shown.starts_with("taken.bin")) << shown;
    } else {
      EXPECT_EQ(shown, on_disk);
    }
    EXPECT_EQ(ReadFile(folder / "Downloads" / shown), "bytes") << shown;
    EXPECT_EQ(Stored("NZBFiles where ID=" + Str(engine->DownloaderFilesID), "Filename"), shown);
  }
  EXPECT_EQ(ReadFile(folder / "Downloads/older.bin"), "older");
  EXPECT_EQ(Names("Downloads").size(), 8u);
}

TEST_F(AssemblyTest, AFailureLosesNoPartAndLeavesNoHalfFile) {
  const struct {
    const char* what;
    std::function<void()> prepare;
    NameSet downloads;
  } cases[] = {
      {"a full disk", [this] { full = std::make_unique<FullDisk>(60'000); }, {}},
      {"a target that is there", [this] { folder.Write("Downloads/a.bin", "mine"); }, {"a.bin"}},
      {"a file for a Downloads folder",
       [this] {
         std::filesystem::remove(folder / "Downloads");
         folder.Write("Downloads", "");
       },
       {}},
      {"parts that cannot be found",
       [this] {
         for (const std::string& part : Names("Parts")) folder.Item("Parts/" + part).Delete();
       },
       {}},
      {"a part that cannot be read",
       [this] { std::filesystem::create_directories(folder / "Parts/a.bin-p00003.txt/x"); },
       {}},
      {"a joined file that cannot be made",
       [this] { std::filesystem::create_directories(folder / "Parts/a.bin.txt/x"); },
       {}},
      {"a decoded file that cannot be made",
       [this] { std::filesystem::create_directories(folder / "Parts/nzb_temp.bin/x"); },
       {}},
  };
  Choose("a.bin");
  int failures = 0;
  for (const auto& c : cases) {
    PutPart("a.bin", "00001", Yenc(std::string(40'000, '1'), "a.bin"));
    PutPart("a.bin", "00002", Yenc(std::string(40'000, '2'), "a.bin"));
    view.status.clear();
    c.prepare();
    NameSet parts = Names("Parts");
    Run();
    full.reset();
    EXPECT_EQ(Names("Parts"), parts) << c.what;
    EXPECT_EQ(Names("Downloads"), c.downloads) << c.what;
    EXPECT_EQ(engine->TotalErrors, ++failures) << c.what;
    EXPECT_EQ(Cell(0, ListColumn::kDone), "No") << c.what;
    EXPECT_TRUE(Cell(0, ListColumn::kMessage).starts_with("Last error: ")) << c.what;
    EXPECT_TRUE(view.status.starts_with("Could not assemble a.bin")) << c.what;
    EXPECT_TRUE(Code::ActiveFiles.empty()) << c.what;
    EXPECT_FALSE(engine->FileCreated) << c.what;
    for (const char* name : {"Parts", "Downloads"}) {
      std::filesystem::remove_all(folder / name);
      std::filesystem::create_directory(folder / name);
    }
  }
  PutPart("a.bin", "00001", Yenc("again", "a.bin"));
  Run();
  EXPECT_EQ(ReadFile(folder / "Downloads/a.bin"), "again");
}

TEST_F(AssemblyTest, AFileInWorkIsNotTakenTwice) {
  Choose("a.bin");
  PutPart("a.bin", "00001", Yenc("x", "a.bin"));
  ASSERT_TRUE(Code::AddToActiveFiles("A.bin"));
  engine->StartConcat();
  EXPECT_EQ(engine->State(), "") << "outside a run there is no next file";
  engine->SetRunning(true);
  engine->StartConcat();
  EXPECT_EQ(engine->State(), "sent quit") << "the queue is empty, so the next file is the end";
  EXPECT_EQ(LiveThreads(), 0);
  EXPECT_TRUE(Code::InActiveFiles("a.BIN"));
}

}  // namespace
}  // namespace gravlin::testing
