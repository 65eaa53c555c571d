#include "engine/gravlin.h"

#include "platform/scheduler.h"

namespace gravlin {
namespace {

WindowStyle MainWindowStyle() {
  WindowStyle style;
  style.title = "Gravlin";
  style.width = 640;
  style.height = 340;
  style.min_width = 640;
  style.min_height = 340;
  style.max_width = 2000;
  style.max_height = 2000;
  style.close_box = false;
  style.quits = true;
  return style;
}

}  // namespace

Gravlin::Gravlin() : Window(MainWindowStyle()), WizardControls(static_cast<Window&>(*this)) {
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
