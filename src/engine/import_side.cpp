// What the engine does for an import that it has started.
#include "engine/engine.h"
#include "engine/run_view.h"
#include "nzb/grv_parse.h"
#include "platform/scoped_flag.h"

namespace gravlin {

void Engine::InitNZBFile() {
  List.DeleteAllRows();
  Thread::Run(std::make_unique<grvParse>(*this));
}

void Engine::BeginImport() { view_.ShowImportBar(0); }

void Engine::ShowImportProgress(int percent) { view_.ShowImportBar(percent); }

void Engine::ListCleared() { List.DeleteAllRows(); }

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
  SetStatus(std::string(nzb_name) + " imported. Click Start to begin downloading.");
  view_.EnableStartButton(true);
  view_.ShowDownloadTab();
}

}  // namespace gravlin
