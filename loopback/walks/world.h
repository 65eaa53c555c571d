// One user, one program, one server, one disk and one clock, all on one thread, and what must hold
// whatever they do.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "app/app.h"
#include "loopback/posted_set.h"
#include "platform/clock.h"
#include "platform/desktop.h"
#include "random.h"
#include "server.h"
#include "store/database.h"
#include "ui/gravlin.h"

namespace gravlin::walks {

// Must be in no box, status and log.
constexpr std::string_view kPassword = "S3cr3t-Pw";

class World : public Clock, public Desktop {
 public:
  // Works in `folder`, which it empties.
  World(const std::string& folder, std::uint64_t seed);
  ~World() override;

  // --- The user ---
  void Launch();
  void Quit();
  void Kill();
  void LosePower();
  // Parts of files of this set, or of all of them, come to lie there, as an earlier run or a backup
  // left them.
  void LeaveParts(int set = -1);
  void Import(int set);
  void ImportText(const std::string& text);
  void PressStart();
  // Opens the next of the documents doc1.par2, doc2.par2, ... on the program.
  void OpenDocument();
  // As another start of the program does that finds this one.
  void StartTwice();
  // A window that is closed may have had documents.
  void LoseDocuments() { lost_documents_ = documents_; }
  Gravlin* Window() const;

  // --- Time ---
  void Advance(std::int64_t milliseconds);
  void SetBack(double seconds) { start_seconds_ -= seconds; }
  void LockStore(std::int64_t milliseconds);

  // --- At the end ---
  void StopFaults();
  // Presses Start until nothing is left.
  void Finish();

  // Looks at everything that must hold; the first thing that does not is kept.
  void Check();
  const std::string& Failure() const { return failure_; }
  void Fail(const std::string& what) {
    if (failure_.empty()) failure_ = what;
  }

  // Draws for what happens between two steps.
  void Draw(std::uint64_t seed) { random_ = Random(seed); }

  Random random_;
  std::unique_ptr<Server> server;
  std::unique_ptr<App> app;
  std::deque<loopback::PostedSet> sets;
  std::set<std::string> missing, damaged;  // articles
  int offload_delay = 0;                   // most milliseconds of the clock that a helper takes

 private:
  struct Expected {
    std::string name, body_name, bytes;
    std::vector<std::string> ids;
    bool whole;     // the server has every article
    bool collides;  // with the name of another file
  };

  // Clock.
  double UnixSeconds() override { return start_seconds_ + static_cast<double>(now_) / 1000; }
  std::int64_t Milliseconds() override { return now_; }
  bool RunsByItself() const override { return false; }
  // Desktop.
  int MsgBox(std::string_view text, int code, std::string_view title) override;
  FolderItem GetOpenFolderItem(std::string_view, const FolderItem&) override { return {}; }
  void ShowURL(std::string_view) override {}
  void Launch(const FolderItem&) override {}
  void Beep() override {}

  void MakeSets();
  void AddExpected(const loopback::PostedSet& set);
  std::optional<std::string> Article(const std::string& id) const;
  void Settle();
  void Pump();
  void Nested();
  void Rearm();
  void FreeStore();
  void Requested(const std::string& id);
  void CheckParts();
  void CheckDownloads();
  void CheckFlags();
  void CheckRest();
  void CheckImport();
  void CheckDocuments();
  void CheckTools();
  void FillForm();
  bool AllThere();

  const std::string folder_;
  std::int64_t now_ = 1'000'000;
  double start_seconds_ = 1'750'000'000;
  std::string failure_;
  std::map<std::string, Expected> expected_;    // by the first id of the file
  std::map<std::string, std::string> saved_;    // articles as parts hold them, by id
  std::map<std::string, std::string> part_of_;  // by id, the name of its part
  std::set<std::string> contents_;              // of finished files
  std::map<std::string, std::int64_t> seen_;    // files that were looked at: when changed
  int current_set_ = -1;                        // that was imported last, and well
  std::uint64_t checked_ = 0;
  int nested_ = 0, depth_ = 0;
  bool odd_stop_ = false;   // Start was pressed without a list
  bool stopped_ = false;    // Stop was pressed, and Start not since
  int imported_ = -1;       // the set of the last import, if nothing was said against it
  int documents_ = 0;       // opened so far
  int lost_documents_ = 0;  // those of them that a closed window may have had
  std::shared_ptr<bool> armed_;
  std::unique_ptr<Database> locker_;
  std::int64_t locked_until_ = 0;
  std::map<std::string, int> descriptors_;  // open ones after a kill, by kind
};

}  // namespace gravlin::walks
