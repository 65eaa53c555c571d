// The main window and, at the same time, the download: one object with the wizard's controls, the
// socket, the timer and the state of a run.  Its methods stand in the rooms of their subjects: the
// session, articles, queue and timer in engine/, assembly in decode/, the hand-off to repair in
// postprocess/, the form in ui/.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/may_begin.h"
#include "engine/part_flush.h"
#include "engine/parts_on_disk.h"
#include "engine/ssl_choices.h"
#include "engine/wizard_controls.h"
#include "nzb/import_window.h"
#include "platform/clock.h"
#include "platform/folder_item.h"
#include "platform/ssl_socket.h"
#include "platform/timer.h"
#include "platform/window.h"
#include "store/database.h"

namespace gravlin {

// The columns of the hidden table `List`: one row for each file of the NZB; the tag column holds
// the row's `ID`.
struct ListColumn {
  static constexpr int kFilename = 0, kDone = 1, kTotalParts = 2, kPartsPresent = 3, kErrors = 4;
  static constexpr int kMessage = 5, kGroups = 6, kID = Listbox::kTagColumn;
};

// What the thread of one assembly works on.  A copy, because the window's own fields go on to the
// next file when the user starts a run while a file that was complete at launch is still being
// assembled.
struct AssemblyJob {
  std::string TheFilename, TheExt;
  std::int32_t LargestPartNo = 0;
  std::int32_t DownloaderFilesID = 0;
};

// The row of the server, as the session needs it.
struct ServerSettings {
  std::string URL, Username, Password;
  std::int32_t Port = 0;
  std::int32_t SSL = kPlainTcp;  // as TheSSLSetting
};

class Gravlin : public Window, public WizardControls, public ImportWindow {
 public:
  Gravlin();
  ~Gravlin() override;

  // --- Session (engine/session.cpp, engine/session_replies.cpp) ---
  void LogOn();
  // Reads the one server row into the fields below and into the form.
  void LoadServer();
  // What the form says goes into the fields below: from the row, or at once where writes wait.
  void TakeServer();
  ServerSettings FormServer() const;
  // Tries the group at iGroups for the current file; without one left, goes on without a group.
  void InitGroup();
  void GroupSelected();
  // The user's Stop: signs off.
  void StopScanning();
  // Ends the session at once.
  void Stop();
  Situation CurrentSituation() const;
  // A run begins or is over: the tick comes meanwhile.
  void SetRunning(bool running);
  // What the status says after it.
  std::string OverText() const { return stop_reason_.empty() ? "Done." : stop_reason_; }
  // Drops the connection and starts over from "connect", on the same file.
  void Reconnect();
  void ClearNewsBuffer();
  void News_DataAvailable();
  void News_Error();

  // --- Articles and part files (engine/articles.cpp) ---
  void GetNextArticle();
  void GetArticle();
  void GotArticle();
  // Stores the reply as a part file, untouched but for the dot-stuffing of yEnc articles.
  void SaveAndDecodePart();
  void RecordError(std::string_view code);

  // --- Queue and run control (engine/queue.cpp, engine/launch.cpp) ---
  void pbStart_Action();
  void GetNextFile();
  void LoadFiles();
  void InitNZBFile();
  void Finish();
  void LoadSettings();
  // Clears the folders of what a killed run has left: temporary files, and what belongs to files
  // that lie finished in Downloads.  Only for the launch, when nothing is being assembled.
  void RemoveLeftovers();
  bool IsInDownloads(std::string_view filename) const;
  // Finds or makes the Parts and the Downloads folder; false if one has no reference.
  bool CheckFolders();
  void SaveSize();
  void OpenDownloadsFolder();
  bool List_CompareRows(int row1, int row2, int column, int& result);

  // --- Driver timer (engine/driver_timer.cpp) ---
  void TheTimer_Action();
  void SetDeadline();
  void UpdateTime();
  void UpdateBar1();

  // --- Assembly and decoding (decode/assembly.cpp) ---
  void StartConcat();
  void Assemble(const AssemblyJob& job);
  void Decode(const AssemblyJob& job);

  // --- Hand-off to repair (postprocess/hand_off.cpp) ---
  void StartPar();

  // --- Diagnostics log (engine/diagnostics.cpp) ---
  void WriteDebug(std::string_view label, std::string_view text);
  void StartDebugMode();

  // --- The form and the quick server test (ui/wizard_form.cpp, ui/quick_test.cpp) ---
  // Binds every control's event to its handler; called once, when the window is made.
  void WireControls();
  void SaveServerSettings();
  // Puts the row into the form and, if that changes the form, saves it once.
  void FillServerForm(const RecordSet& server, int ssl_index);
  void pbTest_Action();
  void ConnectTest();
  void NewsTest_DataAvailable();
  void WriteResponse(std::string_view text);
  void pbSelect_Action();
  void pbSelect_DropObject(const DragItem& dropped);

  // --- What an import asks of the window that started it (engine/import_side.cpp) ---
  FolderItem NZBFile() const override { return fNZB; }
  void BeginImport() override;
  void ListCleared() override;
  void ListKept() override;
  void ShowImportProgress(int percent) override;
  void ImportDone(std::string_view nzb_name, double total_bytes) override;

  SSLSocket News;
  SSLSocket NewsTest;
  Timer TheTimer;
  std::unique_ptr<Database> db;  // the window's own connection, for reading

