// The program as a user has it (store, folders, main window) in a folder of its own with a set
// clock, and a loopback news server with a posted set.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

#include "app/app.h"
#include "base/code.h"
#include "engine/gravlin.h"
#include "store/writers.h"
#include "support/news_server.h"
#include "support/posted_set.h"
#include "support/temp_folder.h"
#include "support/test_clock.h"
#include "support/test_desktop.h"

namespace gravlin::testing {

class EngineTest : public ::testing::Test {
 protected:
  ~EngineTest() override {
    End();
    SpecialFolder::SetApplicationData({});
  }

  // Starts the program, as at a launch.
  void Launch() {
    End();
    SpecialFolder::SetApplicationData(data.Item());
    static int argc = 1;
    static char name[] = "gravlin";
    static char* argv[] = {name, nullptr};
    app = std::make_unique<App>(argc, argv);
    app->Event_Open();
    window = Window::IfOpen<Gravlin>();
    ASSERT_NE(window, nullptr);
    Settle();
  }
  // Ends it as a kill does: nothing pending is saved.
  void End() {
    window = nullptr;
    app.reset();
    Code::ActiveFiles.clear();
  }
  // Lets background writes reach the store.
  void Settle() {
    ASSERT_TRUE(clock.RunUntil([] { return Code::PendingWrites() == 0; }));
  }

  void Serve(const NewsServer::Options& options = {}) {
    server = std::make_unique<NewsServer>(options);
    server->SetSource([this](std::string_view id) { return posted.Article(id); });
    if (!window) Launch();
    window->efURL.SetText("127.0.0.1");
    window->efPort.SetText(std::to_string(server->Port()));
    window->efUserName.SetText(options.user);
    window->efPassword.SetText(options.password);
    Settle();
  }

  void Import() {
    posted.WriteNzb(data / "set.nzb");
    window->fNZB = data.Item("set.nzb");
    window->stStatus.SetText("");
    window->InitNZBFile();
    ASSERT_TRUE(
        clock.RunUntil([&] { return window->stStatus.Text().ends_with("begin downloading."); }));
  }

  // Posts files with that many parts of 2,000 bytes, serves and imports them.
  void Post(std::initializer_list<const char*> names, int parts = 3,
            const NewsServer::Options& options = {}) {
    for (const char* name : names) posted.Add(name, 2000 * parts, 2000);
    Serve(options);
    Import();
  }
  static NewsServer::Options WithLogOn() {
    NewsServer::Options options;
    options.user = "lena";
    options.password = "s3cret";
    return options;
  }

  void Start() { window->pbStart.Push(); }
  bool RunToState(std::string_view state) {
    return clock.RunUntil([&] { return window->State == state; });
  }
  // To the end of the run, with the server's answer to the sign-off.
  bool RunToEnd() { return RunToState("logged off"); }

  std::filesystem::path Downloads() const { return data / "Gravlin/Downloads"; }
  std::filesystem::path Parts() const { return data / "Gravlin/Parts"; }
  // Every file of the posted set is in Downloads with its bytes.
  void ExpectAllFiles() {
    for (const PostedFile& file : posted.Files()) {
      EXPECT_TRUE(ReadFile(Downloads() / file.body_name) == file.read(0, file.size))
          << file.body_name;
    }
  }
  // Runs until what is missing is there.
  void DownloadAll() {
    Start();
    ASSERT_TRUE(RunToEnd());
    ExpectAllFiles();
  }
  // Lets the same files be fetched again.
  void EmptyDownloads() {
    std::filesystem::remove_all(Downloads());
    window->CheckFolders();
    Import();
  }
  std::string Cell(int row, int column) const { return window->List.Cell(row, column); }

  TempFolder data;
  TestClock clock;
  PostedSet posted;
  std::unique_ptr<NewsServer> server;
  std::unique_ptr<App> app;
  Gravlin* window = nullptr;
};

}  // namespace gravlin::testing
