// A run on a folder of its own and a set clock, with a loopback news server with a posted set:
// EngineTest without a window, ProgramTest with the program as a user has it.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "app/app.h"
#include "base/code.h"
#include "engine/engine.h"
#include "engine/run_view.h"
#include "loopback/news_server.h"
#include "loopback/posted_set.h"
#include "nzb/catalogue.h"
#include "platform/text.h"
#include "store/database.h"
#include "store/writers.h"
#include "support/temp_folder.h"
#include "support/test_clock.h"
#include "support/test_desktop.h"
#include "ui/gravlin.h"

namespace gravlin::testing {

using loopback::Answer, loopback::ArticleReply, loopback::Change, loopback::Coding,
    loopback::CutAfter, loopback::Identity, loopback::NewsServer, loopback::PostedFile,
    loopback::PostedSet, loopback::Reply, loopback::Silence, loopback::SplitEvery,
    loopback::StallAfter;

// What a run shows, kept for a test to look at.
struct ShownRun : RunView {
  std::string status, error, advice;
  bool stops = false, enabled = true, download_tab = false;
  double percent = 0;
  std::int32_t speed = 0, peak = 0;
  std::int64_t time_left = 0;
  ServerSettings form;
  std::vector<std::string> repairs;
  std::function<void()> status_changed;

  void ShowStatus(std::string_view text) override {
    status = text;
    if (status_changed) status_changed();
  }
  void ShowStartButton(bool shown) override { stops = shown; }
  void EnableStartButton(bool shown) override { enabled = shown; }
  void ShowBar(int) override {}
  void ShowPercent(double shown) override { percent = shown; }
  void ShowMegabytes(double) override {}
  void ShowSpeed(std::int32_t shown) override { speed = shown; }
  void ShowPeak(std::int32_t shown) override { peak = shown; }
  void ShowTimeLeft(std::int64_t shown) override { time_left = shown; }
  void ShowTotalTime(std::int64_t) override {}
  void ShowAdvice(std::string_view text) override { advice = text; }
  void ShowImportBar(int) override {}
  void ShowDownloadTab() override { download_tab = true; }
  ServerSettings FormServer() const override { return form; }
  void FillServerForm(const RecordSet& server) override { form = ServerInRow(server); }
  void ShowConnectionError(std::string_view reason) override { error = reason; }
  void BeginRepair(const FolderItem& par, const FolderItem&) override {
    repairs.push_back(par.Name());
  }
};

class TestEngine : public Engine {
 public:
  using Engine::Engine;
  using Engine::FileCreated, Engine::LoadFiles;
  using Engine::FilesIndex, Engine::ExpectedParts, Engine::BytesLeft, Engine::CurrentBytes;
  using Engine::Reconnect, Engine::CheckFolders, Engine::StartConcat, Engine::News_Error;
  using Engine::SetRunning, Engine::TheTimer, Engine::TheTimer_Action, Engine::UpdateTime;
  using Engine::TheFilename, Engine::TheExt, Engine::LargestPartNo, Engine::DownloaderFilesID;
  using Engine::TheServerPort, Engine::TheSSLSetting, Engine::Reconecting, Engine::PartNo;
};

class RunFixture : public ::testing::Test {
 protected:
  ~RunFixture() override { SpecialFolder::SetApplicationData({}); }

  // Starts the program, as at a launch, and ends it as a kill does: nothing pending is saved.
  virtual void Launch() = 0;
  virtual void End() = 0;
  virtual Engine& TheEngine() = 0;
  virtual void FillForm(const ServerSettings& server) = 0;
  virtual void Start() = 0;
  virtual std::string Status() = 0;

  // Lets background writes reach the store.
  void Settle() {
    ASSERT_TRUE(clock.RunUntil([] { return Code::PendingWrites() == 0; }));
  }
  void Serve(const NewsServer::Options& options = {}) {
    server = std::make_unique<NewsServer>(options);
    server->SetSource([this](std::string_view id) { return posted.Article(id); });
    if (!app) Launch();
    FillForm({.URL = "127.0.0.1",
              .Username = options.user,
              .Password = options.password,
              .Port = server->Port()});
  }
  void Import() {
    posted.WriteNzb(data / "set.nzb");
    TheEngine().fNZB = data.Item("set.nzb");
    TheEngine().InitNZBFile();
    ASSERT_TRUE(clock.RunUntil([&] { return LiveThreads() == 0; }));
    ASSERT_TRUE(Status().ends_with("begin downloading.")) << Status();
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

  bool RunToState(std::string_view state) {
    return clock.RunUntil([&] { return TheEngine().State() == state; });
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
  std::string Cell(int row, int column) { return TheEngine().List.Cell(row, column); }

  TempFolder data;
  TestClock clock;
  PostedSet posted;
  std::unique_ptr<NewsServer> server;
  std::unique_ptr<App> app;
};

inline std::unique_ptr<App> MakeApp() {
  static int argc = 1;
  static char name[] = "gravlin";
  static char* argv[] = {name, nullptr};
  return std::make_unique<App>(argc, argv);
}

class EngineTest : public RunFixture {
 protected:
  ~EngineTest() override { End(); }

  void Launch() override {
    End();
    Code::AppDataFolder = data.Item("Gravlin");
    Code::AppDataFolder.CreateAsFolder();
    app = MakeApp();
    ASSERT_TRUE(app->OpenDB());
    app->LoadSettings();
    Code::LoadTypes();
    Code::DBFree = true;
    view = ShownRun();
    engine = std::make_unique<TestEngine>(view);
    engine->OpenStore();
    engine->Resume();
  }
  void End() override {
    app.reset();  // with all threads
    engine.reset();
    Code::ActiveFiles.clear();
  }
  Engine& TheEngine() override { return *engine; }
  void FillForm(const ServerSettings& server_row) override {
    Database store(Code::fGlobalDB);
    ASSERT_TRUE(store.Connect());
    store.SQLExecute("Update Servers Set URL='" + server_row.URL + "', Username='" +
                     server_row.Username + "', Password='" + server_row.Password +
                     "', Port=" + Str(server_row.Port) + ", SSL='" +
                     (server_row.SSL == kPlainTcp ? "off" : "v3") + "'");
    store.Commit();
    ASSERT_EQ(store.ErrorMessage(), "");
  }
  void Start() override {
    if (view.enabled) engine->pbStart_Action();
  }
  std::string Status() override { return view.status; }

  // Lets the same files be fetched again.
  void EmptyDownloads() {
    std::filesystem::remove_all(Downloads());
    engine->CheckFolders();
    Import();
  }

  ShownRun view;
  std::unique_ptr<TestEngine> engine;
};

class ProgramTest : public RunFixture {
 protected:
  ~ProgramTest() override { End(); }

  void Launch() override {
    End();
    SpecialFolder::SetApplicationData(data.Item());
    app = MakeApp();
    app->Event_Open();
    window = Window::IfOpen<Gravlin>();
    ASSERT_NE(window, nullptr);
    Settle();
  }
  void End() override {
    window = nullptr;
    app.reset();
    Code::ActiveFiles.clear();
  }
  Engine& TheEngine() override { return *window; }
  void FillForm(const ServerSettings& row) override {
    window->efURL.SetText(row.URL);
    window->efPort.SetText(std::to_string(row.Port));
    window->efUserName.SetText(row.Username);
    window->efPassword.SetText(row.Password);
    Settle();
  }
  void Start() override { window->pbStart.Push(); }
  std::string Status() override { return window->stStatus.Text(); }

  Gravlin* window = nullptr;
};

}  // namespace gravlin::testing
