// The main window as it is made; what it does stands in the rooms of its subjects.
#include "engine/gravlin.h"

#include "platform/calls.h"

namespace gravlin {
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
      WizardControls(static_cast<Window&>(*this)) {
  News.DataAvailable = [this] { News_DataAvailable(); };
  News.Error = [this] { News_Error(); };
  News.Overflow = [this] { TheTimer.FireSoon(); };
  NewsTest.DataAvailable = [this] { NewsTest_DataAvailable(); };
  TheTimer.SetPeriod(1000);
  TheTimer.Action = [this] { TheTimer_Action(); };
  List.CompareRows = [this](int row1, int row2, int column, int& result) {
    return List_CompareRows(row1, row2, column, result);
  };
  SetFailureReport([this](const char* event, const char* what) { WriteDebug(event, what); });
  WireControls();
}

Gravlin::~Gravlin() { SetFailureReport(nullptr); }

}  // namespace gravlin
