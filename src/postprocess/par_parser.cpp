// What each line of par2's output means, by the mode that the lines before it have set.
#include "postprocess/par_parser.h"

#include "nzb/names.h"
#include "platform/failures.h"
#include "platform/text.h"

namespace gravlin {
namespace {

// True if the status had to be written.
bool ShowNewStatus(ParView& view, std::string_view text) {
  if (SameText(view.Status(), text)) return false;
  view.ShowStatus(text);
  return true;
}

// The number after the last ": " of a progress line, which has `others` further characters.
double PercentOf(std::string_view line, int others) {
  return Val(Mid(line, LastInStr(line, ": ") + 2, Len(line) - others));
}

// The phase that a line opens, whatever the phase before it.
void ApplyTransitions(std::string_view line, std::string& mode, ParView& view) {
  if (SameText(line, "Verifying source files:")) mode = "verify";
  if (BeginsWith(line, "Computing")) {
    mode = "constructing";
    ShowNewStatus(view, "Computing Reed-Solomon matrix...");
  }
  if (BeginsWith(line, "Constructing: done.")) {
    mode = "solving";
    ShowNewStatus(view, "Solving Reed-Solomon matrix...");
  }
  if (BeginsWith(line, "Repairing:")) {
    mode = "repairing";
    // Every line of the phase comes here, and only the first finds another status: that one starts
    // the clock.
    if (ShowNewStatus(view, "Repairing...")) view.StartClock();
  }
  if (SameText(line, "Verifying repaired files:")) {
    mode = "verify repair";
    view.ClearTimeLeft();
    ShowNewStatus(view, "Verifying repaired files...");
  }
}

void ReadLoading(std::string_view line, ParView& view) {
  ShowNewStatus(view, "Loading PAR's...");
  if (BeginsWith(line, "Loading ")) {  // Loading "name".
    view.AddRow(Mid(line, 10, Len(line) - 11));
    view.ShowPercent(0);
  }
  if (BeginsWith(line, "Loading: ")) view.ShowPercent(ToInt32(Val(Mid(line, 10, Len(line) - 10))));
  if (BeginsWith(line, "Loaded ")) {
    const int including = InStr(line, "including");
    // A read that cut the "Loading" line leaves no row to write to.
    if (including >= 1 && view.SelectedRow() >= 0)
      view.ShowRowStatus(view.SelectedRow(), Mid(line, including + 9, 999));
    view.ShowPercent(100);
  }
}

void ReadScanning(std::string_view line, ParView& view) {
  ShowNewStatus(view, Mid(line, 1, LastInStr(line, ": ") - 1));
  view.ShowPercent(ToInt32(PercentOf(line, 11)));
}

// Target: "name" - status.    The search goes from the end, since a name may hold " - " itself.
void ReadTarget(std::string_view line, bool repaired, ParView& view) {
  const int dash = LastInStr(line, " - ");
  if (dash < 1) return;
  const std::string name = Mid(line, 10, dash - 11);
  const std::string status = Mid(line, dash + 3, Len(line) - dash - 3);
  if (!repaired) {
    view.AddRow(name);
    view.ShowRowStatus(view.SelectedRow(), status);
    if (Code::IsFirstVolume(name)) view.FoundArchive(name);
    return;
  }
  const int row = view.FindRow(name);
  if (row < 0) return;
  view.ShowRowStatus(row, status);
  view.SelectRow(row);
}

}  // namespace

void ReadPar2Line(std::string_view line, std::string& mode, ParView& view) {
  ApplyTransitions(line, mode, view);
  if (mode == "start") {
    ReadLoading(line, view);
  } else if (mode == "verify" || mode == "verify repair") {
    if (BeginsWith(line, "Scanning:")) ReadScanning(line, view);
    if (BeginsWith(line, "Target:")) ReadTarget(line, mode == "verify repair", view);
  } else if (mode == "constructing") {
    if (BeginsWith(line, "Constructing")) view.ShowPercent(ToInt32(PercentOf(line, 15)));
  } else if (mode == "solving") {
    // The word "done." in place of the number takes the bar back to 0; so it does in "repairing".
    if (BeginsWith(line, "Solving")) view.ShowPercent(ToInt32(PercentOf(line, 10)));
  } else if (mode == "repairing") {
    if (!BeginsWith(line, "Repairing")) return;
    const double percent = PercentOf(line, 12);
    view.ShowPercent(ToInt32(percent));
    view.ShowTimeLeft(percent);
  }
}

std::optional<Par2Ending> FindPar2Ending(const std::vector<std::string>& lines) {
  const std::string* last = &lines.back();
  if (last->empty()) {
    if (lines.size() < 2) throw OutOfBoundsException();
    last = &lines[lines.size() - 2];
  }
  const bool lacking = BeginsWith(*last, "You need");
  if (!lacking && !SameText(*last, "Repair complete.") &&
      !SameText(*last, "All files are correct, repair is not required."))
    return std::nullopt;
  return Par2Ending{*last, !lacking};
}

}  // namespace gravlin
