// Every window of the program as a user sees it: nothing is cut off, covered, out of reach or
// nameless.
#include <QAccessible>
#include <QComboBox>
#include <QHeaderView>
#include <QLabel>
#include <QTableView>

#include "platform/look.h"
#include "platform/native.h"
#include "postprocess/outcome_windows.h"
#include "postprocess/par.h"
#include "postprocess/rar.h"
#include "support/store_fixture.h"
#include "ui/console.h"
#include "ui/file_types_window.h"
#include "ui/files_window.h"
#include "ui/gravlin.h"
#include "ui/message_window.h"
#include "ui/small_windows.h"

namespace gravlin::testing {
namespace {

class WindowsTest : public StoreTest {
 protected:
  WindowsTest() { Code::ServerErrorPage = "https://www.ardentis.example/usenet/support?source=x"; }
};

QRect PlaceOf(const Control& control) {
  const Rect at = control.Bounds();
  return {at.left, at.top, at.width, at.height};
}

// The pixels of a control; for a text, of its letters.
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

// Frames and grounds, which other controls are on.
bool IsGround(const Control& control) {
  return dynamic_cast<const GroupBox*>(&control) || dynamic_cast<const Rectangle*>(&control) ||
         dynamic_cast<const TabPanel*>(&control);
}

// As assistive tools see it.  The name of a menu is its choice, so that a label must name it.
bool HasNameAndRole(const Control& control) {
  QAccessibleInterface* seen = QAccessible::queryAccessibleInterface(control.Native().widget);
  if (Is<QComboBox>(control)) return !seen->relations(QAccessible::Label).isEmpty();
  if (control.MouseDown && seen->role() != QAccessible::Link) return false;
  const bool decoration = dynamic_cast<const Rectangle*>(&control) != nullptr ||
                          dynamic_cast<const TabPanel*>(&control) != nullptr ||
                          seen->role() == QAccessible::Separator;
  return decoration || !seen->text(QAccessible::Name).isEmpty();
}

void CheckWindow(Window& window) {
  window.Show();
  const QAccessible::Role role =
      QAccessible::queryAccessibleInterface(window.Native().frame.get())->role();
  EXPECT_TRUE(role == QAccessible::Window || role == QAccessible::Dialog) << window.Title();
  EXPECT_FALSE(window.Controls().empty());
  const QRect room(0, 0, window.Width(), window.Height());
  std::vector<const Control*> seen;
  for (const Control* control : window.Controls()) {
    if (!control->Visible()) continue;
    SCOPED_TRACE(window.Title() + ": " + control->Name());
    EXPECT_TRUE(control->TextFits());
    EXPECT_TRUE(room.contains(PlaceOf(*control)));
    EXPECT_TRUE(HasNameAndRole(*control));
    if (const auto* table = qobject_cast<QTableView*>(control->Native().widget.data())) {
      const QHeaderView& headings = *table->horizontalHeader();
      for (int column = 0; headings.count() > 1 && column < headings.count(); ++column)
        EXPECT_LE(headings.fontMetrics().horizontalAdvance(
                      table->model()->headerData(column, Qt::Horizontal).toString()),
                  headings.sectionSize(column));
    }
    if (IsGround(*control)) continue;
    for (const Control* below : seen)
      EXPECT_FALSE(below->Native().page == control->Native().page &&
                   InkOf(*control).intersects(InkOf(*below)))
          << "covers " << below->Name();
    seen.push_back(control);
  }
}

template <class... Windows>
void CheckAll() {
  (CheckWindow(Window::New<Windows>()), ...);
}

TEST_F(WindowsTest, NothingIsCutOffCoveredOutsideOrWithoutANameWhateverTheUsersFont) {
  SetUpLook();
  for (const int pixels : {24, 13}) {
    SCOPED_TRACE(pixels);
    QFont font;
    font.setPixelSize(pixels);
    FollowDesktopFont(font);
    CheckAll<Gravlin, TestServer, grvFiles, FileTypesWin, GetMessage, About, ServerConnectionError,
             Compacting, Par, Rar, ParFailed, RarFailed, RarNotes, AfterRAR>();
    const QFont& shown = Window::New<Gravlin>().stIntroDesc.Native().widget->font();
    EXPECT_EQ(shown.pixelSize() > InterfaceFont().pixelSize(), pixels > 15);
    Window::CloseAll();
  }
}

TEST_F(WindowsTest, TheReadoutsOfALongRunFitAndAWindowAtItsSmallestStillShowsItsControls) {
  auto& window = Window::New<Gravlin>();
  window.barParse.SetVisible(true);
  const std::pair<StaticText&, const char*> readouts[] = {
      {window.stPercent, "100.00%"},
      {window.stMB, "mb: 99999"},
      {window.stThroughput, "Speed: 9999999"},
      {window.stPeak, "Peak: 9999999"},
      {window.stTime, "99:59:59"},
      {window.stStatus, "Requesting part 123 of 12345 of a_rather_long_name.part001.rar"}};
  for (const auto& [readout, text] : readouts) readout.SetText(text);
  CheckWindow(window);
  Window* resizable[] = {&Window::New<grvFiles>(), &Window::New<TestServer>(),
                         &Window::New<GetMessage>()};
  for (Window* small : resizable) {
    small->SetWidth(small->MinWidth());
    small->SetHeight(small->MinHeight());
    CheckWindow(*small);
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

}  // namespace
}  // namespace gravlin::testing
