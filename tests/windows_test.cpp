// Every window of the program as a user sees it: nothing is cut off, covered, out of reach or
// nameless.
#include <QAbstractScrollArea>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>

#include "engine/gravlin.h"
#include "platform/menu.h"
#include "platform/native.h"
#include "postprocess/outcome_windows.h"
#include "postprocess/par.h"
#include "postprocess/rar.h"
#include "support/window_fixture.h"
#include "ui/file_types_window.h"
#include "ui/files_window.h"
#include "ui/menu_main.h"
#include "ui/message_window.h"
#include "ui/small_windows.h"
#include "ui/test_server.h"

namespace gravlin::testing {
namespace {

class WindowsTest : public WindowTest {
 protected:
  WindowsTest() { Code::ServerErrorPage = "https://www.ardentis.example/usenet/support?source=x"; }
};

QRect PlaceOf(const Control& control) {
  const Rect at = control.Bounds();
  return {at.left, at.top, at.width, at.height};
}

// Where a control's pixels are: of a text, its letters.
QRect InkOf(const Control& control) {
  const auto* label = qobject_cast<const QLabel*>(control.Native().widget.data());
  if (!label) return PlaceOf(control);
  const int wrap = label->wordWrap() ? Qt::TextWordWrap : 0;
  return label->fontMetrics().boundingRect(
      PlaceOf(control), static_cast<int>(label->alignment()) | wrap, label->text());
}

template <class Widget>
bool Is(const Control& control) {
  return qobject_cast<Widget*>(control.Native().widget.data()) != nullptr;
}

// Frames and grounds, on which other controls stand.
bool IsGround(const Control& control) {
  return dynamic_cast<const GroupBox*>(&control) || dynamic_cast<const Rectangle*>(&control) ||
         dynamic_cast<const TabPanel*>(&control);
}

void CheckControl(const Window& window, const Control& control) {
  SCOPED_TRACE(control.Name());
  EXPECT_TRUE(control.TextFits());
  const QRect room(0, 0, window.Width(), window.Height());
  EXPECT_TRUE(room.contains(PlaceOf(control)));
  const bool input = Is<QLineEdit>(control) || Is<QComboBox>(control) ||
                     Is<QProgressBar>(control) || Is<QAbstractScrollArea>(control);
  EXPECT_FALSE(input && control.Native().widget->accessibleName().isEmpty());
}

void CheckWindow(const Window& window) {
  SCOPED_TRACE(window.Title());
  const std::vector<Control*>& controls = window.Controls();
  EXPECT_FALSE(controls.empty());
  for (std::size_t i = 0; i < controls.size(); ++i) {
    const Control& control = *controls[i];
    if (!control.Visible()) continue;
    CheckControl(window, control);
    if (IsGround(control)) continue;
    for (std::size_t j = 0; j < i; ++j) {
      const Control& below = *controls[j];
      if (IsGround(below) || !below.Visible()) continue;
      if (below.Native().page != control.Native().page) continue;
      EXPECT_FALSE(InkOf(control).intersects(InkOf(below)))
          << control.Name() << " covers " << below.Name();
    }
  }
}

template <class... Windows>
void CheckAll() {
  (CheckWindow(Window::New<Windows>()), ...);
}

TEST_F(WindowsTest, NothingIsCutOffCoveredOutsideOrWithoutAName) {
  CheckAll<Gravlin, TestServer, grvFiles, FileTypesWin, GetMessage, About, ServerConnectionError,
           Compacting, Par, Rar, ParFailed, RarFailed, RarNotes, AfterRAR>();
}

TEST_F(WindowsTest, TheReadoutsOfALongRunFit) {
  auto& window = Window::New<Gravlin>();
  window.barParse.SetVisible(true);
  window.stPercent.SetText("100.00%");
  window.stMB.SetText("mb: 99999");
  window.stThroughput.SetText("Speed: 9999999");
  window.stPeak.SetText("Peak: 9999999");
  window.stTime.SetText("99:59:59");
  window.stStatus.SetText("Requesting part 123 of 12345 of a_rather_long_name.part001.rar");
  CheckWindow(window);
}

TEST_F(WindowsTest, AWindowAtItsSmallestStillShowsItsControls) {
  auto& files = Window::New<grvFiles>();
  auto& console = Window::New<TestServer>();
  auto& message = Window::New<GetMessage>();
  for (Window* window : std::initializer_list<Window*>{&files, &console, &message}) {
    window->SetWidth(window->MinWidth());
    window->SetHeight(window->MinHeight());
    CheckWindow(*window);
  }
}

TEST_F(WindowsTest, TheTabKeyWalksTheServerFormLineByLine) {
  auto& window = Window::New<Gravlin>();
  window.TabPanel1.SetValue(1);
  window.Show();
  PumpEvents(0);
  std::string walk;
  const QWidget* widget = window.efURL.Native().widget;
  for (int step = 0; step < 5; ++step, widget = widget->nextInFocusChain()) {
    while (!(widget->focusPolicy() & Qt::TabFocus) || !widget->isVisible() ||
           widget->objectName().startsWith("qt_"))
      widget = widget->nextInFocusChain();
    walk += widget->objectName().toStdString() + " ";
  }
  EXPECT_EQ(walk, "efURL efUserName efPassword efPort pmSSL ");
}

TEST_F(WindowsTest, TheMenuBarHasEveryItemUnderItsName) {
  MenuBar menu;
  MakeMenuMain(menu);
  for (const char* name :
       {"mSetupFileTypes", "mToolzPAR", "mToolzRAR", "mCompactDataba", "mDebugMode", "mExit",
        "EditUndo", "EditCut", "EditCopy", "EditPaste", "EditClear", "mGetMessage", "mTestServer",
        "mProgramFolder", "mAppDataFolder", "mAbout"})
    EXPECT_TRUE(menu.Find(name)) << name;
  EXPECT_FALSE(menu.Find("mConvertExit"));
}

}  // namespace
}  // namespace gravlin::testing
