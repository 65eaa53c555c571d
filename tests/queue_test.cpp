// The queue: launch, resume, finished files, the end of a run.
#include <gtest/gtest.h>

#include <fstream>

#include "platform/text.h"
#include "support/engine_fixture.h"

namespace gravlin::testing {
namespace {

class QueueTest : public EngineTest {
 protected:
  // A part file of an earlier run.
  void LeavePart(int file, int part) {
    const std::string& id = posted.Files()[file].ids[part - 1];
    const std::string name = posted.Files()[file].name + "-p0000" + std::to_string(part) + ".txt";
    std::ofstream(Parts() / name, std::ios::binary) << ArticleReply(id, *posted.Article(id));
  }
};

TEST_F(QueueTest, ALaunchCountsWhatLiesOnDisk) {
  Post({"a.rar", "b.rar", "c.rar"});
  LeavePart(0, 2);
  LeavePart(1, 1);
  std::ofstream(Parts() / "b.rar-p00002.txt");  // empty: a crash left it
  // What a kill leaves: temporary files, and what belongs to a file that is finished.
  for (const char* left :
       {"nzb_temp.ahead-1.decoded", "nzb_temp.rar", "c.rar.txt", "c.rar-p00003.txt"})
    std::ofstream(Parts() / left) << "half";
  std::ofstream(Parts() / "nzb_temp.rar-p00001.txt") << "of a file with an odd name\r\n.\r\n";
  std::ofstream(Downloads() / "c.rar") << "there";
  std::ofstream(Downloads() / ".gravlin-move-a1B2c3") << "half";
  Launch();
  EXPECT_EQ(engine->fDownloads.Count(), 1);
  EXPECT_EQ(engine->fParts.Count(), 4);
  std::string present;
  for (int row = 0; row < 3; ++row) present += Cell(row, ListColumn::kPartsPresent);
  EXPECT_EQ(present + Cell(2, ListColumn::kDone), "113Yes");
  EXPECT_EQ(engine->PartsDone, 5);
  EXPECT_EQ(engine->ExpectedParts, 9);
  Start();
  ASSERT_TRUE(RunToEnd());
  EXPECT_EQ(server->ArticleCount(posted.Files()[0].ids[1]), 0);
  EXPECT_EQ(server->ArticleCount(posted.Files()[1].ids[1]), 1);
  EXPECT_EQ(server->ArticleCount(posted.Files()[2].ids[0]), 0);
  EXPECT_EQ(Cell(2, ListColumn::kMessage), "File present in Downloads folder.");
  EXPECT_TRUE(ReadFile(Downloads() / "b.rar") == posted.Files()[1].read(0, 6000));
}

// Parts that are newer than the last flush are checked; the others are taken as they are.
TEST_F(QueueTest, WhatAPowerCutDamagedIsNoPart) {
  posted.Add("a.rar", 10 * 9000, 9000);
  Serve();
  Import();
  const auto part = [this](int number) {
    return Parts() / ("a.rar-p0000" + std::to_string(number) + ".txt");
  };
  for (int number = 1; number <= 5; ++number) LeavePart(0, number);
  using std::filesystem::resize_file;
  resize_file(part(2), 500);
  resize_file(part(3), 8'000), resize_file(part(3), 9'300);
  std::fstream(part(4)).seekp(4096).write(std::string(512, '\0').data(), 512);
  resize_file(part(5), 500);
  const auto now = std::filesystem::last_write_time(part(1));
  std::filesystem::last_write_time(part(5), now - std::chrono::seconds(30));
  const std::filesystem::path mark = data / "Gravlin/Parts.flushed";
  std::ofstream{mark};
  std::filesystem::last_write_time(mark, now - std::chrono::seconds(20));
  Launch();
  EXPECT_EQ(Cell(0, ListColumn::kPartsPresent), "2");
  EXPECT_TRUE(std::filesystem::exists(part(1)) && std::filesystem::exists(part(5)));
  Start();
  ASSERT_TRUE(RunToEnd());
  EXPECT_TRUE(clock.RunUntil([&] {
    return std::filesystem::last_write_time(mark) > now - std::chrono::seconds(20);
  })) << "the parts of this run are flushed";
}

// Files a and c are refused in two packets.  While b, whose parts are all there, is assembled, the
// rest of the first refusal must not be judged as a reply, or the queue is walked twice.
TEST_F(QueueTest, TheRestOfARefusalIsNoReplyDuringAnAssembly) {
  posted.Add("a.rar", 6000, 2000);
  posted.Add("b.rar", 6000, 2000, Coding::kYenc, "body.rar");
  Post({"c.rar", "d.rar"});
  for (int part = 1; part <= 3; ++part) LeavePart(1, part);
  for (const int file : {0, 2}) {
    server->On("ARTICLE <" + posted.Files()[file].ids[2], [](Reply) {
      return Reply{.bytes = "430 no such article\r\n", .borders = {3}, .held = true};
    });
  }
  RunIntoAnAssembly();
  ASSERT_TRUE(TestClock::PumpUntil([&] { return server->Held() == 1; }));
  server->Release();
  ASSERT_TRUE(TestClock::PumpUntil([&] { return server->Held() == 0; }));
  clock.Advance(1500);
  EXPECT_EQ(engine->FilesIndex, 1);
  EXPECT_GT(engine->CurrentSituation().assemblies, 0);
  Code::DBFree = true;
  ASSERT_TRUE(clock.RunUntil([&] {
    server->Release();
    return engine->State() == "logged off";
  }));
  EXPECT_EQ(Cell(0, ListColumn::kErrors) + Cell(1, ListColumn::kErrors), "10");
  EXPECT_EQ(Cell(1, ListColumn::kMessage), "File saved OK.");
  for (const int file : {1, 3}) {
    const PostedFile& whole = posted.Files()[file];
    EXPECT_TRUE(ReadFile(Downloads() / whole.body_name) == whole.read(0, whole.size)) << whole.name;
  }
}

// The store does not give the row, or the disk does not take the name: each is one error of its
// file, no article of it is fetched, and the other files are.
TEST_F(QueueTest, AFileThatCannotBeBegunIsAnErrorOfItsRow) {
  Post({"a.rar", "b.rar", "c.rar", "d.rar"});
  std::filesystem::create_directories(Parts() / "b.rar-p00001.txt/in use");
  server->On("QUIT", Silence());
  Start();
  ASSERT_TRUE(clock.RunUntil([&] { return engine->FilesIndex == 2; }));
  EXPECT_EQ(Cell(1, ListColumn::kMessage),
            "Last error: Disk error: the disk does not take the name b.rar-p00001.txt");
  EXPECT_EQ(server->ArticleCount(posted.Files()[1].ids[0]), 0);
  engine->db = std::make_unique<Database>();
  ASSERT_TRUE(RunToState("sent quit"));
  EXPECT_EQ(view.status, "All done, but with errors on 2 posts.");
  EXPECT_EQ(
      view.advice,
      "2 posts have not come. Show Files says of which files; Start asks for them again. A "
      "set without PAR2 files is not unpacked by itself: choose RAR Decoder in the File menu, "
      "and there a.rar.");
  EXPECT_EQ(Cell(2, ListColumn::kDone), "Yes");
  EXPECT_EQ(Cell(3, ListColumn::kMessage), "Last error: Store error: not connected");
}

TEST_F(QueueTest, AFileCompleteAtLaunchIsAssembledWithoutStart) {
  Post({"a.rar", "b.rar"});
  for (int part = 1; part <= 3; ++part) LeavePart(1, part);
  Launch();
  ASSERT_TRUE(clock.RunUntil([&] { return engine->ThreadFlag(); }, 10'000));
  EXPECT_TRUE(ReadFile(Downloads() / "b.rar") == posted.Files()[1].read(0, 6000));
  DownloadAll();
  EXPECT_EQ(server->ArticleCount(posted.Files()[1].ids[0]), 0);
}

// The server answers nothing between these files: finished ones, and ones without a group under a
// name that no file system takes.
TEST_F(QueueTest, AnyNumberOfFilesIsPassedOver) {
  posted.Add("zz.rar", 3000, 3000);
  Serve();
  Import();
  {
    Database db(Code::fGlobalDB);
    ASSERT_TRUE(db.Connect());
    db.SQLExecute(
        "Insert into NZBFiles (PartsDone, Done, ServerErrors, Filename, TotalParts, TotalBytes, "
        "Ext, Parts, Groups) With Recursive n(i) as (Select 1 Union All Select i+1 from n where "
        "i<40000) Select 0, iif(i<=30000, 'Yes', 'No'), 0, iif(i<=30000, 'a', '../') || i || "
        "'.rar', 1, 1, 'rar', '1-1-x' || i, iif(i<=30000, 'alt.test', '') from n");
    ASSERT_FALSE(db.Error()) << db.ErrorMessage();
    db.Commit();
  }
  Launch();
  ASSERT_EQ(engine->List.ListCount(), 40001);
  DownloadAll();
  EXPECT_EQ(Cell(engine->List.FindRow("a1.rar"), ListColumn::kMessage), "File already done.");
  EXPECT_EQ(server->ArticleCount("x35000"), 0);
}

TEST_F(QueueTest, TheFirstRepairFileAndTheFirstVolumeAreChosen) {
  Post({"set.part2.rar", "set.part1.rar", "set.vol00+01.par2", "set.par2", "z.rar"}, 1);
  engine->ParFilename = "stale";
  Asked().Clear();
  server->On("QUIT", Silence());
  Start();
  ASSERT_TRUE(RunToState("sent quit"));
  EXPECT_EQ(engine->ParFilename, "set.par2");
  EXPECT_EQ(engine->RarFilename, "set.part1.rar");
  EXPECT_EQ(view.repairs, std::vector<std::string>{"set.par2"});
  EXPECT_EQ(InStr(view.advice, "The set is now checked"), 1);
  ASSERT_FALSE(Asked().launched.empty());
  EXPECT_EQ(Asked().launched[0].Name(), "Downloads");
}

TEST_F(QueueTest, AllFilesDoneIsSaidWithoutAConnection) {
  Post({"a.rar"}, 1);
  Start();
  ASSERT_TRUE(RunToEnd());
  const int connections = server->Connections();
  Asked().Clear();
  Start();
  ASSERT_EQ(Asked().boxes.size(), 1u);
  EXPECT_EQ(Asked().boxes[0].text, "All files have been downloaded.");
  EXPECT_EQ(view.status, "Done.");
  EXPECT_EQ(server->Connections(), connections);
}

TEST_F(QueueTest, StartIsDisabledUntilTheListIsLoaded) {
  Post({"a.rar"});
  bool enabled = true;
  view.status_changed = [&] {
    if (view.status == "Scanning parts folder...") enabled = view.enabled;
  };
  Import();
  view.status_changed = nullptr;
  EXPECT_FALSE(enabled);
  DownloadAll();
}

}  // namespace
}  // namespace gravlin::testing
