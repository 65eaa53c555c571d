// Every window of the program as a user sees it: nothing is cut off, covered, out of reach or
// nameless, and all that it shows and does at first is as recorded in tests/data.
#include <QAccessible>
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QHeaderView>
#include <QLabel>
#include <QMenuBar>
#include <QTabBar>
#include <QTableView>

#include "platform/listbox.h"
#include "platform/look.h"
#include "platform/native.h"
#include "postprocess/outcome_windows.h"
#include "postprocess/par.h"
#include "postprocess/rar.h"
#include "support/engine_fixture.h"
#include "support/page.h"
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
  template <class W>
  void CheckPage(const char* name);
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
  clock.Advance(50);
  const std::pair<StaticText&, const char*> readouts[] = {
      {window.stPercent, "100.00%"},
      {window.stMB, "mb: 99999"},
      {window.stThroughput, "Speed: 9999999"},
      {window.stPeak, "Peak: 9999999"},
      {window.stTime, "99:59:59"},
      {window.stStatus, "Requesting part 123 of 12345 of a_rather_long_name.part001.rar"}};
  for (const auto& [readout, text] : readouts) readout.SetText(text);
  window.barProgress.SetValue(40);
  CheckWindow(window);
  clock.Advance(50);
  EXPECT_EQ(window.barProgress.Native().widget->property("value"), 40);
  EXPECT_EQ(window.stPeak.Native().widget->property("text"), "Peak: 9999999");
  Window* resizable[] = {&Window::New<grvFiles>(), &Window::New<TestServer>(),
                         &Window::New<GetMessage>()};
  for (Window* small : resizable) {
    small->SetWidth(small->MinWidth());
    small->SetHeight(small->MinHeight());
    CheckWindow(*small);
  }
}

// A value that is no default, cut to what can be read.
std::string Told(const char* what, const QString& value) {
  if (value.isEmpty() || value == "false" || value == "0" || value == "Plain") return {};
  const QString shown = value.size() > 60 ? value.left(50) + "..." + value.right(10) : value;
  return std::string(" ") + what + "=" + FromQt(QString(shown).replace('\n', '|'));
}

std::string PropertiesOf(const QWidget& widget, std::initializer_list<const char*> names) {
  std::string all;
  for (const char* name : names) all += Told(name, widget.property(name).toString());
  return all;
}

std::string RowsOf(const char* what, int count, int selected, auto text) {
  std::string all = std::string(" ") + what + "=";
  for (int row = 0; row < count; ++row)
    all += (row ? "/" : "") + std::string(row == selected ? ">" : "") + FromQt(text(row));
  return all;
}

std::string TableOf(const Listbox& list) {
  const auto& table = *static_cast<const QTableView*>(list.Native().widget.data());
  const QHeaderView& heading = *table.horizontalHeader();
  const auto title = [&](int column) {
    return table.model()->headerData(column, Qt::Horizontal).toString();
  };
  const auto row_text = [&](int row) { return ToQt(list.Cell(row, 0)); };
  return RowsOf("columns", list.ColumnCount(), -1, title) + " widths=" + list.ColumnWidths() +
         RowsOf("rows", list.ListCount(), list.ListIndex(), row_text) +
         PropertiesOf(table, {"selectionMode", "selectionBehavior", "editTriggers", "showGrid",
                              "alternatingRowColors", "tabKeyNavigation", "verticalScrollMode",
                              "horizontalScrollMode", "dragDropMode", "dragDropOverwriteMode",
                              "horizontalScrollBarPolicy"}) +
         PropertiesOf(heading, {"stretchLastSection", "highlightSections", "visible"}) +
         (heading.sectionsClickable() ? " clickable" : "");
}

// What a user sees of a control, and what its help and its description say.
std::string LineOf(const Control& control) {
  const QWidget& widget = *control.Native().widget;
  const Rect at = control.Bounds();
  std::string line = control.Name() + " " + Str(at.left) + "," + Str(at.top) + " " + Str(at.width) +
                     "x" + Str(at.height);
  const auto* const label = dynamic_cast<const StaticText*>(&control);
  line += Told("text", label ? ToQt(label->Text()) : widget.property("text").toString()) +
          PropertiesOf(
              widget, {"title", "plainText", "checked", "value", "maximum", "textVisible",
                       "wordWrap", "readOnly", "toolTip", "accessibleName", "accessibleDescription",
                       "acceptDrops", "autoDefault", "tabChangesFocus", "frameShadow"});
  if (const auto* box = qobject_cast<const QComboBox*>(&widget))
    line += RowsOf("rows", box->count(), box->currentIndex(),
                   [box](int row) { return box->itemText(row); });
  if (const auto* bar = widget.findChild<QTabBar*>())
    line += RowsOf("tabs", bar->count(), bar->currentIndex(),
                   [bar](int tab) { return bar->tabText(tab); });
  if (const auto* list = dynamic_cast<const Listbox*>(&control)) line += TableOf(*list);
  const int align = widget.property("alignment").toInt();
  const Anchors& to = control.Native().anchors;
  line += Told("size", QString::number(control.Native().design_size));
  for (const auto& [what, holds] : {std::pair(" bold", control.Native().bold),
                                    {" centred", (align & Qt::AlignHCenter) != 0},
                                    {" right", (align & Qt::AlignRight) != 0},
                                    {" not-left", !to.left},
                                    {" not-top", !to.top},
                                    {" to-right", to.right},
                                    {" to-bottom", to.bottom},
                                    {" disabled", !control.Enabled()},
                                    {" hidden", !control.Visible()}})
    if (holds) line += what;
  return line;
}

