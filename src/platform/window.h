// A window that holds controls and is reached by its class: one shared instance, or a new one each
// time.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <typeinfo>
#include <vector>

namespace gravlin {

class Control;
class FolderItem;
class MenuBar;
struct WindowNative;

enum class Frame { kDocument, kMovableModal };

// How a window is made; what is not named keeps its default.
struct WindowStyle {
  std::string title;
  int width = 300, height = 200;
  int min_width = 0, min_height = 0;
  int max_width = 32000, max_height = 32000;
  Frame frame = Frame::kDocument;
  bool resizable = false;
  bool close_box = true;
  bool quits = false;  // a window manager that wants it closed ends the program
  bool minimize_box = true;
  bool centred = true;
};

class Window {
 public:
  virtual ~Window();
  Window(const Window&) = delete;
  Window& operator=(const Window&) = delete;

  // The open window of class W, or a new one.  A new one has had its Event_Open and is still
  // hidden.
  template <class W>
  static W& Shared() {
    if (Window* open = FindOpen(typeid(W))) return static_cast<W&>(*open);
    return New<W>();
  }
  // A further window of class W; it lives until it is closed.
  template <class W>
  static W& New() {
    auto made = std::make_unique<W>();
    W& window = *made;
    Adopt(std::move(made));
    return window;
  }
  // The open window of class W, or nullptr.
  template <class W>
  static W* IfOpen() {
    return static_cast<W*>(FindOpen(typeid(W)));
  }
  // All open windows, oldest first.
  static std::vector<Window*> All();
  // Closes every window, the newest first, as at the end of the program.
  static void CloseAll();

  // Shows the window, or raises it.
  void Show();
  bool Visible() const;
  // Raises Event_Close and hides the window; the object is destroyed when the event loop is next
  // free.
  void Close();
  // What the user's close does: Close, unless Event_CancelClose refuses.
  void AskToClose();

  std::string Title() const;
  void SetTitle(std::string_view title);
  // Place of the content on the screen, without the frame.
  int Left() const;
  int Top() const;
  int Width() const;
  int Height() const;
  void SetLeft(int left);
  void SetTop(int top);
  void SetWidth(int width);
  void SetHeight(int height);
  int MinWidth() const;
  int MinHeight() const;
  // Makes a window that is larger than the screen smaller, and moves it so that its title can be
  // reached, if it is outside all screens.
  void BringIntoView();
  void Refresh();
  void SetMenuBar(MenuBar& menu);

  // In the order in which they were made.
  const std::vector<Control*>& Controls() const { return controls_; }
  // Saves a picture of the content as a PNG file.
  bool SavePicture(const FolderItem& file) const;
  WindowNative& Native() const { return *native_; }

 protected:
  explicit Window(const WindowStyle& style);
  virtual void Event_Open() {}
  // True keeps the window open.
  virtual bool Event_CancelClose() { return false; }
  virtual void Event_Close() {}
  virtual void Event_Resized() {}

 private:
  friend class Control;
  friend struct WindowNative;
  static Window* FindOpen(const std::type_info& type);
  static void Adopt(std::unique_ptr<Window> window);
  void RaiseResized();
  std::unique_ptr<WindowNative> native_;
  std::vector<Control*> controls_;
};

// Destroys the windows that were closed, without waiting for the event loop.
void DestroyClosedWindows();

}  // namespace gravlin
