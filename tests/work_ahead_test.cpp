// What is decoded while a file is on its way: used when it fits the parts, thrown away otherwise.
#include "engine/work_ahead.h"

#include <gtest/gtest.h>

#include <functional>

#include "platform/thread.h"
#include "support/engine_fixture.h"
#include "support/full_disk.h"

namespace gravlin::testing {
namespace {

namespace fs = std::filesystem;

class WorkAheadTest : public EngineTest {
 protected:
  WorkAheadTest() { WorkAhead::SetLeastBytes(0); }
  ~WorkAheadTest() override { WorkAhead::SetLeastBytes(512 * 1024); }

  fs::path Part(int number) { return Parts() / ("a.rar-p0000" + std::to_string(number) + ".txt"); }
  std::vector<fs::path> AheadFiles() {
    std::vector<fs::path> found;
    for (const auto& entry : fs::directory_iterator(Parts()))
      if (entry.path().filename().string().starts_with("nzb_temp.ahead")) found.push_back(entry);
    return found;
  }
  // Serves a file of six parts and starts; the last one hangs, and the others are decoded.
  void RunToLastPart() {
    posted = PostedSet();
    posted.Add("a.rar", 6 * 2000, 2000);
    if (!server) Serve();
    Import();
    server->On(
        "ARTICLE <" + posted.Files()[0].ids[5],
        [](Reply reply) {
          reply.borders = {900};
          reply.held = true;
          return reply;
        },
        1);
    Start();
    ASSERT_TRUE(clock.RunUntil([&] { return server->Held() == 1 && LiveThreads() == 0; }));
  }
  bool ReleaseAndRunToEnd() {
    server->Release();
    return RunToEnd() && clock.RunUntil([] { return LiveThreads() == 0; });
  }
  void FlipByte(const fs::path& file) {
    std::string text = ReadFile(file);
    text[text.size() - 200] ^= 1;
    std::ofstream(file, std::ios::binary) << text;
  }
};

TEST_F(WorkAheadTest, ThePartsAreTheOnlyTruth) {
  std::unique_ptr<FullDisk> full;
  const struct {
    const char* what;
    std::function<void()> meanwhile;
    bool as_posted = true, joined_anew = true;
  } cases[] = {
      {"nothing", [] {}, true, false},
      {"a part gets other bytes of the same length", [this] { FlipByte(Part(2)); }, false},
      {"a part is written again",
       [this] {
         const std::string text = ReadFile(Part(3));
         std::ofstream(Part(3), std::ios::binary) << text;
       }},
      {"the work is deleted", [this] { fs::remove(AheadFiles().at(0)); }},
      {"the work is cut off", [this] { fs::resize_file(AheadFiles().at(0), 100); }},
      {"the server is called again", [this] { engine->Reconnect(); }, true, false},
      {"a Stop, and another Start",
       [this] {
         Start();
         server->Release();
         ASSERT_TRUE(RunToEnd() && clock.RunUntil([] { return LiveThreads() == 0; }));
         EXPECT_TRUE(AheadFiles().empty());
         Start();
       },
       true, false},
  };
  for (const auto& c : cases) {
    RunToLastPart();
    ASSERT_EQ(AheadFiles().size(), 1u) << c.what;
    EXPECT_EQ(ReadFile(AheadFiles()[0]), posted.Files()[0].read(0, 5 * 2000)) << c.what;
    bool joined = false;
    view.status_changed = [&] { joined = joined || fs::exists(Parts() / "a.rar.txt"); };
    c.meanwhile();
    ASSERT_TRUE(ReleaseAndRunToEnd()) << c.what;
    view.status_changed = nullptr;
    const std::string posted_bytes = posted.Files()[0].read(0, 6 * 2000);
    EXPECT_EQ(ReadFile(Downloads() / "a.rar") == posted_bytes, c.as_posted) << c.what;
    EXPECT_EQ(joined, c.joined_anew) << c.what;
    EXPECT_TRUE(fs::is_empty(Parts())) << c.what;
    EXPECT_EQ(engine->TotalErrors, 0) << c.what;
    EmptyDownloads();
  }
}

}  // namespace
}  // namespace gravlin::testing
