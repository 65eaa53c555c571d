// Parts that another list has left under the names of the imported one.
#include <gtest/gtest.h>

#include <fstream>
#include <set>

#include "platform/fibers.h"
#include "support/engine_fixture.h"

namespace gravlin::testing {
namespace {

class LeftoversTest : public EngineTest {
 protected:
  ~LeftoversTest() override { SetOffload(nullptr); }

  void Leave(const std::string& name, const std::string& text) {
    std::ofstream(Parts() / name, std::ios::binary) << text;
  }
  // Parts as an earlier run of the set has left them.
  void Leave(const PostedSet& set, int file, std::initializer_list<int> parts) {
    for (const int part : parts) {
      const std::string& id = set.Files()[file].ids[part - 1];
      Leave(set.Files()[file].name + "-p0000" + std::to_string(part) + ".txt",
            "220 0 <" + id + "> article\r\n" + *set.Article(id) + ".\r\n");
    }
  }
  std::set<std::string> PartNames() {
    std::set<std::string> names;
    for (const std::string& name : engine->fParts.ChildNames()) names.insert(name);
    return names;
  }
  // Two sets with a file of one name.
  void PostTwo() {
    posted.Add("cover.jpg", 6000, 2000);
    posted.Add("z.rar", 6000, 2000);
    other.Add("cover.jpg", 9000, 2000);
    other.WriteNzb(data / "other.nzb");
    Serve();
    server->SetSource([&](std::string_view id) {
      const auto article = other.Article(id);
      return article ? article : posted.Article(id);
    });
    other_cover = other.Files()[0].read(0, 9000);
  }
  void StartImport(const char* nzb) {
    engine->fNZB = data.Item(nzb);
    engine->InitNZBFile();
  }

