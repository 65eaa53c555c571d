// What the unattended user does next, at each tick of a timer.
#include "drive.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "base/code.h"
#include "engine/states.h"
#include "platform/application.h"
#include "platform/clock.h"
#include "platform/fibers.h"
#include "platform/ssl_socket.h"
#include "platform/text.h"
#include "store/writers.h"
#include "ui/gravlin.h"

namespace gravlin {
namespace {

constexpr int kTick = 10;  // milliseconds
constexpr int kTabOfServer = 1, kTabOfImport = 4, kTabOfDownload = 5;
constexpr std::string_view kImported = " imported. Click Start to begin downloading.";

void Print(std::string_view kind, std::string_view text) {
  std::printf("%.*s: %.*s\n", Len(kind), kind.data(), Len(text), text.data());
  std::fflush(stdout);
}

}  // namespace

int DriveDesktop::MsgBox(std::string_view text, int, std::string_view) {
  Print("box", ReplaceAll(ReplaceAll(text, "\r\n", " "), "\r", " "));
  return 1;
}

FolderItem DriveDesktop::GetOpenFolderItem(std::string_view, const FolderItem&) {
  return std::exchange(chosen, {});
}

void DriveDesktop::ShowURL(std::string_view url) { Print("web page", url); }

void DriveDesktop::Launch(const FolderItem& item) {
  if (!item.IsNil()) Print("folder", item.NativePath());
}

Driver::Driver(DriveOptions options)
    : options_(std::move(options)), began_(TheClock().Milliseconds()) {
  SpecialFolder::SetApplicationData(options_.data);
  SetDesktop(&desktop_);
  // Sends no request to the vendor's site.
  Code::GotMessage = true;
  Application::SetExitStatus(1);
  timer_.Action = [this] { Tick(); };
  timer_.SetPeriod(kTick);
  timer_.SetMode(2);
}

Driver::~Driver() { SetDesktop(nullptr); }

void Driver::Tick() {
  if (Application::Quitting()) return;
  NoteAbsence();
  if (options_.timeout > 0 && Elapsed() > options_.timeout) {
    End("the time is up");
    return;
  }
  if (!window_) {
    window_ = Window::IfOpen<Gravlin>();
    if (!window_ || !window_->DoneLoading) {
      window_ = nullptr;
      return;
    }
    window_->stStatus.TextChange = [this] { ShowStatus(); };
    ShowStatus();
  }
  NoteConnection();
  NoteWindows();
  (this->*step_)();
}

// Each field that changes saves the form in the background; like a user, the driver is slower than
// those writes.
void Driver::FillServerForm() {
  if (!options_.authority.IsNil() && !SSLSocket::TrustCertificates(options_.authority)) {
    End("no certificate in " + options_.authority.NativePath());
    return;
  }
  if (Code::PendingWrites() > 0) return;
  if (!options_.host.empty() && fields_filled_ < 5) {
    window_->TabPanel1.SetValue(kTabOfServer);
    switch (fields_filled_++) {
      case 0:
        window_->efURL.SetText(options_.host);
        break;
      case 1:
        window_->efPort.SetText(Str(options_.port));
        break;
      case 2:
        window_->efUserName.SetText(options_.user);
        break;
      case 3:
        window_->efPassword.SetText(options_.password);
        break;
      case 4:
        window_->pmSSL.SetListIndex(options_.ssl);
        break;
    }
    return;
  }
  TakePictures("server");
  Go(&Driver::ChooseNzb);
}

void Driver::ChooseNzb() {
  if (options_.nzb.IsNil()) {
    Go(&Driver::PressStart);
    return;
  }
  window_->TabPanel1.SetValue(kTabOfImport);
  desktop_.chosen = options_.nzb;
  std::printf("%8.3f importing\n", Elapsed());
  window_->pbSelect.Push();
  Go(&Driver::AwaitImport);
}

void Driver::AwaitImport() {
  if (LiveThreads() > 0) return;  // the import is one
  const std::string status = window_->stStatus.Text();
  if (!status.ends_with(kImported)) {
    End("the NZB was not imported");
    return;
  }
  if (options_.goal == Goal::kImported) {
    End("");
    return;
  }
  Go(&Driver::PressStart);
}

void Driver::PressStart() {
  if (window_->List.ListCount() == 0) {
    End("there is nothing to download");
    return;
  }
  window_->TabPanel1.SetValue(kTabOfDownload);
  TakePictures("imported");
  started_ = TheClock().Milliseconds();
  window_->pbStart.Push();
  Go(&Driver::AwaitEndOfDownload);
}

void Driver::AwaitEndOfDownload() {
  if (!pictured_running_ && window_->PartsDone > 0) {
    pictured_running_ = true;
    TakePictures("downloading");
  }
  // The program would try again every minute, with the same log-on.
  const bool refused =
      window_->State() == states::kSentUsername || window_->State() == states::kSentPassword;
  if (refused && std::find(titles_.begin(), titles_.end(), "Connect Error") != titles_.end()) {
    End("the server refused the log-on");
    return;
  }
  // A server may close the connection instead of answering the sign-off at the end.
  const bool hung_up = window_->State() == states::kSentQuit &&
                       !window_->CurrentSituation().running && !window_->News.IsConnected();
  if (window_->State() != states::kLoggedOff && !hung_up) return;
  TakePictures("downloaded");
  Summarise();
}

void Driver::Summarise() {
  const double seconds = static_cast<double>(TheClock().Milliseconds() - started_) / 1000;
  const FileTable& list = window_->List;
  int done = 0;
  std::int64_t bytes = 0;
  for (int row = 0; row < list.ListCount(); ++row) {
    const FileRow& row_of_file = list.At(row);
    const FolderItem file = window_->fDownloads.Child(row_of_file.filename);
    if (!row_of_file.done || file.IsNil() || !file.Exists()) {
      Print("not downloaded", row_of_file.filename + " " + row_of_file.message);
      continue;
    }
    ++done;
    bytes += file.Length();
  }
  const int missing = list.ListCount() - done;
  const double received = window_->mb * 1024 * 1024 / 1e6;
  std::printf(
      "summary: files %d of %d, bytes %lld, received %.1f MB, seconds %.2f, MB/s %.1f, errors %d\n",
      done, list.ListCount(), static_cast<long long>(bytes), received, seconds,
      seconds > 0 ? received / seconds : 0.0, window_->TotalErrors + missing);
  if (options_.goal == Goal::kDownloaded) {
    End(missing + window_->TotalErrors == 0 ? "" : "not everything was downloaded");
    return;
  }
  // The recovery files are to restore what is missing.
  phase_began_ = TheClock().Milliseconds();
  Go(&Driver::AwaitRepair);
}

void Driver::End(std::string_view reason) {
  if (reason.empty() && Elapsed() < options_.repeat) {
    for (const std::string& name : window_->fDownloads.ChildNames())
      window_->fDownloads.Child(name).Delete();
    Print("again", "after " + Format(Elapsed(), "0") + " s");
    Go(&Driver::ChooseNzb);
    return;
  }
  timer_.SetMode(0);
  if (window_) window_->stStatus.TextChange = nullptr;
  for (const auto& [phase, longest] : absences_) {
    Print("longest absence of the event loop in " + phase + ", ms", Str(longest));
  }
  if (!reason.empty()) Print("failed", reason);
  Application::SetExitStatus(reason.empty() ? 0 : 1);
  Application::Quit();
}

void Driver::ShowStatus() {
  std::printf("%8.3f %s\n", Elapsed(), window_->stStatus.Text().c_str());
  std::fflush(stdout);
}

void Driver::NoteAbsence() {
  const std::int64_t now = TheClock().Milliseconds();
  const std::int64_t away = now - std::exchange(last_tick_, now) - kTick;
  std::string phase;
  if (step_ == &Driver::AwaitImport) phase = "import";
  if (step_ == &Driver::AwaitEndOfDownload) {
    phase = window_->Decoding() ? "decode" : window_->Assembling() ? "assembly" : "download";
  }
  if (!phase.empty()) absences_[phase] = std::max(absences_[phase], away);
}

void Driver::NoteConnection() {
  if (window_->News.ErrorText() == connection_fault_) return;
  connection_fault_ = window_->News.ErrorText();
  if (!connection_fault_.empty()) Print("connection", connection_fault_);
}

void Driver::NoteWindows() {
  for (const Window* window : Window::All()) {
    const std::string title = window->Title();
    if (!window->Visible() || std::find(titles_.begin(), titles_.end(), title) != titles_.end()) {
      continue;
    }
    titles_.push_back(title);
    Print("window", title);
  }
}

void Driver::TakePictures(std::string_view moment) {
  if (options_.screenshots.IsNil()) return;
  for (const Window* window : Window::All()) {
    if (!window->Visible()) continue;
    const std::string name =
        Format(++pictures_, "00") + " " + std::string(moment) + " " + window->Title() + ".png";
    const FolderItem file = options_.screenshots.Child(ReplaceAll(name, "/", "-"));
    Print("picture", window->SavePicture(file) ? file.NativePath() : "not taken: " + name);
  }
}

double Driver::Elapsed() const {
  return static_cast<double>(TheClock().Milliseconds() - began_) / 1000;
}

}  // namespace gravlin
