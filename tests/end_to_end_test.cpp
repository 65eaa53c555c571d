// The real program, driven from outside as a process of its own, against the loopback news server.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <map>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "paths.h"
#include "support/news_server.h"
#include "support/posted_set.h"
#include "support/power_cut.h"
#include "support/rar_writer.h"
#include "support/temp_folder.h"

extern char** environ;

namespace gravlin::testing {
namespace {

namespace fs = std::filesystem;

PostedSet SmallSet() {
  PostedSet set(7);
  set.Add("one.mkv", 8 * 30'000 - 5, 30'000);
  set.Add("two.mp3", 5 * 9'000, 9'000);
  set.Add("three.jpg", 12'345, 12'345, Coding::kBase64);
  set.Add("four.bmp", 3 * 450, 450, Coding::kUu);
  set.Add("five.avi", 2 * 20'000, 20'000, Coding::kYenc, "The fifth.avi");
  return set;
}

// One run of gravlin-drive; its output goes to a file.
class Drive {
 public:
  // `more` is added to the environment.
  Drive(const fs::path& output, std::vector<std::string> words,
        std::vector<std::string> more = {}) {
    words.insert(words.begin(), kDrive);
    words.insert(words.end(), {"--timeout", "120"});
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    std::vector<char*> environment;
    for (char** variable = environ; *variable; ++variable) environment.push_back(*variable);
    for (std::string& variable : more) environment.push_back(variable.data());
    environment.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0600);
    posix_spawn_file_actions_adddup2(&actions, 1, 2);
    EXPECT_EQ(posix_spawn(&process_, arguments[0], &actions, nullptr, arguments.data(),
                          environment.data()),
              0);
    posix_spawn_file_actions_destroy(&actions);
  }
  ~Drive() {
    if (process_ > 0) kill(process_, SIGKILL), Status();
  }
  pid_t Process() const { return process_; }
  // The exit status, or the signal that ended it as a negative number.
  int Status() {
    int status = 0;
    waitpid(process_, &status, 0);
    process_ = 0;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

 private:
  pid_t process_ = 0;
};

class EndToEnd : public ::testing::Test {
 protected:
  EndToEnd() { set_.WriteNzb(folder_ / "set.nzb"); }

  NewsServer& Serve(NewsServer::Options options = {}) {
    server_ = std::make_unique<NewsServer>(options);
    server_->SetSource([this](std::string_view id) { return set_.Article(id); });
    return *server_;
  }
  std::vector<std::string> FirstRun(std::vector<std::string> more = {}) const {
    std::vector<std::string> words = {
        "--data", (folder_ / "data").string(),     "--server", "127.0.0.1",
        "--port", std::to_string(server_->Port()), "--nzb",    (folder_ / "set.nzb").string()};
    words.insert(words.end(), more.begin(), more.end());
    return words;
  }
  std::vector<std::string> LaterRun() const { return {"--data", (folder_ / "data").string()}; }
  int Run(const std::vector<std::string>& words) { return Drive(Log(), words).Status(); }
  fs::path Log() const { return folder_ / "drive.log"; }
  fs::path Parts() const { return folder_ / "data" / "Gravlin" / "Parts"; }
  fs::path Downloads() const { return folder_ / "data" / "Gravlin" / "Downloads"; }

  void ExpectEveryFile() const {
    for (const PostedFile& file : set_.Files()) {
      EXPECT_TRUE(ReadFile(Downloads() / file.body_name) == file.read(0, file.size))
          << file.body_name << " differs\n"
          << ReadFile(Log());
    }
    const auto count = std::distance(fs::directory_iterator(Downloads()), fs::directory_iterator());
    EXPECT_EQ(count, static_cast<long>(set_.Files().size()));
    EXPECT_TRUE(fs::is_empty(Parts()));
  }
  // Names of the part files that are whole, as a later run will see them.
  std::set<std::string> WholeParts() const {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(Parts())) {
      const std::string name = entry.path().filename().string();
      if (name.find("-p0") != std::string::npos && entry.file_size() > 0) names.insert(name);
    }
    return names;
  }

