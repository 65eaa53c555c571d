// What the windows and controls keep of the toolkit.  Private to platform/, and to tests that click
// and type.
#pragma once

#include <QPointer>
#include <QString>
#include <QWidget>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/controls.h"
#include "platform/raise.h"
#include "platform/toolkit_text.h"
#include "platform/window.h"

class QMenuBar;
class QPushButton;

namespace gravlin {

// The key of a press as the program counts keys: 13 Return, 3 Enter, 8 Backspace, 127 Delete, 27
// Escape, 9 Tab, 28 to 31 the arrows, otherwise the character; 0 for a key without one.
int KeyCode(int key, Qt::KeyboardModifiers modifiers, const QString& text);

struct ControlNative {
  explicit ControlNative(QWidget* made) : widget(made) {}
  virtual ~ControlNative();
  ControlNative(const ControlNative&) = delete;
  ControlNative& operator=(const ControlNative&) = delete;

  QPointer<QWidget> widget;
  // In the window's co-ordinates; the widget's are smaller by `page_left` and `page_top`, those of
  // the page of its tab.
  Rect bounds;
  int page_left = 0, page_top = 0;
  QWidget* page = nullptr;
  Anchors anchors;
  bool visible = true;
  bool drops = false;
  // A text field asks this before a key reaches the widget.
  std::function<bool(int key)> key_down;

  void Place();
  // Sets the largest font, from the design's to the one that the user wants, in which the text
  // fits: rectangles stay the design's whatever the font.
  void ChooseFont();
  virtual bool HasRoomFor(const QFont& font) const;
  int design_size = 0;  // of the font; 0 is the design's own
  bool bold = false;
  // Shows the current state once the event loop is free, and at most once in a frame: articles may
  // come faster than anyone reads, and drawing takes as long as receiving.
  void ShowSoon();
  virtual void ShowNow() {}
  virtual void Refresh() { widget->update(); }
  bool show_pending = false;
  std::int64_t shown_frame = -1;
};

struct WindowNative {
  WindowNative(Window& owner, const WindowStyle& style);
  ~WindowNative();
  WindowNative(const WindowNative&) = delete;
  WindowNative& operator=(const WindowNative&) = delete;

  Window& window;
  WindowStyle style;
  std::unique_ptr<QWidget> frame;  // with the menu bar
  QWidget* content = nullptr;
  QMenuBar* menu = nullptr;
  int width, height;  // of the content
  bool shown_before = false;
  bool closed = false;
  // The page of a tab panel on which controls are made now; nullptr outside of pages.
  QWidget* page = nullptr;
  int page_left = 0, page_top = 0;
  QPointer<QPushButton> cancel_button;

  int MenuHeight() const;
  // Gives the frame the content's size and limits.
  void ApplyLimits();
  void Resize(int new_width, int new_height);
  void ContentResized();
  bool KeyPressed(int key);
  void SetTabOrder();
};

// The widget in which the next control of the window is made.
QWidget* ParentFor(Window& window);
// Adds the menus of `menu` to the bar of one window.
void FillMenuBar(MenuBar& menu, QMenuBar& bar);

}  // namespace gravlin