// What the desktop is asked for, and which windows come and go.
std::string EffectsOf(const std::function<void()>& act) {
  Asked().Clear();
  const std::vector<Window*> before = Window::All();
  act();
  std::string all;
  for (const std::string& url : Asked().urls) all += " " + url;
  for (const FolderItem& item : Asked().launched) all += " opens " + item.Name();
  for (const auto& box : Asked().boxes)
    all += " box " + Str(box.code) + " \"" + box.title + "|" + box.text + "\"";
  for (const Window* window : Window::All())
    if (std::ranges::find(before, window) == before.end())
      all += " window \"" + window->Title() + (window->Visible() ? "\"" : "\" hidden");
  if (Window::All().size() < before.size()) all += " closes";
  return all;
}

template <class W>
void WindowsTest::CheckPage(const char* name) {
  const qsizetype widgets = QApplication::allWidgets().size();
  W& window = Window::New<W>();
  window.Show();
  PumpEvents(0);
  const QWidget& frame = *window.Native().frame;
  std::string page = window.Title() + " " + Str(window.Width()) + "x" + Str(window.Height());
  const QSize least = frame.minimumSize(), most = frame.maximumSize();
  page += " from " + Str(least.width()) + "x" + Str(least.height()) + " to " + Str(most.width()) +
          "x" + Str(most.height());
  for (const auto& [flag, what] : {std::pair(Qt::WindowCloseButtonHint, " close"),
                                   {Qt::WindowMinimizeButtonHint, " minimize"},
                                   {Qt::WindowMaximizeButtonHint, " maximize"}})
    if (frame.windowFlags() & flag) page += what;
  page += frame.isModal() ? " modal\n" : "\n";
  std::vector<std::string> lines;
  for (const Control* control : window.Controls()) lines.push_back(LineOf(*control));
  for (std::size_t i = 0; i < lines.size(); ++i) {
    page += lines[i];
    const bool is_button = dynamic_cast<PushButton*>(window.Controls()[i]);
    if (is_button || window.Controls()[i]->MouseDown) {
      W& fresh = Window::New<W>();
      fresh.Show();
      PumpEvents(0);
      Control& control = *fresh.Controls()[i];
      page += " ->" + EffectsOf([&] {
                if (is_button)
                  static_cast<PushButton&>(control).Push();
                else if (control.MouseDown())
                  control.MouseUp();
              });
      for (std::size_t other = 0; other < lines.size(); ++other)
        if (LineOf(*fresh.Controls()[other]) != lines[other])
          page += " {" + LineOf(*fresh.Controls()[other]) + "}";
      fresh.Close();
      EndAllThreads();  // nothing that was pressed reaches the store
      Code::DBFree = true;
    }
    page += "\n";
  }
  Code::fGlobalDB = FolderItem::FromPath("/no store");
  page += "Without a store:" + EffectsOf([] { Window::New<W>(); }) + "\n";
  Code::fGlobalDB = folder.Item("store.rsd");
  page += "Tab:";
  for (const QWidget* at = frame.nextInFocusChain(); at != &frame; at = at->nextInFocusChain())
    for (const Control* control : window.Controls())
      if (control->Native().widget == at && at->focusPolicy() & Qt::TabFocus)
        page += " " + control->Name();
  ExpectPage("window-" + std::string(name), page + "\n");
  Window::CloseAll();
  Save();
  clock.Advance(1);
  EXPECT_EQ(QApplication::allWidgets().size(), widgets) << name << " leaves widgets";
}

TEST_F(WindowsTest, EachShowsAndDoesAtFirstWhatIsRecorded) {
  Store("Update Servers Set URL='127.0.0.1', Port=1");  // nothing leaves the loopback interface
  CheckPage<Gravlin>("main");
  CheckPage<TestServer>("console");
  CheckPage<grvFiles>("files");
  CheckPage<FileTypesWin>("types");
  CheckPage<GetMessage>("message");
  CheckPage<About>("about");
  CheckPage<ServerConnectionError>("refused");
  CheckPage<Compacting>("compacting");
  CheckPage<Par>("par");
  CheckPage<Rar>("rar");
  CheckPage<ParFailed>("par-failed");
  CheckPage<RarFailed>("rar-failed");
  CheckPage<RarNotes>("notes");
  CheckPage<AfterRAR>("advice");
}

using MenuTest = ProgramTest;

TEST_F(MenuTest, EachItemShowsAndDoesWhatIsRecorded) {
  Launch();
  Code::MessageFileURL.clear();
  std::string page;
  for (QAction* menu : window->Native().menu->actions()) {
    page += FromQt(menu->text()) + "\n";
    emit menu->menu()->aboutToShow();
    for (QAction* item : menu->menu()->actions()) {
      page += "  " + FromQt(item->text() + " " + item->shortcut().toString());
      if (!item->isSeparator()) page += EffectsOf([item] { item->trigger(); });
      if (item->isChecked()) page += " checked";
      page += "\n";
    }
  }
  ExpectPage("window-menus", page);
}

}  // namespace
}  // namespace gravlin::testing
