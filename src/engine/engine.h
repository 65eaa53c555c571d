// The download: the exchange with the news server, the articles that become parts, the queue of
// files, the tick of each second.  It knows no window; what it shows goes to a RunView.  Its
// methods are in the rooms of their subjects: assembly in decode/, all others here.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "base/may_begin.h"
#include "engine/file_table.h"
#include "engine/part_flush.h"
#include "engine/parts_on_disk.h"
#include "engine/server_settings.h"
#include "engine/work_ahead.h"
#include "nzb/import_owner.h"
#include "platform/clock.h"
#include "platform/folder_item.h"
#include "platform/ssl_socket.h"
#include "platform/timer.h"

namespace gravlin {

class Database;
class Leftovers;
class RecordSet;
class RunView;

// What the thread of one assembly works on.  A copy, because the engine's own fields go on to the
// next file when the user starts a run while a file that was complete at launch is still being
// assembled.
struct AssemblyJob {
  std::string TheFilename, TheExt;
  std::int32_t LargestPartNo = 0;
  std::int32_t DownloaderFilesID = 0;
  // From Assemble to Decode.
  std::vector<std::int32_t> numbers = {};      // of the parts that are joined
  std::shared_ptr<AheadFile> ahead = nullptr;  // what they decode to, if that is done already
};

class Engine : public ImportOwner {
 public:
  // `view` outlives it.
  explicit Engine(RunView& view);
  ~Engine() override;

  // --- From the program's start to its end (launch.cpp) ---
  // Connects `db`.  Says so in a box if it cannot.
  void OpenStore();
  // Reads the server and the files from the store, and from the folders how far each has come.
  // Assembles a file that is complete.
  void Resume();
  // The program ends: nothing more is asked of the server.
  void Abandon();

  // --- What the user does ---
  void pbStart_Action();
  void InitNZBFile();
  // Ends the session at once.
  void Stop();

  // --- What others look at ---
  Situation CurrentSituation() const;
  const std::string& State() const { return state_; }  // one of states.h; empty before a log-on
  bool ThreadFlag() const { return thread_flag_; }
  bool Assembling() const { return assembling_; }
  bool Decoding() const { return decoding_; }
  // What came of the last run; empty if the user has stopped it.
  std::string Outcome() const;
  // Hands the set of ParFilename and RarFilename to the repair.
  void StartPar();
  // A line of the diagnostics log, if it is switched on.
  void WriteDebug(std::string_view label, std::string_view text);
  void StartDebugMode();

  FileTable List;
  std::unique_ptr<Database> db;  // for reading
  SSLSocket News;
  FolderItem fNZB, fParts, fDownloads;
  std::string ParFilename, RarFilename;
  std::string PartFileName;  // of the current article
  std::int32_t PartsDone = 0, TotalErrors = 0;
  double mb = 0;  // received since the log-on
  bool FirstRun = false;

 protected:
  // --- Session (session.cpp, session_replies.cpp) ---
  void LogOn();
  // Reads the one server row into the fields below and into the form.
  void LoadServer();
  // What the form says goes into the fields below: from the row, or at once if writes wait.
  void TakeServer();
  // Tries the group at iGroups for the current file; without one left, goes on without a group.
  void InitGroup();
  void GroupSelected();
  // The user's Stop: signs off.
  void StopScanning();
  // Drops the connection and starts over from "connect", on the same file.
  void Reconnect();
  void ClearNewsBuffer();
  void News_DataAvailable();
  void News_Error();

  std::string TheServerURL, TheServerUsername, TheServerPassword;
  std::int32_t TheServerPort = 0;
  std::int32_t TheSSLSetting = kPlainTcp;
  std::vector<std::string> Groups;  // of the current file
  std::int32_t iGroups = 0;
  bool Reconecting = false;  // until the next GetNextFile, which then stays on the same file

  // --- Articles and part files (articles.cpp) ---
  void GetNextArticle();
  void GetArticle();
  void GotArticle();
  // Stores the reply as a part file, untouched but for the dot-stuffing of yEnc articles.
  void SaveAndDecodePart();
  void RecordError(std::string_view code);

  std::vector<std::string> Article;  // entries of NZBFiles.Parts
  std::int32_t ArticleIndex = -1;
  std::int32_t PartNo = 0;
  std::int32_t TheBytes = 0;
  std::string MessageID, TheFilename, TheExt;
  std::int32_t TotalParts = 0;
  std::int32_t LargestPartNo = 0;  // never lowered when the next file comes
  std::int32_t DownloaderFilesID = 0;
  std::string ArticleBody;  // the whole raw reply; empty again after saving

  // --- Queue and run control (queue.cpp, launch.cpp) ---
  void GetNextFile();
  void Finish();
  void LoadSettings();
  void LoadFiles();
  // Finds or makes the Parts and the Downloads folder; false if one has no reference.
  bool CheckFolders();
  void OpenDownloadsFolder();
  bool List_CompareRows(int row1, int row2, int column, int& result) const;

  std::vector<std::int32_t> Files;  // the `ID`s of the queue
  std::int32_t FilesIndex = -1;
  bool FirstStartDone = false;
  std::int32_t ExpectedParts = 0;
  std::int32_t OverallStartTick = 0, SessionStartTick = 0, StartTick = 0;
  double SessionBytes = 0, CurrentBytes = 0, BytesLeft = 0;
  std::int32_t Throughput = 0, Peak = 0;  // kilobits per second

  // --- The tick (driver_timer.cpp), and how far the run has come (progress.cpp) ---
  void TheTimer_Action();
  void SetDeadline();
  void UpdateTime();
  void UpdateBar1();

  Timer TheTimer;
  Date LastResponse, Now, Deadline;

