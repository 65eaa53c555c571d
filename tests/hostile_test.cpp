// A hostile server, a hostile NZB, and a disk that fails during a run: nothing is lost, nothing
// incomplete is taken for whole, and the run continues when the cause is gone.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "platform/text.h"
#include "support/engine_fixture.h"
#include "support/full_disk.h"

namespace gravlin::testing {
namespace {

namespace fs = std::filesystem;

class HostileTest : public EngineTest {
 protected:
  // Each silence of the server takes a minute of the clock, and hardly any real time.
  bool RunThroughSilences(const std::function<bool()>& done) {
    for (int minutes = 0; minutes < 30 && !done(); ++minutes) {
      for (int turns = 0; turns < 40 && !done(); ++turns) PumpEvents(2);
      if (!done()) clock.Advance(61'500);
    }
    return done();
  }
};

// What one answer can be, and how many articles of the run it costs.
TEST_F(HostileTest, WhateverOneAnswerIsTheRunGoesOn) {
  const auto wire = [](std::string bytes, Reply::Then then = Reply::Then::kGoOn) -> Change {
    return [bytes = std::move(bytes), then](Reply reply) {
      reply.bytes = bytes;
      reply.then = then;
      return reply;
    };
  };
  const std::string nuls(3000, '\0');
  const struct {
    const char* what;
    std::string request;
    Change change;
    int errors;  // articles that are missing after this run
  } cases[] = {
      {"silence for a greeting", "(greeting)", StallAfter(0), 0},
      {"a connection that is dropped at once", "(greeting)", CutAfter(0), 0},
      {"silence for a group", "GROUP", StallAfter(0), 0},
      {"a code that nobody knows for a group", "GROUP", Answer("999 what"), 0},
      {"NUL bytes for a group", "GROUP", wire(nuls + "\r\n"), 0},
      {"silence for an article", "ARTICLE", StallAfter(0), 0},
      {"a refusal in the 500s for an article", "ARTICLE", Answer("500 what"), 0},
      {"an article without a line end", "ARTICLE",
       wire("220 0 " + std::string(9000, 'x'), Reply::Then::kStall), 0},
      {"an article that is refused", "ARTICLE", Answer("430 none"), 1},
      {"a connection that is dropped in an article", "ARTICLE", CutAfter(900), 0},
      {"more behind the answer to the sign-off", "QUIT", wire("205 bye\r\n220 0 more\r\n"), 0},
  };
  Post({"a.rar", "b.rar"}, 4);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EmptyDownloads();
    server->On(c.request, c.change, 1);
    Start();
    ASSERT_TRUE(RunThroughSilences([&] { return engine->State() == "logged off"; }));
    EXPECT_EQ(engine->TotalErrors, c.errors);
    if (c.errors > 0) DownloadAll();
    ExpectAllFiles();
    EXPECT_TRUE(fs::is_empty(Parts()));
  }
}

// Whatever name the NZB or an article gives, the file is written to Parts and Downloads or nowhere.
TEST_F(HostileTest, NoNameLeadsOutOfTheFolders) {
  const std::string names[] = {"...rar",
                               "../outside.rar",
                               "/outside.rar",
                               "a/../../../outside.rar",
                               "..\\outside.rar",
                               "-rf.rar",
                               "--help.rar",
                               ".hidden.rar",
                               "CON.rar",
                               "nul.nfo",
                               "nzb_temp.rar",
                               std::string(5000, 'n') + ".rar",
                               "\u202Egnp.rar",
                               "bad \xff\xfe name.rar",
                               "tab\tand\x01.rar",
                               "'; drop table NZBFiles; --.rar",
                               "$(touch outside).rar",
                               "same.rar",
                               "SAME.RAR"};
  for (const std::string& name : names) {
    posted.Add(name, 1000, 700);
    posted.Add("body " + std::to_string(posted.Files().size()) + ".rar", 900, 700, Coding::kYenc,
               name);
  }
  Serve();
  Import();
  std::ofstream(data / "Gravlin/outside.rar") << "mine";
  Start();
  ASSERT_TRUE(RunToEnd());
  std::size_t kept = 0;
  for (const auto& entry : fs::recursive_directory_iterator(data.Path())) {
    if (!entry.is_regular_file()) continue;
    const std::string path = fs::relative(entry.path(), data.Path()).string();
    if (path == "set.nzb" || path == "Gravlin/outside.rar" || path == "Gravlin/Parts.flushed" ||
        path == "Gravlin/Gravlin.lock" || path.starts_with("Gravlin/Gravlin.rsd"))
      continue;
    // If two files get the same name, the second keeps its parts.
    EXPECT_TRUE(path.starts_with("Gravlin/Downloads/") || path.starts_with("Gravlin/Parts/"))
        << path;
    EXPECT_EQ(std::count(path.begin(), path.end(), '/'), 2) << path;
    ++kept;
  }
  EXPECT_EQ(ReadFile(data / "Gravlin/outside.rar"), "mine");
  EXPECT_FALSE(fs::exists("outside"));
  EXPECT_GT(kept, std::size(names));
}

// The Parts or the Downloads folder is deleted during a run.
TEST_F(HostileTest, AFolderThatIsDeletedComesBack) {
  Post({"a.rar", "b.rar"}, 4);
  for (const char* folder : {"Gravlin/Parts", "Gravlin/Downloads"}) {
    SCOPED_TRACE(folder);
    EmptyDownloads();
    const std::size_t third = server->Requests().size() + 4;
    server->On("", [=, this](Reply reply) {
      if (server->Requests().size() == third) fs::remove_all(data / folder);
      return reply;
    });
    Start();
    ASSERT_TRUE(RunToEnd());
    const bool parts_were_lost = std::string_view(folder).ends_with("Parts");
    EXPECT_EQ(engine->TotalErrors, parts_were_lost ? 1 : 0);
    if (parts_were_lost) {
      EXPECT_EQ(Cell(0, ListColumn::kMessage),
                "Last error: Disk error: parts have gone from the Parts folder");
      Start();
      ASSERT_TRUE(RunToEnd());
    }
    ExpectAllFiles();
  }
}

// The disk is full, or there are no descriptors for parts and store: the articles count as errors,
// and the next Start fetches them.
TEST_F(HostileTest, PartsThatCannotBeWrittenAreErrorsAndComeLater) {
  posted.Add("a.rar", 8000, 2000);  // complete about when nothing can be opened
  Post({"b.rar"}, 20);
  for (const int resource : {RLIMIT_FSIZE, RLIMIT_NOFILE}) {
    SCOPED_TRACE(resource);
#ifdef __SANITIZE_ADDRESS__  // it needs descriptors for itself, to find the type of an exception
    if (resource == RLIMIT_NOFILE) continue;
#endif
    EmptyDownloads();
    Start();
    ASSERT_TRUE(clock.RunUntil([&] { return engine->PartsDone >= 3; }));
    {
      const ResourceLimit limit(resource, 3);
      const std::string stopped = "Stopped, since the disk takes no more parts.";
      ASSERT_TRUE(clock.RunUntil([&] { return view.status == stopped; }, 60'000)) << view.status;
      EXPECT_TRUE(Cell(1, ListColumn::kMessage).starts_with("Last error: Disk error: could not"))
          << Cell(1, ListColumn::kMessage);
    }
    Settle();
    DownloadAll();
    // If the limit came between the move to Downloads and its flush, the parts stay until then.
    Launch();
    EXPECT_TRUE(fs::is_empty(Parts()));
  }
}

}  // namespace
}  // namespace gravlin::testing
