// The controls of a window, in plain classes.  A property is Name() / SetName(); an event is a
// std::function member. Places and sizes are pixels from the window's content corner.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/folder_item.h"

namespace gravlin {

class Window;
class Control;
struct ControlNative;  // the toolkit's side; defined in platform/native.h

struct Color {
  unsigned char red = 0, green = 0, blue = 0;
  friend bool operator==(const Color&, const Color&) = default;
};

struct Rect {
  int left = 0, top = 0, width = 0, height = 0;
};

enum class Align { kLeft, kCentre, kRight };

// What is dropped on a control.
class DragItem {
 public:
  bool FolderItemAvailable() const { return !item.IsNil(); }
  FolderItem item;
};

// The edges of the window that a control keeps its distance to when the window is resized.  Two
// opposite edges make it grow.
struct Anchors {
  bool left = true, top = true, right = false, bottom = false;
};

class Control {
 public:
  virtual ~Control();
  Control(const Control&) = delete;
  Control& operator=(const Control&) = delete;

  // Name by which tests, the driver and assistive tools find the control ("pbStart").
  const std::string& Name() const { return name_; }

  int Left() const;
  int Top() const;
  int Width() const;
  int Height() const;
  void SetLeft(int left);
  void SetTop(int top);
  void SetWidth(int width);
  void SetHeight(int height);
  Rect Bounds() const;
  void SetBounds(const Rect& bounds);
  void SetAnchors(const Anchors& anchors);

  bool Visible() const;
  void SetVisible(bool visible);
  bool Enabled() const;
  void SetEnabled(bool enabled);
  void SetHelpTag(std::string_view text);
  // Shows the tag without the mouse, for as long as it takes to read, if the control can be seen in
  // the window that is in use.
  void ShowHelpTag();
  // Read out for a field whose label is a separate text; for menus see StaticText::SetLabels.
  void SetAccessibleName(std::string_view text);
  // Points of the design; 0 is the interface font's own size.
  void SetTextSize(int size);
  void SetBold(bool bold);
  void SetFocus();
  bool HasFocus() const;
  // Marks the control for repainting; it is painted when the event loop next runs.
  void Refresh();

  // Files may be dropped on the control; DropObject is then raised once for each drop.
  void AcceptFileDrop(std::string_view file_type);
  std::function<void(const DragItem&)> DropObject;
  // True from MouseDown makes MouseUp arrive.  A control with MouseDown can be reached and clicked
  // by the keyboard as well.
  std::function<bool()> MouseDown;
  std::function<void()> MouseUp;

  // True when the control's own text fits its rectangle in the font in force; for controls without
  // text, true.
  virtual bool TextFits() const { return true; }
  ControlNative& Native() const { return *native_; }

 protected:
  // The control is made inside `window`, or inside the page that TabPanel::BeginPage has chosen.
  Control(std::unique_ptr<ControlNative> native, Window& window, std::string_view name,
          const Rect& bounds);
  friend class Window;
  friend class TabPanel;
  std::unique_ptr<ControlNative> native_;
  Window& window_;
  std::string name_;
};

class StaticText : public Control {
 public:
  StaticText(Window& window, std::string_view name, const Rect& bounds, std::string_view text = {});
  std::string Text() const;
  // Raises TextChange when it changes the text.
  void SetText(std::string_view text);
  std::function<void()> TextChange;
  void SetAlign(Align align);
  void SetTextColor(Color color);
  // Several lines with word wrap; off by default for texts lower than two lines.
  void SetMultiline(bool multiline);
  // Assistive tools call the field by this text.  A menu has no other name than its choice.
  void SetLabels(const Control& field);
  bool TextFits() const override;
};

class PushButton : public Control {
 public:
  PushButton(Window& window, std::string_view name, const Rect& bounds, std::string_view caption);
  std::string Caption() const;
  void SetCaption(std::string_view caption);
  // Pressed by Escape, anywhere in the window.
  void SetCancel(bool is_cancel);
  std::function<void()> Action;
  // Presses the button as a user would: nothing happens when it is disabled or hidden.
  void Push();
  bool TextFits() const override;
};

// One line of text.
class TextField : public Control {
 public:
  TextField(Window& window, std::string_view name, const Rect& bounds);
  std::string Text() const;
  // Raises TextChange when it changes the text, as typing does.
  void SetText(std::string_view text);
  int SelLength() const;
  void SetSelection(int start, int length);
  std::function<void()> TextChange;
  // The key's character: 13 Return, 3 Enter, 127 Delete, 27 Escape.  True keeps the key from the
  // field.
  std::function<bool(int key)> KeyDown;
};

// Several lines of text with a vertical scroll bar.
class TextArea : public Control {
 public:
  TextArea(Window& window, std::string_view name, const Rect& bounds);
  // Line ends are CR in the text as the program sees it.
  std::string Text() const;
  void SetText(std::string_view text);
  void AppendText(std::string_view text);
  // Line (from 0) of the character at that offset, and the line at the top of the view.
  int LineNumAtCharPos(int position) const;
  void SetScrollPosition(int line);
};

class PopupMenu : public Control {
 public:
  PopupMenu(Window& window, std::string_view name, const Rect& bounds);
  void AddRow(std::string_view text);
  int ListCount() const;
  // -1 when nothing is selected.
  int ListIndex() const;
  // Raises Change when it changes the selection.
  void SetListIndex(int index);
  std::string Text() const;
  std::function<void()> Change;
  bool TextFits() const override;
};

class CheckBox : public Control {
 public:
  CheckBox(Window& window, std::string_view name, const Rect& bounds, std::string_view caption);
  bool Value() const;
  // Raises Action when it changes the value.
  void SetValue(bool value);
  std::function<void()> Action;
  bool TextFits() const override;
};

class ProgressBar : public Control {
 public:
  ProgressBar(Window& window, std::string_view name, const Rect& bounds, int maximum = 100);
  int Maximum() const;
  int Value() const;
  // Values outside 0 to Maximum are clamped.
  void SetValue(int value);
};

class GroupBox : public Control {
 public:
  GroupBox(Window& window, std::string_view name, const Rect& bounds, std::string_view caption);
  bool TextFits() const override;
};

class Rectangle : public Control {
 public:
  Rectangle(Window& window, std::string_view name, const Rect& bounds, Color fill);
};

class Separator : public Control {
 public:
  Separator(Window& window, std::string_view name, const Rect& bounds);
};

// A row of tabs.  Controls made between BeginPage(i) and EndPages are on page i; their places still
// count from the window's corner.
class TabPanel : public Control {
 public:
  TabPanel(Window& window, std::string_view name, const Rect& bounds,
           const std::vector<std::string>& tabs);
  void BeginPage(int index);
  void EndPages();
  int TabCount() const;
  int Value() const;
  // Raises Change when it changes the tab.
  void SetValue(int index);
  std::function<void()> Change;
  bool TextFits() const override;
};

}  // namespace gravlin