  PostedSet other{2};
  std::string other_cover;
};

TEST_F(LeftoversTest, OnlyAPartThatNamesAnotherArticleGoes) {
  posted.Add("cover.jpg", 20'000, 2000);
  posted.Add("two.rar", 4000, 2000);
  Serve();
  const std::string own = "<" + posted.Files()[0].ids[1] + ">", theirs = "<part2of9@other.example>";
  const std::string pad = "X-Pad: " + std::string(2000, 'x') + "\r\n", body = "\r\nbody\r\n.\r\n";
  const struct {
    std::string text;
    bool stays;
  } cases[] = {
      {"220 0 " + own + "\r\n" + body, true},
      {"220 0 " + theirs + "\r\n" + body, false},
      {"220 7 " + theirs + " article\r\nmessage-id: " + own + "\r\n" + body, true},
      {"220 7 " + own + " article\r\nMessage-ID: " + theirs + "\r\n" + body, true},
      {"220 0 article\r\nFrom: a <a@b>\r\nMessage-ID:\r\n\t" + theirs + "\r\n" + body, false},
      {"220 0 article\r\nFrom: a " + theirs + "\r\n\r\nMessage-ID: " + theirs + body, true},
      {"From: a " + theirs + "\r\nMessage-ID: " + own + "\r\n" + body, true},
      {"220 " + theirs + "\r\n" + pad + "Message-ID: " + own + "\r\n" + body, true},
      {"220 0 article\r\n" + pad + "Message-ID: " + theirs + "\r\n" + body, false},
      {"220 0 <cut off", true},
      {"Message-ID: <cut off", true},
      {"", true},
  };
  for (const auto& [text, stays] : cases) {
    Leave("cover.jpg-p00002.txt", text);
    Import();
    EXPECT_EQ(PartNames().size(), stays) << text;
    EXPECT_EQ(Cell(0, ListColumn::kPartsPresent), stays && !text.empty() ? "1" : "0") << text;
  }
  // The name and the number decide what a part is compared with.
  const std::string foreign = "220 0 " + theirs + "\r\n" + body;
  for (const char* name : {"cover.jpg-p00011.txt", "COVER.jpg-p00002.txt", "cover.jpg-p100000.txt",
                           "two.rar-p00001.txt"})
    Leave(name, foreign);
  std::set<std::string> stay = {"cover.jpg-p00002.txt", "else.jpg-p00002.txt", "cover.jpg-p2.txt",
                                "nzb_temp.txt"};
  for (const std::string& name : stay) Leave(name, name == *stay.begin() ? "" : foreign);
  std::filesystem::create_directories(Parts() / "cover.jpg-p00003.txt");
  stay.insert("cover.jpg-p00003.txt");
  Import();
  EXPECT_EQ(PartNames(), stay);
}

TEST_F(LeftoversTest, TheFilesOfOneListShareTheirParts) {
  posted.Add("same.rar", 6000, 2000);
  posted.Add("same.rar", 8000, 2000);
  posted.Add("SAME.rar", 4000, 2000);
  Serve();
  Leave(posted, 0, {1});
  Leave(posted, 1, {2, 4});
  Leave(posted, 2, {1});
  const auto there = PartNames();
  for (int times = 0; times < 2; ++times) {
    Import();
    EXPECT_EQ(PartNames(), there);
  }
}

TEST_F(LeftoversTest, AFileComesOutWholeAfterAnotherOfItsName) {
  PostTwo();
  Leave(other, 0, {1, 3, 5});
  Leave(posted, 0, {2});
  Leave(posted, 1, {1, 2});
  Import();
  EXPECT_EQ(engine->PartsDone, 3);
  DownloadAll();
  EXPECT_EQ(server->ArticleCount(posted.Files()[0].ids[1]), 0);
}

// A list with another file of the name comes, or the same list again, while the third article of a
// file is under way.
TEST_F(LeftoversTest, TheFileOfARunUnderWayGivesWayToAnotherOfItsName) {
  PostTwo();
  Import();
  for (const char* nzb : {"set.nzb", "other.nzb"}) {
    const bool same = nzb == std::string_view("set.nzb");
    EmptyDownloads();
    server->On(
        "ARTICLE <" + posted.Files()[0].ids[2],
        [](Reply reply) {
          reply.borders = {500};
          reply.held = true;
          return reply;
        },
        1);
    Start();
    ASSERT_TRUE(clock.RunUntil([&] { return engine->PartsDone == 2 && server->Held() == 1; }));
    view.download_tab = false;
    StartImport(nzb);
    ASSERT_TRUE(clock.RunUntil([&] { return view.download_tab; }));
    EXPECT_EQ(PartNames().size(), same ? 2u : 0u);
    server->Release();
    ASSERT_TRUE(RunToEnd());
    EXPECT_TRUE(PartNames().empty()) << "the old list's third part was saved";
    if (same) {
      ExpectAllFiles();
      continue;
    }
    Start();
    ASSERT_TRUE(RunToEnd());
    EXPECT_TRUE(ReadFile(Downloads() / "cover.jpg") == other_cover);
    EXPECT_EQ(engine->TotalErrors, 0);
  }
}

TEST_F(LeftoversTest, AnAssemblyUnderWayKeepsItsParts) {
  PostTwo();
  Import();
  Leave(posted, 0, {1, 2, 3});
  bool first = true;  // what the assembly offloads first is its look at the folder
  SetOffload([&](const std::function<void()>& work) {
    if (std::exchange(first, false)) Thread::Sleep(20'000);
    work();
  });
  Launch();
  StartImport("other.nzb");
  clock.Advance(15'000);
  EXPECT_EQ(PartNames().size(), 4u);  // and the joined file
  ASSERT_TRUE(clock.RunUntil([] { return LiveThreads() == 0; }));
  EXPECT_TRUE(ReadFile(Downloads() / "cover.jpg") == posted.Files()[0].read(0, 6000));
}

// Never the list with a part of another one, whenever the program dies.
TEST_F(LeftoversTest, AKillDuringAnImportLeavesNoPartToItsList) {
  PostTwo();
  Import();
  SetOffload([](const std::function<void()>& work) {
    Thread::Sleep(1);
    work();
    Thread::Sleep(1);
  });
  int with_parts = 0, with_list = 0;
  for (bool ended = false; !ended;) {
    engine->db.reset();
    Database store(Code::fGlobalDB);
    ASSERT_TRUE(store.Connect());
    store.SQLExecute("Delete from NZBFiles");
    store.Commit();
    ASSERT_EQ(store.ErrorMessage(), "");
    Launch();
    Leave(other, 0, {1, 3, 5});
    StartImport("set.nzb");
    clock.Advance(with_parts + with_list);
    ended = LiveThreads() == 0;
    Launch();
    const bool list = engine->List.ListCount() > 0;
    ++(list ? with_list : with_parts);
    EXPECT_TRUE(!list || PartNames().empty()) << with_list;
  }
  EXPECT_GT(with_parts, 5);
  EXPECT_GT(with_list, 1);
}

}  // namespace
}  // namespace gravlin::testing
