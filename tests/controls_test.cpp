// Windows and their controls: events, places, keys, drops.
#include "platform/controls.h"

#include <gtest/gtest.h>

#include <QAccessible>
#include <QApplication>
#include <QDropEvent>
#include <QLabel>
#include <QMimeData>
#include <QTest>
#include <QUrl>

#include "platform/look.h"
#include "platform/menu.h"
#include "platform/native.h"
#include "platform/text.h"
#include "platform/thread.h"
#include "support/test_clock.h"

namespace gravlin::testing {
namespace {

class Sample : public Window {
 public:
  Sample()
      : Window({.title = "Sample",
                .width = 400,
                .height = 300,
                .min_width = 100,
                .min_height = 80,
                .resizable = true}),
        tabs(*this, "tabs", {200, 10, 180, 100}, {"One", "Two"}),
        on_second((tabs.BeginPage(1), *this), "on_second", {210, 60, 50, 20}),
        field((tabs.EndPages(), *this), "field", {10, 10, 100, 20}),
        button(*this, "button", {10, 40, 100, 22}, "Push"),
        status(*this, "status", {10, 70, 150, 15}, "Ready.") {}
  ~Sample() override { log += "gone "; }

  TabPanel tabs;
  TextField on_second, field;
  PushButton button;
  StaticText status;
  static std::string log;

 protected:
  void Event_Close() override { log += "close "; }
  void Event_Resized() override { log += "resized "; }
};
std::string Sample::log;

class ControlsTest : public ::testing::Test {
 protected:
  void SetUp() override { Sample::log.clear(); }
  void TearDown() override {
    Window::CloseAll();
    Settle();
  }
  static void Settle() {
    for (int turns = 0; turns < 5; ++turns) PumpEvents(0);
  }
  static QWidget* WidgetOf(const Control& control) { return control.Native().widget; }
  void Show() {
    window.Show();
    Settle();
  }