  // Session.
  std::string State;  // one of states.h; empty before the first log-on
  std::string TheServerURL, TheServerUsername, TheServerPassword;
  std::int32_t TheServerPort = 0;
  std::int32_t TheSSLSetting = kPlainTcp;
  std::vector<std::string> Groups;  // of the current file
  std::int32_t iGroups = 0;
  bool Reconecting = false;  // until the next GetNextFile, which then stays on the same file
  std::string StateTest;     // of the quick test, on NewsTest

  // The current article and file.
  std::vector<std::string> Article;  // entries of NZBFiles.Parts
  std::int32_t ArticleIndex = -1;
  std::int32_t PartNo = 0;
  std::int32_t TheBytes = 0;
  std::string MessageID, TheFilename, TheExt, PartFileName;
  std::int32_t TotalParts = 0;
  std::int32_t LargestPartNo = 0;  // never lowered when the next file comes
  std::int32_t DownloaderFilesID = 0;
  std::string ArticleBody;  // the whole raw reply; empty again after saving

  // The queue and the counters of the run.
  std::vector<std::int32_t> Files;
  std::int32_t FilesIndex = -1;
  bool FirstStartDone = false;
  std::int32_t ExpectedParts = 0;
  std::int32_t PartsDone = 0;
  std::int32_t OverallStartTick = 0, SessionStartTick = 0, StartTick = 0;
  double SessionBytes = 0, CurrentBytes = 0, BytesLeft = 0, mb = 0;
  std::int32_t TotalErrors = 0;
  std::int32_t Throughput = 0, Peak = 0;  // kilobits per second
  std::string ParFilename, RarFilename;
  FolderItem fNZB, fParts, fDownloads, fTemp, DebugFile;

  // The driver timer's dates.
  Date LastResponse, Now, Deadline;

  // Assembly.
  std::string Encoding, RealFilename;
  double TotalDecodeBytes = 0;
  bool FileCreated = false;
  bool ThreadFlag = false;  // assembly and decoding of a file have ended; the next tick takes it
  bool Assembling = false, Decoding = false;
  bool ConcatRunning = false;  // a grvConcat is at work
  int Concats = 0;             // grvConcat threads that have not ended

  // Opening.
  bool FirstRun = false;
  bool DoneLoading = false;
  bool TextLoading = false;  // tested by the form's handlers, set by nothing

 protected:
  void Event_Open() override;
  void Event_Close() override;
  void Event_Resized() override;

 private:
  friend class EngineStep;
  // What the next press of pbStart does.
  void ShowStartButton(bool stops);
  // Makes the file at FilesIndex the current one and starts on it; false if it is to be passed
  // over.
  bool LoadNextFile();
  std::pair<std::int32_t, FolderItem> FindParts();
  void RecordUnreadRow(std::string_view why);
  bool DiskTakes(const FolderItem& part);
  void GiveUpFile(const std::string& why, std::int32_t present);
  bool ReplyIsWhole() const;
  void Send(std::string_view command);
  void LoggedOn(std::string_view log_label);
  void RefuseLogOn(std::string_view log_label, std::string_view log_prefix);
  // The steps of kReplies, each with the first three bytes of the reply.
  struct ReplyRow;
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
  bool SavePart();
  bool PartsComplete();
  void FailPart(std::string_view why);
  void CountPart(std::size_t bytes);
  std::string PartName(std::int32_t number) const;
  FolderItem ScratchFile() const;  // a part until it gets its name
  bool WantsArticle(const FolderItem& part);
  int SelectRowOf(std::string_view filename);
  void AddFileRow(const RecordSet& row);
  std::string ScanPartsFolder();
  void LoadListAnew();
  void Tick();
  bool WatchSilence();
  void GiveUpEndlessReply();
  void ShowArticleProgress();
  std::string ServerStatement() const;  // that saves the form
  std::string TakeReply();
  void TakeReply(std::string& to);
  void NoteRestOfLine(std::string_view consumed);
  void DropRestOfLine();

  PartFlush part_flush_;
  PartsOnDisk parts_on_disk_;      // of the current file
  std::set<std::string> endless_;  // articles of this run whose reply had no end
  int disk_failures_ = 0;          // articles in a row that the disk did not take
  std::string stop_reason_;        // shown at the end of a run that the program stopped itself
  int engine_depth_ = 0;           // engine steps that are under way, one inside the other
  bool data_waiting_ = false;      // data came during an engine step
  bool running_ = false;           // this and the next two: see may_begin.h
  bool signing_off_ = false;
  bool logged_on_ = false;
  bool button_stops_ = false;      // pbStart reads "Stop"
  std::int64_t requested_at_ = 0;  // Clock nanoseconds when the current ARTICLE was sent
  bool loading_list_ = false;      // after an import; Start is disabled meanwhile
  bool filling_form_ = false;      // from the row; its changes are none of the user's
  bool advising_ = false;          // a box with advice about the port is open
  int next_file_requests_ = 0;
  bool walking_queue_ = false;
  char rest_of_line_ =
      0;  // what is still to come of a line that was consumed in part; see DropRestOfLine
};

namespace Usenet {
// Whether a reply that ends in these bytes (its last five at most) is whole: a dot alone on its
// line, ended by CR LF, LF or CR (RFC 3977, section 3.1.1).
bool EndOfResponse(std::string_view tail);
}  // namespace Usenet

// Shows the window "Connect Error" with a reason; defined with that window, in ui/.
void ShowServerConnectionError(std::string_view reason);
// Starts the automatic check for a message of the vendor; defined with the message window, in ui/.
void CheckForMessage();

}  // namespace gravlin
