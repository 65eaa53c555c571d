// A hostile server, a hostile NZB, and a disk that fails in the middle of a run: nothing is lost,
// nothing half-done is taken for whole, and the run goes on when the cause is gone.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <filesystem>
#include <fstream>

#include "platform/text.h"
#include "support/engine_fixture.h"

namespace gravlin::testing {
namespace {

namespace fs = std::filesystem;

class HostileTest : public EngineTest {
 protected:
  void PostTwo() {
    posted.Add("a.rar", 8000, 2000);
    posted.Add("b.rar", 8000, 2000);
    Serve();
    Import();
  }
  // Each silence of the server costs the run a minute of the clock, and hardly any real time.
  bool RunThroughSilences(const std::function<bool()>& done) {
    for (int minutes = 0; minutes < 30 && !done(); ++minutes) {
      for (int turns = 0; turns < 40 && !done(); ++turns) PumpEvents(2);
      if (!done()) clock.Advance(61'500);
    }
    return done();
  }
};

// What one answer can be, and whether the run gets over it by itself.
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
    int errors;  // articles that this run does without
  } cases[] = {
      {"a greeting that never ends its line", "(greeting)",
       wire("200 " + nuls, Reply::Then::kStall), 0},
      {"silence for a greeting", "(greeting)", StallAfter(0), 0},
      {"a greeting in two bytes", "(greeting)", wire("20", Reply::Then::kStall), 0},
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
  };
  PostTwo();
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    fs::remove_all(Downloads());
    window->CheckFolders();
    Import();
    server->On(c.request, c.change, 1);
    Start();
    ASSERT_TRUE(RunThroughSilences([&] { return window->State == "logged off"; }));
    EXPECT_EQ(window->TotalErrors, c.errors);
    if (c.errors > 0) {
      Start();
      ASSERT_TRUE(RunToEnd());
    }
    ExpectAllFiles();
    EXPECT_TRUE(fs::is_empty(Parts()));
  }
}

// An article that is cut off is asked for again, wherever the cut is.
TEST_F(HostileTest, AReplyMayBeCutAtEachOfItsBytes) {
  posted.Add("a.rar", 40, 40);
  Serve();
  Import();
  const std::string& id = posted.Files()[0].ids[0];
  std::size_t size = 0, cut = 0;
  server->On("ARTICLE", [&](Reply reply) {
    size = reply.bytes.size();
    return CutAfter(cut++)(std::move(reply));
  });
  Start();
  for (int ended = 1; window->State != "sent quit"; ++ended) {
    ASSERT_TRUE(TestClock::PumpUntil(
        [&] { return server->Ended() >= ended || window->State == "sent quit"; }));
    clock.Advance(61'500);
  }
  ExpectAllFiles();
  // Whole when all but the last line feed is there.
  EXPECT_EQ(server->ArticleCount(id), static_cast<int>(size));
}

// Whatever the NZB or an article calls a file, it is written to Parts and Downloads or nowhere.
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
        path.starts_with("Gravlin/Gravlin.rsd"))
      continue;
    // Of two files that end up under one name the second keeps its parts.
    EXPECT_TRUE(path.starts_with("Gravlin/Downloads/") || path.starts_with("Gravlin/Parts/"))
        << path;
    EXPECT_EQ(std::count(path.begin(), path.end(), '/'), 2) << path;
    ++kept;
  }
  EXPECT_EQ(ReadFile(data / "Gravlin/outside.rar"), "mine");
  EXPECT_FALSE(fs::exists("outside"));
  EXPECT_GT(kept, std::size(names));
}

// The Parts or the Downloads folder is deleted in the middle of a run.
TEST_F(HostileTest, AFolderThatIsDeletedComesBack) {
  for (const char* folder : {"Gravlin/Parts", "Gravlin/Downloads"}) {
    SCOPED_TRACE(folder);
    if (!server) PostTwo();
    fs::remove_all(Downloads());
    window->CheckFolders();
    Import();
    const int third = static_cast<int>(server->Requests().size()) + 4;
    server->OnRequest([&, third](const std::string&, int number) {
      if (number == third) fs::remove_all(data / folder);
    });
    Start();
    ASSERT_TRUE(RunToEnd());
    const bool parts_were_lost = std::string_view(folder).ends_with("Parts");
    EXPECT_EQ(window->TotalErrors, parts_were_lost ? 1 : 0);
    if (parts_were_lost) {
      EXPECT_EQ(Cell(0, ListColumn::kMessage),
                "Last error: Disk error: parts have gone from the Parts folder");
      EXPECT_EQ(Cell(0, ListColumn::kDone), "No");
      Start();
      ASSERT_TRUE(RunToEnd());
    }
    ExpectAllFiles();
  }
}

// No descriptor is left for a part, nor for the store: the articles count as errors, and the next
// Start fetches them.
TEST_F(HostileTest, WithoutFileDescriptorsPartsAreErrorsAndComeLater) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer needs descriptors itself, to look at the type of what is thrown";
#endif
  PostTwo();
  rlimit before{};
  getrlimit(RLIMIT_NOFILE, &before);
  const int third = static_cast<int>(server->Requests().size()) + 4;
  server->OnRequest([&, third](const std::string&, int number) {
    if (number != third) return;
    rlimit none = before;
    none.rlim_cur = 3;
    setrlimit(RLIMIT_NOFILE, &none);
  });
  Start();
  ASSERT_TRUE(clock.RunUntil([&] { return window->TotalErrors >= 3; }));
  EXPECT_TRUE(Cell(0, ListColumn::kMessage).starts_with("Last error: Disk error: could not save"));
  setrlimit(RLIMIT_NOFILE, &before);
  server->OnRequest(nullptr);
  ASSERT_TRUE(RunToEnd());
  Settle();
  Start();
  ASSERT_TRUE(RunToEnd());
  ExpectAllFiles();
}

TEST_F(HostileTest, ThePasswordIsInNoLog) {
  posted.Add("a.rar", 40, 40);
  NewsServer::Options options;
  options.user = "lena";
  options.password = "s3cret";
  Serve(options);
  Import();
  Code::DebugOn = true;
  window->stStatus.TextChange = [&] { EXPECT_EQ(InStr(window->stStatus.Text(), "s3cret"), 0); };
  Start();
  ASSERT_TRUE(RunToEnd());
  const std::string log = ReadFile(data / "Gravlin/Gravlin_Debug..txt");
  EXPECT_GT(InStr(log, "AUTHINFO PASS"), 0);
  EXPECT_EQ(InStr(log, "s3cret"), 0);
  window->stStatus.TextChange = nullptr;
}

}  // namespace
}  // namespace gravlin::testing
