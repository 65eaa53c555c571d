// The real program, driven from outside as a process of its own, against the loopback news server.
#include <gtest/gtest.h>

#include <QProcess>
#include <atomic>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "paths.h"
#include "support/news_server.h"
#include "support/posted_set.h"
#include "support/power_cut.h"
#include "support/rar_writer.h"
#include "support/temp_folder.h"

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

QString Text(const fs::path& path) { return QString::fromStdString(path.string()); }

// One run of gravlin-drive; its output goes to a file.
class Drive {
 public:
  // `more` is added to the environment.
  Drive(const fs::path& output, const QStringList& words,
        const std::vector<std::string>& more = {}) {
    QStringList environment = QProcess::systemEnvironment();
    for (const std::string& variable : more) environment << QString::fromStdString(variable);
    process_.setEnvironment(environment);
    process_.setProcessChannelMode(QProcess::MergedChannels);
    process_.setStandardOutputFile(Text(output));
    process_.start(kDrive, words + QStringList{"--timeout", "120"});
  }
  ~Drive() { Kill(); }
  // Whether there was something to kill.
  bool Kill() {
    process_.kill();
    return Status() < 0;
  }
  // The exit status; -1 after a signal.
  int Status() {
    process_.waitForFinished(-1);
    return process_.exitStatus() == QProcess::NormalExit ? process_.exitCode() : -1;
  }

 private:
  QProcess process_;
};

class EndToEnd : public ::testing::Test {
 protected:
  EndToEnd() { set_.WriteNzb(folder_ / "set.nzb"); }

  NewsServer& Serve(NewsServer::Options options = {}) {
    server_ = std::make_unique<NewsServer>(options);
    server_->SetSource([this](std::string_view id) { return set_.Article(id); });
    return *server_;
  }
  QStringList FirstRun(const QStringList& more = {}) const {
    return LaterRun() + QStringList{"--server", "127.0.0.1",
                                    "--port",   QString::number(server_->Port()),
                                    "--nzb",    Text(folder_ / "set.nzb")} +
           more;
  }
  QStringList LaterRun() const { return {"--data", Text(folder_ / "data")}; }
  int Run(const QStringList& words) { return Drive(Log(), words).Status(); }
  // A run that is killed in the middle of the answer to a request, counted from 1.
  void KilledRun(int request, std::size_t answered,
                 const std::vector<std::string>& environment = {}) {
    std::atomic<bool> reached = false;
    server_->OnRequest([&](const std::string&, int number) {
      if (number != request) return;
      server_->On("", StallAfter(answered), 1);
      reached = true;
    });
    Drive drive(Log(), FirstRun(), environment);
    EXPECT_TRUE(server_->WaitFor([&] { return reached && server_->Held() == 1; }))
        << ReadFile(Log());
    EXPECT_TRUE(drive.Kill());
    server_->OnRequest(nullptr);
  }
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
      QStringList more = {"--ssl", tls ? "v3" : "off"};
      if (tls) {
        server_->WriteAuthority(folder_ / "ca.pem");
        more << "--ca" << Text(folder_ / "ca.pem");
      }
      if (log_on)
        more << "--user"
             << "reader"
             << "--pass"
             << "a word";
      EXPECT_EQ(Run(FirstRun(more)), 0) << ReadFile(Log());
      ExpectEveryFile();
      EXPECT_EQ(server_->Requests().back(), "Quit");
      const std::string first = server_->Requests().front();
      EXPECT_EQ(first, log_on ? "AUTHINFO USER reader" : "GROUP alt.binaries.test");
    }
  }
}

// A refused article is an error of the run, and comes with the next one.
TEST_F(EndToEnd, ARefusedArticleIsReportedAndComesWithTheNextRun) {
  const std::string& id = set_.Files()[0].ids[3];
  Serve().On("ARTICLE <" + id + ">", Answer("430 No such article"), 1);
  EXPECT_EQ(Run(FirstRun()), 1);
  EXPECT_NE(ReadFile(Log()).find("files 4 of 5"), std::string::npos) << ReadFile(Log());
  EXPECT_EQ(Run(LaterRun()), 0) << ReadFile(Log());
  ExpectEveryFile();
}

// The run goes on by itself; a set that cannot be repaired is left, and the run ends with 1.
TEST_F(EndToEnd, ADamagedArchiveIsRepairedAndExtractedOrLeft) {
  const std::string bytes = RandomBytes(3, 0, 300'000);
  for (const int damaged : {1, 6}) {
    SCOPED_TRACE(damaged);
    const fs::path post = folder_ / "post";
    for (const char* old : {"post", "data"}) fs::remove_all(folder_ / old);
    fs::create_directory(post);
    WriteRar(post, "set", {{"film.mkv", bytes}}, {.volume_size = 120'000, .comment = ""});
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

TEST_F(EndToEnd, AKilledRunIsTakenUpByTheNextOne) {
  // The set is walked by name: five.avi (2 parts), four.bmp (3), one.mkv (8), three.jpg (1),
  // two.mp3 (5), with a GROUP before each file.
  const struct {
    const char* name;
    int request;
    std::size_t answered;
  } points[] = {{"at the first group", 1, 0},
                {"at the first article", 2, 0},
                {"in the first article", 2, 9'000},
                {"at the last part of a file", 3, 20'000},
                {"at the second group", 4, 0},
                {"in a UU part", 6, 300},
                {"in the middle of a long file", 12, 1},
                {"before the last byte of an article", 13, 31'000},
                {"in the Base64 file", 18, 4'000},
                {"at the sign-off", 25, 0}};
  for (const auto& point : points) {
    SCOPED_TRACE(point.name);
    fs::remove_all(folder_ / "data");
    Serve();
    KilledRun(point.request, point.answered);
    // What is whole on the disk is not asked for again.
    std::map<std::string, int> asked;
    for (const PostedFile& file : set_.Files()) {
      const bool finished =
          fs::exists(Downloads() / file.body_name) || fs::exists(Downloads() / file.name);
      for (std::size_t i = 0; i < file.ids.size(); ++i) {
        const std::string number = std::to_string(100'001 + i).substr(1);
        const fs::path part = Parts() / (file.name + "-p" + number + ".txt");
        const bool whole = finished || (fs::exists(part) && fs::file_size(part) > 0);
        asked[file.ids[i]] = server_->ArticleCount(file.ids[i]) + (whole ? 0 : 1);
      }
    }
    EXPECT_EQ(Run(LaterRun()), 0) << ReadFile(Log());
    ExpectEveryFile();
    for (const auto& [id, times] : asked) EXPECT_EQ(server_->ArticleCount(id), times) << id;
  }
}

// What was not flushed is gone, cut off or full of holes; none of it is taken for a part, and no
// file that Downloads names is half a one.
TEST_F(EndToEnd, APowerCutCostsTimeAlone) {
  for (int seed = 1; seed <= 6; ++seed) {
    SCOPED_TRACE(seed);
    fs::remove_all(folder_ / "data");
    fs::create_directory(folder_ / "data");
    Serve();
    KilledRun(5 + seed * 3, 100,
              NotePowerCut(folder_ / "data", folder_ / "journal", kPowerCutPreload));
    EXPECT_GT(CutPower(folder_ / "data", folder_ / "journal", static_cast<std::uint64_t>(seed)), 0);
    EXPECT_EQ(Run(FirstRun()), 0) << ReadFile(Log());
    ExpectEveryFile();
  }
}

}  // namespace
}  // namespace gravlin::testing
