// The main window as it is made, and what it shows of a run.
#include "ui/gravlin.h"

#include "platform/text.h"
#include "postprocess/hand_off.h"
#include "ui/small_windows.h"

namespace gravlin {
namespace {

constexpr int kTabOfDownload = 5;

}  // namespace

Gravlin::Gravlin()
    : Window({.title = "Gravlin",
              .width = 640,
              .height = 340,
              .min_width = 640,
              .min_height = 340,
              .max_width = 2000,
              .max_height = 2000,
              .close_box = false,
              .quits = true}),
      WizardControls(static_cast<Window&>(*this)),
      Engine(static_cast<RunView&>(*this)) {
  NewsTest.DataAvailable = [this] { NewsTest_DataAvailable(); };
  WireControls();
}

void Gravlin::ShowStatus(std::string_view text) { stStatus.SetText(text); }

void Gravlin::ShowStartButton(bool stops) { pbStart.SetCaption(stops ? "Stop" : "Start"); }

void Gravlin::EnableStartButton(bool enabled) { pbStart.SetEnabled(enabled); }

void Gravlin::ShowBar(int percent) { barProgress.SetValue(percent); }

void Gravlin::ShowPercent(double percent) {
  ShowBar(ToInt32(percent));
  stPercent.SetText(Format(percent, "##0.00") + "%");
}

void Gravlin::ShowMegabytes(double megabytes) {
  stMB.SetText("mb: " + Format(megabytes, megabytes < 1000 ? "##0.0" : "####0"));
}

void Gravlin::ShowSpeed(std::int32_t now) { stThroughput.SetText("Speed: " + Str(now)); }

void Gravlin::ShowPeak(std::int32_t highest) { stPeak.SetText("Peak: " + Str(highest)); }

void Gravlin::ShowTimeLeft(std::int64_t seconds) {
  stTime.SetText(HoursMinutesSeconds(seconds));
  stTime.SetHelpTag("Time left");
}

void Gravlin::ShowTotalTime(std::int64_t seconds) {
  stTime.SetText(HoursMinutesSeconds(seconds));
  stTime.SetHelpTag("Total download time.");
}

// The status says only "Done." in the end.
void Gravlin::ShowAdvice(std::string_view text) {
  stStatus.SetHelpTag(text);
  stStatus.ShowHelpTag();
}

void Gravlin::ShowImportBar(int percent) {
  barParse.SetVisible(percent >= 0);
  if (percent >= 0) barParse.SetValue(percent);
}

void Gravlin::ShowDownloadTab() { TabPanel1.SetValue(kTabOfDownload); }

void Gravlin::ShowConnectionError(std::string_view reason) { ShowServerConnectionError(reason); }

void Gravlin::BeginRepair(const FolderItem& par, const FolderItem& rar) { OpenRepairOf(par, rar); }

FolderItem DownloadsFolder() {
  const Gravlin* window = Window::IfOpen<Gravlin>();
  return window ? window->fDownloads : FolderItem();
}

void WriteToLog(std::string_view label, std::string_view text) {
  if (auto* window = Window::IfOpen<Gravlin>()) window->WriteDebug(label, text);
}

}  // namespace gravlin
