// The steps after the download: nothing is pressed, the windows open and finish by themselves.
#include <algorithm>
#include <cstdio>
#include <utility>

#include "drive.h"
#include "platform/clock.h"
#include "platform/fibers.h"
#include "platform/text.h"
#include "postprocess/par.h"
#include "postprocess/rar.h"

namespace gravlin {
namespace {

int BadRows(const Listbox& list) {
  int bad = 0;
  for (int row = 0; row < list.ListCount(); ++row) {
    const std::string& status = list.Cell(row, 1);
    bad += InStr(status, "missing") > 0 || InStr(status, "damaged") > 0;
  }
  return bad;
}

}  // namespace

void Driver::NoteTool(const std::string& status) {
  if (status == tool_status_) return;
  tool_status_ = status;
  std::printf("%8.3f %s\n", Elapsed(), status.c_str());
  std::fflush(stdout);
}

double Driver::PhaseSeconds() {
  const std::int64_t now = TheClock().Milliseconds();
  return static_cast<double>(now - std::exchange(phase_began_, now)) / 1000;
}

void Driver::AwaitRepair() {
  const Par* par = Window::IfOpen<Par>();
  if (!par) {
    End("the set has no recovery files");
    return;
  }
  const std::string status = par->stStatus.Text();
  NoteTool(status);
  worst_rows_ = std::max(worst_rows_, BadRows(par->List));
  if (status == "Repairing..." && !std::exchange(pictured_repair_, true)) TakePictures("repairing");
  if (par->Phase() != ToolPhase::kReady) return;
  TakePictures("repaired");
  const bool good =
      status == "Repair complete." || status == "All files are correct, repair is not required.";
  std::printf("repair: %s damaged or missing before %d, after %d, seconds %.2f\n", status.c_str(),
              worst_rows_, BadRows(par->List), PhaseSeconds());
  if (!good) {
    End("the set was not repaired");
  } else if (options_.goal == Goal::kRepaired) {
    Go(&Driver::AwaitDisk);
  } else {
    Go(&Driver::AwaitExtraction);
  }
}

void Driver::AwaitExtraction() {
  const Rar* rar = Window::IfOpen<Rar>();
  if (!rar) {
    End("the set has no archive");
    return;
  }
  NoteTool(rar->stStatus.Text());
  if (rar->Phase() != ToolPhase::kReady) return;
  NoteWindows();
  TakePictures("extracted");
  std::printf("extraction: %s volumes %d, files %d, seconds %.2f\n", rar->stStatus.Text().c_str(),
              rar->List.ListCount(), rar->List2.ListCount(), PhaseSeconds());
  if (rar->stStatus.Text() == "Extraction complete.")
    Go(&Driver::AwaitDisk);
  else
    End("the archive was not extracted");
}

// What the tools wrote is flushed in the background; a quit would interrupt that.
void Driver::AwaitDisk() {
  if (LiveThreads() == 0) End("");
}

}  // namespace gravlin
