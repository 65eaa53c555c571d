// Whether what is left to download fits on the disk, asked before a run.
#include "engine/room.h"

#include <gtest/gtest.h>

#include "platform/application.h"
#include "support/engine_fixture.h"

namespace gravlin::testing {
namespace {

TEST(Room, TheFullestMomentOfARunIsCounted) {
  const struct {
    const char* what;
    std::vector<FileToCome> files;
    double on_one_disk, parts, downloads;
  } cases[] = {
      {"nothing", {}, 0, 0, 0},
      {"articles, joined, decoded", {{1000, 0}}, 2970, 2970, 970},
      {"half of the articles are there", {{1000, 0.5}}, 2470, 2470, 970},
      {"all are", {{1000, 1}}, 1970, 1970, 970},
      {"the largest file is the last", {{100, 0}, {1000, 0}}, 97 + 2970, 2970, 97 + 970},
      {"the largest file is the first", {{1000, 0}, {100, 0}}, 2970, 2970, 970 + 97},
      {"parts that go make room", {{1000, 1}, {1000, 0}}, 2940, 1970, 1940},
  };
  for (const auto& [what, files, on_one_disk, parts, downloads] : cases) {
    const RoomNeeded needed = RoomFor(files);
    EXPECT_NEAR(needed.on_one_disk, on_one_disk, 1e-6) << what;
    EXPECT_NEAR(needed.parts, parts, 1e-6) << what;
    EXPECT_NEAR(needed.downloads, downloads, 1e-6) << what;
  }
  // More than 32 bits, a number that is none, an id with a comma, a size beyond any reply.
  EXPECT_EQ(BytesOfArticles("1-3000000000-a@b"), 67'108'864);
  std::string many;
  for (int i = 1; i <= 5000; ++i) many += "," + std::to_string(i) + "-1000000-a-b@c";
  EXPECT_EQ(BytesOfArticles(many.substr(1)), 5e9);
  EXPECT_EQ(BytesOfArticles("1-10-a,b@c,2-x-d,3--5-e,4-20-"), 30);
  EXPECT_EQ(BytesOfArticles(""), 0);
}

TEST(Room, TheDiskOfWhatIsNotThereYetIsItsFoldersDisk) {
  const TempFolder folder;
  Desktop& real = Asked();
  const auto room = real.Desktop::RoomFor(folder.Item());
  const auto below = real.Desktop::RoomFor(folder.Item("not/there"));
  ASSERT_TRUE(room && below);
  EXPECT_GT(room->bytes, 0);
  EXPECT_EQ(room->disk, below->disk);
  std::filesystem::create_directory_symlink("/proc", folder / "link");
  const auto linked = real.Desktop::RoomFor(folder.Item("link"));
  EXPECT_TRUE(!linked || linked->disk != room->disk) << "what a link leads to counts";
}

class RoomTest : public EngineTest {
 protected:
  // Bytes that are free on the disk of Parts, and on that of Downloads if that is another one.
  void SetRoom(double parts, double downloads = -1) {
    Asked().room = [=](const FolderItem& item) {
      const bool second = downloads >= 0 && item.Name() == "Downloads";
      return DiskRoom{second ? 2u : 1u, second ? downloads : parts};
    };
  }
  // What the box of a Start says; the user presses Cancel.
  std::string BoxOfStart() {
    Asked().boxes.clear();
    Asked().answers = {2};
    Start();
    Asked().answers.clear();
    return Asked().boxes.empty() ? "" : Asked().boxes[0].text;
  }
};

TEST_F(RoomTest, StartAsksWhereTheRestDoesNotFit) {
  Post({"a.rar", "b.rar"});
  const std::string before = view.status;
  const struct {
    double parts, downloads;  // below 0: on one disk
    std::string missing;
  } cases[] = {
      {10'000, -1, "about 1 MB are missing on the disk"},
      {10'000, 1e9, "about 1 MB are missing on the disk of the Parts folder"},
      {1e6, 1000, "about 1 MB are missing on the disk of the Downloads folder"},
      {-2.5e9, 0,
       "about 2.5 GB are missing on the disk of the Parts folder, and about 1 MB are missing on "
       "the disk of the Downloads folder"},
  };
  for (const auto& [parts, downloads, missing] : cases) {
    SetRoom(parts, downloads);
    EXPECT_EQ(BoxOfStart(), "There is not enough room for what is left to download: " + missing +
                                ". Start all the same?");
    // Nothing was begun.
    EXPECT_FALSE(view.stops || engine->CurrentSituation().running);
    EXPECT_TRUE(view.enabled);
    EXPECT_EQ(view.status, before);
  }
  // A quit while the box is open is no Start, though the answer is OK.
  Asked().meanwhile = [] { Application::Quit(); };
  Start();
  clock.Advance(100);
  EXPECT_FALSE(view.stops || engine->CurrentSituation().running);
  EXPECT_EQ(server->Connections(), 0);
}

TEST_F(RoomTest, OkStartsAllTheSameAndWhatIsThereIsNotCounted) {
  Post({"a.rar", "b.rar"}, 10);
  std::vector<FileToCome> files;
  for (auto rows = engine->db->SQLSelect("Select Parts from NZBFiles"); !rows->EndOfFile();
       rows->MoveNext())
    files.push_back({BytesOfArticles(rows->Field("Parts").View())});
  for (const PostedFile& file : posted.Files())
    server->On("ARTICLE <" + file.ids[9], Answer("430 no such article"), 2);
  SetRoom(RoomFor(files).on_one_disk - 1);
  Start();
  EXPECT_EQ(Asked().boxes.size(), 1u);
  ASSERT_TRUE(RunToEnd());
  for (FileToCome& file : files) file.present = 0.9;
  SetRoom(RoomFor(files).on_one_disk - 1);
  EXPECT_NE(BoxOfStart(), "");
  SetRoom(RoomFor(files).on_one_disk);
  EXPECT_EQ(BoxOfStart(), "");
  ASSERT_TRUE(RunToEnd());
  Asked().room = [](const FolderItem&) { return std::nullopt; };
  EXPECT_EQ(BoxOfStart(), "") << "the system does not say";
  ASSERT_TRUE(RunToEnd());
  ExpectAllFiles();
  // Nothing is left, though the user has moved a file away.
  std::filesystem::remove(Downloads() / "a.rar");
  SetRoom(0);
  EXPECT_EQ(BoxOfStart(), "All files have been downloaded.");
}

}  // namespace
}  // namespace gravlin::testing