  // --- Assembly and decoding (decode/assembly.cpp) ---
  void StartConcat();
  void Assemble(AssemblyJob& job);
  void Decode(AssemblyJob& job);

  FolderItem fTemp;
  std::string Encoding, RealFilename;
  double TotalDecodeBytes = 0;
  bool FileCreated = false;

  // --- What an import asks of the one that started it (import_side.cpp) ---
  FolderItem NZBFile() const override { return fNZB; }
  void BeginImport() override;
  void ListCleared() override;
  void ListKept() override;
  void FilesRead(std::vector<DatabaseRecord> rows) override;
  void ListRead(Database& rows) override;
  void ShowImportProgress(int percent) override;
  void ImportDone(std::string_view nzb_name, double total_bytes) override;

  // --- Diagnostics log (diagnostics.cpp) ---
  FolderItem DebugFile;

  void SetStatus(std::string_view text);
  // A run begins or is over: the tick comes meanwhile.
  void SetRunning(bool running);

 private:
  friend class EngineStep;
  friend class grvConcat;
  class Assembly;
  struct ReplyRow;

  // Session.
  void UseServer(const ServerSettings& server);
  void EnterState(std::string_view state);
  void Connect();
  void Send(std::string_view command);
  bool ReplyIsWhole() const;
  void LoggedOn(std::string_view log_label);
  void RefuseLogOn(std::string_view log_label, std::string_view log_prefix);
  std::string TakeReply();
  void TakeReply(std::string& to);
  void NoteRestOfLine(std::string_view consumed);
  void DropRestOfLine();
  // What the next press of pbStart does.
  void SetStartButton(bool stops);
  void AllowStart();
  // What the status says after a run.
  std::string OverText() const { return stop_reason_.empty() ? "Done." : stop_reason_; }

  // The steps of kReplies, each with the first three bytes of the reply.
  static const ReplyRow kReplies[];
  void Greeted(std::string_view code);
  void GreetingRefused(std::string_view code);
  void UsernameTaken(std::string_view code);
  void UsernameRefused(std::string_view code);
  void PasswordTaken(std::string_view code);
  void PasswordRefused(std::string_view code);
  void GroupTaken(std::string_view code);
  void GroupRefused(std::string_view code);
  void ArticleRefused(std::string_view code);
  void ArticleComes(std::string_view code);
  void MoreOfArticle(std::string_view code);
  void SignedOff(std::string_view code);

  // Articles.
  std::string PartName(std::int32_t number) const;
  FolderItem ScratchFile() const;  // a part until it gets its name
  bool WantsArticle(const FolderItem& part);
  bool SavePart();
  bool WriteScratchFile(const FolderItem& scratch);
  bool PartsComplete();
  void FailPart(std::string_view why);
  void DropForeignReply();
  void GiveUpArticle(const std::string& why);
  void CountFailedPart(std::string_view code);
  void CountPart(std::size_t bytes);
  int SelectRowOf(std::string_view filename);

  // Queue.
  // Makes the file at FilesIndex the current one and starts on it; false if it is to be passed
  // over.
  bool LoadNextFile();
  std::pair<std::int32_t, FolderItem> FindParts();
  void RecordUnreadRow(std::string_view why);
  bool DiskTakes(const FolderItem& part);
  void GiveUpFile(const std::string& why, std::int32_t present);
  bool IsInDownloads(std::string_view filename) const;
  // Before a run (room.cpp): what is left may be more than the disk takes.
  bool RoomForTheRest();
  std::unordered_map<std::int32_t, double> BytesOfFiles();
  // Clears the folders of what a killed run has left: temporary files, and what belongs to files
  // that lie finished in Downloads.  Only for the launch, when nothing is being assembled.
  void RemoveLeftovers();
  void AddFileRow(const RecordSet& row);
  std::string ScanPartsFolder();
  void LoadListAnew();
  bool IsReplaced(Database& rows) const;

  // The tick.
  void Tick();
  bool WatchSilence();
  void GiveUpEndlessReply();
  void ShowArticleProgress();

  // Assembly.
  bool TakeThreadFlag();
  void ShowAssemblyStatus(std::string_view text);

  RunView& view_;
  PartFlush part_flush_;
  PartsOnDisk parts_on_disk_;  // of the current file
  WorkAhead work_ahead_;       // on the current file
  // Articles of this run that are asked for no more, and those whose reply was another one's once.
  std::set<std::string> given_up_, foreign_;
  int disk_failures_ = 0;          // articles in a row that the disk did not take
  std::string stop_reason_;        // shown at the end of a run that the program stopped itself
  std::int64_t requested_at_ = 0;  // Clock nanoseconds when the current ARTICLE was sent
  char rest_of_line_ = 0;          // what is still to come of a line that was consumed in part
  bool advising_ = false;          // a box with advice about the port is open
  int next_file_requests_ = 0;
  bool walking_queue_ = false;
  std::unique_ptr<Leftovers> leftovers_;  // of the import under way
  bool file_replaced_ = false;  // an import has given the current file's name to other articles
  bool status_of_assembly_ = false;  // what the status says comes from an assembly under way

  // What a Situation is made of; may_begin.h says who writes each.
  std::string state_;
  int engine_depth_ = 0;       // engine steps that are under way, one inside the other
  bool data_waiting_ = false;  // data came during an engine step
  bool running_ = false, signing_off_ = false, logged_on_ = false;
  bool button_stops_ = false;  // pbStart reads "Stop"
  bool loading_list_ = false;  // after an import
  bool thread_flag_ = false, assembling_ = false, decoding_ = false;
  bool joining_ = false;
  int assemblies_ = 0;
};

}  // namespace gravlin
