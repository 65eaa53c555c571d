// What the engine does for an import that it has started.
#include "engine/engine.h"
#include "engine/leftovers.h"
#include "engine/run_view.h"
#include "nzb/grv_parse.h"
#include "platform/scoped_flag.h"
#include "platform/text.h"

namespace gravlin {
namespace {

constexpr int kPause = 20;  // milliseconds between two looks whether parts may go

}  // namespace

void Engine::InitNZBFile() {
  List.DeleteAllRows();
  Thread::Run(std::make_unique<grvParse>(*this));
}

void Engine::BeginImport() { view_.ShowImportBar(0); }

void Engine::ShowImportProgress(int percent) { view_.ShowImportBar(percent); }

// A run can begin no other file until the new list is there.
void Engine::ListCleared() {
  List.DeleteAllRows();
  leftovers_ = fParts.IsNil() ? nullptr : std::make_unique<Leftovers>(fParts);
}

void Engine::FilesRead(std::vector<DatabaseRecord> rows) {
  if (leftovers_) leftovers_->Take(std::move(rows));
}

// A part of another list would be joined to a file of this one.
void Engine::ListRead(Database& rows) {
  if (!leftovers_) return;
  // First, or the run would save one more while the folder is looked at.
  if (IsReplaced(rows)) file_replaced_ = true;
  const std::vector<std::string> others = leftovers_->OfOthers();
  if (others.empty()) return;
  while (!may::DropParts(CurrentSituation())) Thread::Sleep(kPause);
  Thread::Offload([&others, folder = fParts] {
    for (const std::string& name : others)
      if (!Thread::Ending()) folder.Child(name).Delete();
  });
  WriteDebug("ListRead", "Deleted parts of other articles: " + Str(std::ssize(others)));
}

// Whether the run under way is at a file whose name is that of another one in the new list.
bool Engine::IsReplaced(Database& rows) const {
  if (!running_) return false;
  const auto files = rows.SQLSelect("Select Parts from NZBFiles where Filename='" + TheFilename +
                                    "' COLLATE NOCASE");
  bool found = false, same = false;
  for (; files && !files->EndOfFile(); files->MoveNext()) {
    found = true;
    same = same || Split(files->Field("Parts").StringValue(), ",") == Article;
  }
  return found && !same;
}

void Engine::ListKept() {
  view_.ShowImportBar(-1);
  List.DeleteAllRows();
  ExpectedParts = 0;  // the files that are loaded again are the same
  LoadListAnew();
  AllowStart();
}

void Engine::LoadListAnew() {
  const ScopedFlag loading(loading_list_, true);
  AllowStart();
  LoadFiles();
}

void Engine::ImportDone(std::string_view nzb_name, double total_bytes) {
  BytesLeft = total_bytes;
  view_.ShowImportBar(-1);
  LoadListAnew();
  leftovers_.reset();
  SetStatus(std::string(nzb_name) + " imported. Click Start to begin downloading.");
  view_.EnableStartButton(true);
  view_.ShowDownloadTab();
}

}  // namespace gravlin