  Sample& window = Window::New<Sample>();
  std::string& log = Sample::log;
};

TEST_F(ControlsTest, KeysHaveTheCodesOfTheProgramAndCanBeKept) {
  std::vector<int> keys;
  window.field.KeyDown = [&](int key) { return keys.push_back(key), key == 'x'; };
  QWidget* field = WidgetOf(window.field);
  QTest::keyClicks(field, "xy");
  for (const auto key : {Qt::Key_Return, Qt::Key_Enter, Qt::Key_Delete, Qt::Key_Escape})
    QTest::keyClick(field, key);
  QTest::keyClick(field, Qt::Key_C, Qt::ControlModifier);  // whose text is character 3
  EXPECT_EQ(keys, (std::vector<int>{'x', 'y', 13, 3, 127, 27}));
  EXPECT_EQ(window.field.Text(), "y");
}

TEST_F(ControlsTest, AButtonIsPushedOnlyWhereAUserCould) {
  window.button.Action = [this] { log += "push "; };
  window.button.SetEnabled(false);
  window.button.Push();
  window.button.SetEnabled(true);
  window.button.SetVisible(false);
  window.button.Push();
  EXPECT_EQ(log, "");
  window.button.SetVisible(true);
  window.button.Push();
  Show();
  window.button.SetCancel(true);
  QTest::keyClick(WidgetOf(window.field), Qt::Key_Escape);
  EXPECT_EQ(log, "push push ");
}

TEST_F(ControlsTest, AControlOnATabLiesWhereTheWindowSaysAndShowsWithItsTab) {
  window.tabs.Change = [this] {
    log += "tab ";
    window.on_second.SetFocus();
  };
  Show();
  QWidget* widget = WidgetOf(window.on_second);
  EXPECT_FALSE(widget->isVisible());
  window.tabs.SetValue(1);
  window.tabs.SetValue(1);
  EXPECT_TRUE(widget->isVisible());
  EXPECT_TRUE(window.on_second.HasFocus());
  EXPECT_EQ(widget->mapTo(window.Native().content, QPoint(0, 0)), QPoint(210, 60));
  EXPECT_EQ(log, "tab ");
}

TEST_F(ControlsTest, TheWindowOfAClassIsSharedUntilItCloses) {
  EXPECT_EQ(&Window::Shared<Sample>(), &window);
  Sample& other = Window::New<Sample>();
  EXPECT_EQ(Window::IfOpen<Sample>(), &window);
  window.Close();
  window.Close();
  EXPECT_EQ(log, "close ");
  EXPECT_EQ(Window::IfOpen<Sample>(), &other);
  Settle();
  EXPECT_EQ(log, "close gone ");
}

TEST_F(ControlsTest, AWindowOutlivesTheHandlersThatRunInIt) {
  window.button.Action = [this] {
    CallSoon([this] { window.Close(); });
    Settle();
    log += "handler ends ";
  };
  window.button.Push();
  EXPECT_EQ(log, "close handler ends ");
  Settle();
  EXPECT_EQ(log, "close handler ends gone ");
}

TEST_F(ControlsTest, WhatAHandlerThrowsIsReportedAndTheWindowGoesOn) {
  SetFailureReport([this](const char* event, const char* what) {
    log += std::string(event) + ": " + what + " ";
  });
  window.button.Action = [] { throw std::runtime_error("no"); };
  window.button.Push();
  window.button.Action = [this] { log += "yes "; };
  window.button.Push();
  SetFailureReport(nullptr);
  EXPECT_EQ(log, "Action: no yes ");
}

TEST_F(ControlsTest, AClickCountsOnlyWhereItsPressWasTakenAndKeysClickToo) {
  QWidget* const status = WidgetOf(window.status);
  window.status.MouseUp = [this] { log += "up "; };
  for (const bool taken : {false, true}) {
    window.status.MouseDown = [taken] { return taken; };
    QTest::mouseClick(status, Qt::LeftButton);
    QTest::keyClick(status, Qt::Key_Space);
  }
  EXPECT_EQ(log, "up up ");
  Show();
  for (int tabs = 0; tabs < 10 && !status->hasFocus(); ++tabs)
    QTest::keyClick(window.Native().frame.get(), Qt::Key_Tab);
  EXPECT_TRUE(status->hasFocus());
  QAccessibleInterface* const link = QAccessible::queryAccessibleInterface(status);
  link->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
  EXPECT_EQ(log + FromQt(link->text(QAccessible::Name)), "up up up Ready.");
}

TEST_F(ControlsTest, ADropBringsTheFirstFileOnceTheDropIsOver) {
  QMimeData mime;
  mime.setUrls({QUrl("https://news.example/a.nzb"), QUrl::fromLocalFile("/tmp/\u00e4 b.nzb"),
                QUrl::fromLocalFile("/tmp/c.nzb")});
  const auto drop = [&] {
    QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(WidgetOf(window.button), &enter);
    QDropEvent event(QPointF(5, 5), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(WidgetOf(window.button), &event);
  };
  window.button.DropObject = [this](const DragItem& dropped) {
    log += dropped.item.NativePath() + " ";
  };
  drop();
  Settle();
  EXPECT_EQ(log, "");
  window.button.AcceptFileDrop("special/any");
  drop();
  EXPECT_EQ(log, "");
  Settle();
  EXPECT_EQ(log, "/tmp/\u00e4 b.nzb ");
}

TEST_F(ControlsTest, MenuItemsRunTheirHandlersAndTheEditItemsTheFocusedField) {
  MenuBar menu;
  menu.AddMenu("FileMenu", "&File");
  menu.AddItem("mDebugMode", "Debug Mode");
  menu.AddEditItem("EditCut", "Cu&t", "Cmd+X", "cut");
  menu.AddEditItem("EditClear", "Clear", "", "clear");
  menu.Bind("mDebugMode", [this] { return log += "debug ", false; });
  menu.Bind("mConvertExit", [] { return true; });
  window.SetMenuBar(menu);
  Show();
  EXPECT_EQ(menu.Find("mConvertExit"), nullptr);
  menu.Find("mDebugMode")->SetChecked(true);
  menu.Find("mDebugMode")->Choose();
  EXPECT_TRUE(menu.Find("mDebugMode")->Checked());
  window.field.SetText("cut me");
  window.field.SetSelection(0, 4);
  window.field.SetFocus();
  menu.Find("EditCut")->Choose();
  EXPECT_EQ(window.field.Text(), "me");
  menu.Find("EditClear")->Choose();
  EXPECT_EQ(window.field.Text(), "me");
  window.field.SetSelection(0, 1);
  menu.Find("EditClear")->Choose();
  EXPECT_EQ(window.field.Text(), "e");
  EXPECT_EQ(log, "debug ");
}

TEST(Look, EveryColourCanBeReadOnEveryBackground) {
  for (const QColor& background : {QColor(Qt::white), QColor(0x20, 0x20, 0x20)}) {
    for (const QColor& colour : {QColor(Qt::blue), QColor(Qt::red), QColor(0x80, 0x80, 0x80)}) {
      const QColor shown = Readable(colour, background);
      EXPECT_GT(std::abs(qGray(shown.rgb()) - qGray(background.rgb())), 60)
          << colour.name().toStdString() << " on " << background.name().toStdString();
    }
  }
  EXPECT_EQ(Readable(Qt::blue, Qt::white), QColor(Qt::blue));
}

}  // namespace
}  // namespace gravlin::testing
