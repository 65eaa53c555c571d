// The real program, driven from outside as a process of its own, against the loopback news server.
#include <gtest/gtest.h>

#include <QProcess>
#include <cstdlib>
#include <string>

#include "loopback/news_server.h"
#include "loopback/posted_set.h"
#include "loopback/rar_writer.h"
#include "paths.h"
#include "support/temp_folder.h"
#include "support/test_clock.h"

namespace gravlin::testing {
namespace {

namespace fs = std::filesystem;
using loopback::Coding, loopback::FlipByteAt, loopback::NewsServer, loopback::PostedFile,
    loopback::PostedSet, loopback::RandomBytes, loopback::Reply, loopback::StallAfter,
    loopback::WriteRar;

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
struct Drive : QProcess {
  Drive(const fs::path& output, const QStringList& words,
        const QStringList& more_environment = {}) {
    setEnvironment(systemEnvironment() + more_environment);
    setProcessChannelMode(MergedChannels);
    setStandardOutputFile(QString::fromStdString(output.string()));
    start(kDrive, words + QStringList{"--timeout", "120"});
  }
  ~Drive() override { Kill(); }
  // False if it had ended already.
  bool Kill() {
    kill();
    return Status() < 0;
  }
  // The exit status; -1 after a signal.
  int Status() {
    waitForFinished(-1);
    return exitStatus() == NormalExit ? exitCode() : -1;
  }
};

class EndToEnd : public ::testing::Test {
 protected:
  EndToEnd() { set_.WriteNzb(folder_ / "set.nzb"); }

  void Serve() {
    server_ = std::make_unique<NewsServer>();
    server_->SetSource([this](std::string_view id) { return set_.Article(id); });
  }
  QStringList FirstRun(const QStringList& more = {}) const {
    return QStringList{
               "--data", Text(folder_ / "data"),           "--server", "127.0.0.1",
               "--port", QString::number(server_->Port()), "--nzb",    Text(folder_ / "set.nzb")} +
           more;
  }
  int Run(const QStringList& words, const QStringList& environment = {}) {
    return Drive(Log(), words, environment).Status();
  }
  // The environment of a run on a disk that can lose its power.
  QStringList OnJournal() const {
    fs::remove_all(folder_ / "journal");
    fs::create_directory(folder_ / "journal");
    // The address sanitizer wants to be the first library, which this run does not need.
    return {"ASAN_OPTIONS=verify_asan_link_order=0", QString("LD_PRELOAD=") + kPowerCutPreload,
            "GRAVLIN_POWER_CUT_ROOT=" + Text(folder_ / "data") + "/",
            "GRAVLIN_POWER_CUT_JOURNAL=" + Text(folder_ / "journal")};
  }
  // The number of names and files that were damaged.
  int CutPower(std::size_t seed) const {
    const std::string cut = std::string("'") + kPowerCut + "' '" + (folder_ / "data").string() +
                            "' '" + (folder_ / "journal").string() + "' " + std::to_string(seed) +
                            " > '" + (folder_ / "suffered").string() + "'";
    EXPECT_EQ(std::system(cut.c_str()), 0);
    return std::atoi(ReadFile(folder_ / "suffered").c_str());
  }
  // A run that is killed in the middle of the answer to a request, counted from 1.
  void KilledRun(std::size_t request) {
    server_->On("", [=, this](Reply reply) {
      return server_->Requests().size() == request ? StallAfter(100)(reply) : reply;
    });
    Drive drive(Log(), FirstRun(), OnJournal());
    EXPECT_TRUE(TestClock::PumpUntil([&] { return server_->Held() == 1; })) << ReadFile(Log());
    EXPECT_TRUE(drive.Kill());
    server_->ClearRules();
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

// The run continues by itself; a set that cannot be repaired is left, and the run exits with 1.
// What was extracted survives a power cut, though its files have the archive's times.
TEST_F(EndToEnd, ADamagedArchiveIsRepairedAndExtractedOrLeft) {
  const std::string bytes = RandomBytes(3, 0, 300'000);
  for (const int damaged : {1, 6}) {
    SCOPED_TRACE(damaged);
    const fs::path post = folder_ / "post";
    for (const char* old : {"post", "data"}) fs::remove_all(folder_ / old);
    fs::create_directory(post);
    WriteRar(post, "set", {{"film.mkv", bytes}, {"1", "one"}, {"2", "two"}, {"3", "three"}},
             {.volume_size = 120'000, .comment = ""});
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
    EXPECT_EQ(Run(FirstRun({"--until", "extracted"}), OnJournal()), damaged == 1 ? 0 : 1)
        << ReadFile(Log());
    const char* const said =
        damaged == 1 ? "extraction: Extraction complete." : "repair: You need ";
    EXPECT_NE(ReadFile(Log()).find(said), std::string::npos) << ReadFile(Log());
    for (std::size_t seed = 1; seed <= 4; ++seed) CutPower(seed);
    std::string extracted;
    for (const char* name : {"film.mkv", "1", "2", "3"})
      extracted += ReadFile(Downloads() / "Extracted_Files" / name);
    EXPECT_EQ(extracted == bytes + "onetwothree", damaged == 1);
  }
}

// Changes that were not flushed are lost, cut off or full of holes; none of them is taken for a
// part, and no file in Downloads is incomplete.
TEST_F(EndToEnd, APowerCutCostsTimeAlone) {
  for (std::size_t seed = 1; seed <= 3; ++seed) {
    SCOPED_TRACE(seed);
    fs::remove_all(folder_ / "data");
    Serve();
    KilledRun(5 + seed * 4);
    EXPECT_GT(CutPower(seed), 0);
    EXPECT_EQ(Run(FirstRun()), 0) << ReadFile(Log());
    ExpectEveryFile();
  }
}

}  // namespace
}  // namespace gravlin::testing
