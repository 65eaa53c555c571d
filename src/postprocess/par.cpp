// The repair window: what it shows of par2, and the way on to the extraction.
#include "postprocess/par.h"

#include <cmath>

#include "base/code.h"
#include "platform/desktop.h"
#include "platform/text.h"
#include "postprocess/outcome_windows.h"
#include "postprocess/rar.h"
#include "postprocess/tool_commands.h"

namespace gravlin {
namespace {

ToolJob ParJob() {
  return {.right = {Code::ParJobRunning, Code::csPar},
          .app = Code::fParApp,
          .tool = "par2",
          .output = "unPar.txt",
          .waiting = "Waiting for previous Par window to finish...",
          .processing = ". PAR processing in progress...",
          .stalled = "Process incomplete.",
          .missing = "The par2 file is missing from your Gravlin folder.",
          .undeletable = "Please go into your Gravlin folder and remove the unPar.txt file.",
          .masks = false};
}

ToolLayout ParLayout() {
  return {.style = {.title = "PAR",
                    .width = 640,
                    .height = 233,
                    .min_width = 300,
                    .min_height = 140,
                    .resizable = true},
          .help = {9, 9, 69, 22},
          .select = {506, 9, 128, 22},
          .bar = {5, 196, 627, 12},
          .status = {6, 213, 549, 18},
          .select_caption = "Select PAR File",
          .select_help_tag = "You can also drop a PAR file here.",
          .help_page = "/usenet/nzb/gravlin/par-window?source=Gravlin",
          .name = "Par"};
}

}  // namespace

Par::Par()
    : ToolWindow(ParJob(), ParLayout()),
      List(*this, "List", {1, 40, 638, 145}, 2),
      stTime(*this, "stTime", {581, 213, 49, 18}, "00:00:00") {
  pbHelp.SetBold(true);
  List.SetAccessibleName("Files of the set");
  List.SetAnchors({.left = true, .top = true, .right = true, .bottom = true});
  List.SetHorizontalScrollBar(false);
  List.CellTextPaint = [this](int row, int column, CellPaint& paint) {
    List_CellTextPaint(row, column, paint);
  };
  stTime.SetAnchors({.left = false, .top = false, .right = true, .bottom = true});
  stTime.SetAlign(Align::kRight);
}

void Par::Event_Open() {
  stTime.SetVisible(false);
  ToolWindow::Event_Open();
  stTime.SetLeft(stTime.Left() - 6);
  List.SetHeading("Filename\tStatus");
  List.SetColumnAlign(0, Align::kLeft);
  List.SetColumnAlign(1, Align::kCentre);
}

void Par::ReadPlace(const RecordSet& settings) {
  List.SetColumnWidths(settings.Field("ParCols").StringValue());
}

std::string Par::MorePlace() const { return ", ParCols='" + List.ColumnWidths() + "'"; }

void Par::OpenDocumentEvent(const FolderItem& f) { Take(f, 2); }

void Par::ClearLists() {
  List.DeleteAllRows();
  List.Refresh();
}

void Par::PrepareParser() {
  ParVersion = EndsWith(fInput.Name(), ".PAR2") ? 2 : 1;
  ParseMode = "start";
  Bar.SetValue(0);
  stTime.SetText("00:00:00");
}

void Par::CallPar2Exe() {
  Execute(Par2Command(Code::fParApp, fInput, FixPath, fOutput, PutAsideByPar2(fInput)));
}

void Par::ShowFailed() { Window::Shared<ParFailed>().Show(); }

void Par::ParsePar2() {
  LoadLines();  // may stop the run; the rest of this pass does no harm then
  if (Lines.empty()) {
    if (FileGrew) Crawl();
    return;
  }
  ParseNewLines([this](const std::string& line, bool) { ReadPar2Line(line, ParseMode, *this); });
  if (const auto ending = FindPar2Ending(Lines)) Finish(*ending);
}

void Par::Finish(const Par2Ending& ending) {
  ShowStatus(ending.text);
  Bar.SetValue(100);
  EndFollowing();
  if (ending.repaired) FlushFiles(fInput.Parent());
  // A set without an archive comes here with the folder of the downloads in fRAR, which exists: the
  // extraction then shows whatever unrar says of a folder.
  if (!fRAR.IsNil() && fRAR.Exists() && ending.repaired) {
    Rar& rar = Window::New<Rar>();
    rar.fInput = fRAR;
    rar.FixPath = 2;
    rar.Show();
    rar.StartProcess();
  } else {
    Beep();
  }
  GiveBackRight();
}

void Par::UpdateTime(double percent) {
  const double ticks_per_percent = (Ticks() - StartTick) / percent;
  const double seconds = ticks_per_percent * (100 - percent) / 60;
  if (!std::isfinite(seconds) || seconds < 0) return;  // a percentage of 0 says nothing
  if (!stTime.Visible()) stTime.SetVisible(true);
  stTime.SetText(HoursMinutesSeconds(static_cast<std::int64_t>(seconds)));
  stTime.Refresh();
}

// By the status alone: a file with "missing" in its name is not red for that.
void Par::List_CellTextPaint(int row, int, CellPaint& paint) const {
  const std::string& status = List.Cell(row, 1);
  const bool bad = InStr(status, "missing") > 0 || InStr(status, "damaged") > 0;
  paint.text_color = bad ? Color{255, 0, 0} : Color{0, 0, 0};
  paint.text_color_set = true;
}

void Par::AddRow(std::string_view name) {
  List.AddRow(name);
  List.SetListIndex(List.LastIndex());
}

void Par::ClearTimeLeft() {
  if (stTime.Text() != "00:00:00") stTime.SetText("00:00:00");
}

void Par::FoundArchive(std::string_view name) {
  if (fRAR.IsNil()) fRAR = fInput.Parent().Child(name);
}

}  // namespace gravlin
