// The main window: the wizard.  It derives from the engine, and shows the engine's run.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "engine/engine.h"
#include "engine/run_view.h"
#include "platform/window.h"
#include "ui/wizard_controls.h"

namespace gravlin {

class Gravlin : public Window, public WizardControls, private RunView, public Engine {
 public:
  Gravlin();

  ServerSettings FormServer() const override;
  // Binds every control's event to its handler; called once, when the window is made.
  void WireControls();
  void SaveServerSettings();
  void pbSelect_Action();
  void pbSelect_DropObject(const DragItem& dropped);
  void SaveSize();

  // --- The quick server test (quick_test.cpp) ---
  void pbTest_Action();
  void ConnectTest();
  void NewsTest_DataAvailable();
  void WriteResponse(std::string_view text);

  bool DoneLoading = false;
  bool TextLoading = false;  // tested by the form's handlers, set by nothing

 protected:
  void Event_Open() override;
  void Event_Close() override;
  void Event_Resized() override;

 private:
  // --- The view of a run (gravlin.cpp) ---
  void ShowStatus(std::string_view text) override;
  void ShowStartButton(bool stops) override;
  void EnableStartButton(bool enabled) override;
  void ShowBar(int percent) override;
  void ShowPercent(double percent) override;
  void ShowMegabytes(double megabytes) override;
  void ShowSpeed(std::int32_t now) override;
  void ShowPeak(std::int32_t highest) override;
  void ShowTimeLeft(std::int64_t seconds) override;
  void ShowTotalTime(std::int64_t seconds) override;
  void ShowAdvice(std::string_view text) override;
  void ShowImportBar(int percent) override;
  void ShowDownloadTab() override;
  void FillServerForm(const RecordSet& server) override;
  void ShowConnectionError(std::string_view reason) override;
  void BeginRepair(const FolderItem& par, const FolderItem& rar) override;

  std::string ServerStatement() const;  // that saves the form

  SSLSocket NewsTest;
  std::string StateTest;       // of the quick test, on NewsTest
  bool filling_form_ = false;  // from the row; these changes are not the user's
};

}  // namespace gravlin