  const TempFolder folder_;
  PostedSet set_ = SmallSet();
  std::unique_ptr<NewsServer> server_;
};

TEST_F(EndToEnd, ASetComesDownPlainAndOverTlsWithAndWithoutLogOn) {
  for (const bool tls : {false, true}) {
    for (const bool log_on : {false, true}) {
      SCOPED_TRACE(std::string(tls ? "TLS" : "plain") + (log_on ? ", log-on" : ""));
      fs::remove_all(folder_ / "data");
      NewsServer::Options options;
      options.tls = tls;
      if (log_on) options.user = "reader", options.password = "a word";
      Serve(options);
      std::vector<std::string> more = {"--ssl", tls ? "v3" : "off"};
      if (tls) {
        server_->WriteAuthority(folder_ / "ca.pem");
        more.insert(more.end(), {"--ca", (folder_ / "ca.pem").string()});
      }
      if (log_on) more.insert(more.end(), {"--user", "reader", "--pass", "a word"});
      EXPECT_EQ(Run(FirstRun(more)), 0) << ReadFile(Log());
      ExpectEveryFile();
      EXPECT_EQ(server_->Requests().back(), "Quit");
      const std::string first = server_->Requests().front();
      EXPECT_EQ(first, log_on ? "AUTHINFO USER reader" : "GROUP alt.binaries.test");
    }
  }
}

// A refused article is an error of the run, is asked for once, and comes with the next run.
TEST_F(EndToEnd, ARefusedArticleIsReportedAndComesWithTheNextRun) {
  const std::string& id = set_.Files()[0].ids[3];
  Serve().On("ARTICLE <" + id + ">", Answer("430 No such article"), 1);
  EXPECT_EQ(Run(FirstRun()), 1);
  EXPECT_NE(ReadFile(Log()).find("files 4 of 5"), std::string::npos) << ReadFile(Log());
  EXPECT_EQ(Run(LaterRun()), 0) << ReadFile(Log());
  ExpectEveryFile();
  EXPECT_EQ(server_->ArticleCount(id), 2);
  EXPECT_EQ(server_->ArticleCount(set_.Files()[0].ids[4]), 1);
}

// The run goes on by itself; a set that cannot be repaired is left, and the run ends with 1.
TEST_F(EndToEnd, ADamagedArchiveIsRepairedAndExtractedOrLeft) {
  const std::string bytes = RandomBytes(3, 0, 300'000);
  for (const int damaged : {1, 6}) {
    SCOPED_TRACE(damaged);
    const fs::path post = folder_ / "post";
    for (const char* old : {"post", "data"}) fs::remove_all(folder_ / old);
    fs::create_directory(post);
    WriteRar(post, "set", {{"film.mkv", bytes}},
             {.volume_size = 120'000, .comment = "", .password = ""});
    const std::string create =
        "cd '" + post.string() + "' && par2 create -q -q -s4000 -c12 s.par2 *.rar";
    ASSERT_EQ(std::system(create.c_str()), 0);
    set_ = PostedSet(9);
    for (const auto& entry : fs::directory_iterator(post)) set_.AddFile(entry.path(), 15'000);
    set_.WriteNzb(folder_ / "set.nzb");
    Serve();
    for (const PostedFile& file : set_.Files()) {
      for (int part = 0; file.name == "set.part2.rar" && part < damaged; ++part) {
        // A byte in each of the blocks of the part, or in one of them.
        server_->On("ARTICLE <" + file.ids[static_cast<std::size_t>(part)] + ">",
                    [damaged](Reply reply) {
                      for (std::size_t at = 1000; at < reply.bytes.size(); at += 3900) {
                        reply = FlipByteAt(at)(std::move(reply));
                        if (damaged == 1) break;
                      }
                      return reply;
                    });
      }
    }
    EXPECT_EQ(Run(FirstRun({"--until", "extracted"})), damaged == 1 ? 0 : 1) << ReadFile(Log());
    const char* const said =
        damaged == 1 ? "extraction: Extraction complete." : "repair: You need ";
    EXPECT_NE(ReadFile(Log()).find(said), std::string::npos) << ReadFile(Log());
    EXPECT_EQ(ReadFile(Downloads() / "Extracted_Files" / "film.mkv") == bytes, damaged == 1);
  }
}

// Where the first run is killed: at a request, or in the middle of the answer to it.
struct KillPoint {
  const char* name;
  int request;           // counted from 1: the group of the first file is the first one
  std::size_t answered;  // bytes of its answer that have been sent; 0 for none
};
void PrintTo(const KillPoint& point, std::ostream* out) { *out << point.name; }

class KilledRun : public EndToEnd, public ::testing::WithParamInterface<KillPoint> {};

TEST_P(KilledRun, IsTakenUpByTheNextOne) {
  NewsServer& server = Serve();
  std::atomic<int> reached = 0;
  server.OnRequest([&](const std::string&, int number) {
    if (number == GetParam().request) {
      server.On("", StallAfter(GetParam().answered), 1);
      reached = 1;
    }
  });
  {
    Drive drive(Log(), FirstRun());
    ASSERT_TRUE(server.WaitFor([&] { return reached && server.Held() == 1; })) << ReadFile(Log());
    kill(drive.Process(), SIGKILL);
    ASSERT_EQ(drive.Status(), -SIGKILL);
  }
  server.OnRequest(nullptr);
  const std::set<std::string> on_disk = WholeParts();
  std::set<std::string> finished;
  for (const auto& entry : fs::directory_iterator(Downloads())) {
    finished.insert(entry.path().filename().string());
  }
  std::map<std::string, int> asked_before;
  for (const PostedFile& file : set_.Files()) {
    for (const std::string& id : file.ids) asked_before[id] = server.ArticleCount(id);
  }

  EXPECT_EQ(Run(LaterRun()), 0) << ReadFile(Log());
  ExpectEveryFile();
  for (const PostedFile& file : set_.Files()) {
    for (std::size_t i = 0; i < file.ids.size(); ++i) {
      const std::string part = "-p" + std::to_string(100'001 + i).substr(1) + ".txt";
      const bool had_it = on_disk.contains(file.name + part) || finished.contains(file.body_name) ||
                          finished.contains(file.name);
      const int again = server.ArticleCount(file.ids[i]) - asked_before[file.ids[i]];
      EXPECT_EQ(again, had_it ? 0 : 1) << file.name << part;
    }
  }
}

// What was not flushed is gone, cut off or full of holes; none of it is taken for a part, and no
// file that Downloads names is half a one.
TEST_F(EndToEnd, APowerCutCostsTimeAlone) {
  NewsServer& server = Serve();
  for (std::uint64_t seed = 1; seed <= 6; ++seed) {
    SCOPED_TRACE(seed);
    fs::remove_all(folder_ / "data");
    fs::create_directory(folder_ / "data");
    server.ClearRules();
    const int first = static_cast<int>(server.Requests().size());
    std::atomic<int> reached = 0;
    server.OnRequest([&](const std::string&, int number) {
      if (number != first + 5 + static_cast<int>(seed) * 3) return;
      server.On("", StallAfter(100), 1);
      reached = 1;
    });
    {
      Drive drive(Log(), FirstRun(),
                  NotePowerCut(folder_ / "data", folder_ / "journal", kPowerCutPreload));
      ASSERT_TRUE(server.WaitFor([&] { return reached && server.Held() == 1; })) << ReadFile(Log());
    }
    server.OnRequest(nullptr);
    EXPECT_GT(CutPower(folder_ / "data", folder_ / "journal", seed), 0);
    EXPECT_EQ(Run(FirstRun()), 0) << ReadFile(Log());
    ExpectEveryFile();
  }
}

// The set is walked by name: five.avi (2 parts), four.bmp (3), one.mkv (8), three.jpg (1), two.mp3
// (5), with a GROUP before each file.
INSTANTIATE_TEST_SUITE_P(
    Points, KilledRun,
    ::testing::Values(KillPoint{"AtTheFirstGroup", 1, 0}, KillPoint{"AtTheFirstArticle", 2, 0},
                      KillPoint{"InTheFirstArticle", 2, 9'000},
                      KillPoint{"AtTheLastPartOfAFile", 3, 20'000},
                      KillPoint{"AtTheSecondGroup", 4, 0}, KillPoint{"InAUuPart", 6, 300},
                      KillPoint{"InTheMiddleOfALongFile", 12, 1},
                      KillPoint{"BeforeTheLastByteOfAnArticle", 13, 31'000},
                      KillPoint{"InTheBase64File", 18, 4'000}, KillPoint{"AtQuit", 25, 0}),
    [](const auto& point) { return point.param.name; });

}  // namespace
}  // namespace gravlin::testing
