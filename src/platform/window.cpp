// A window in the toolkit's frame; the list of open ones, and how they end.
#include "platform/window.h"

#include <QApplication>
#include <QCloseEvent>
#include <QKeyEvent>
#include <QMenuBar>
#include <QPixmap>
#include <QPushButton>
#include <QScreen>
#include <algorithm>
#include <tuple>

#include "platform/accessible.h"
#include "platform/application.h"
#include "platform/calls.h"
#include "platform/clock.h"
#include "platform/look.h"
#include "platform/menu.h"
#include "platform/native.h"

namespace gravlin {
namespace {

// Windows in the order in which they were made; closed ones stay until they are destroyed.  The
// list itself never is, because the toolkit ends before the process's static objects.
struct Registry {
  std::vector<std::unique_ptr<Window>> windows;
  bool sweep_pending = false;
};

Registry& Windows() {
  static auto* registry = new Registry;
  return *registry;
}

void Sweep() {
  Windows().sweep_pending = false;
  // Threads that work for a window continue while a quit waits for background writes; the
  // application destroys the windows after it has ended the threads.
  if (!Application::Quitting()) DestroyClosedWindows();
}

class Content : public QWidget {
 public:
  Content(WindowNative& native, QWidget* parent) : QWidget(parent), native_(native) {}

 protected:
  void resizeEvent(QResizeEvent*) override { native_.ContentResized(); }

 private:
  WindowNative& native_;
};

class WindowFrame : public QWidget {
 public:
  explicit WindowFrame(WindowNative& native) : native_(native) {}

 protected:
  void closeEvent(QCloseEvent* event) override {
    event->ignore();
    if (native_.style.quits)
      Application::Quit();
    else if (native_.style.close_box)
      native_.window.AskToClose();
  }
  void keyPressEvent(QKeyEvent* event) override {
    if (!native_.KeyPressed(event->key())) QWidget::keyPressEvent(event);
  }
  void resizeEvent(QResizeEvent*) override {
    const int top = native_.MenuHeight();
    if (native_.menu) native_.menu->setGeometry(0, 0, width(), top);
    native_.content->setGeometry(0, top, width(), height() - top);
  }

 private:
  WindowNative& native_;
};

Qt::WindowFlags FlagsOf(const WindowStyle& style) {
  Qt::WindowFlags flags = style.frame == Frame::kMovableModal ? Qt::Dialog : Qt::Window;
  flags |= Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowSystemMenuHint;
  if (style.close_box) flags |= Qt::WindowCloseButtonHint;
  if (style.minimize_box && style.frame == Frame::kDocument) flags |= Qt::WindowMinimizeButtonHint;
  if (style.resizable && style.frame == Frame::kDocument) flags |= Qt::WindowMaximizeButtonHint;
  return flags;
}

}  // namespace

WindowNative::WindowNative(Window& owner, const WindowStyle& made)
    : window(owner), style(made), width(made.width), height(made.height) {
  SetUpLook();
  frame = std::make_unique<WindowFrame>(*this);
  frame->setWindowFlags(FlagsOf(style));
  frame->setWindowTitle(ToQt(style.title));
  const bool modal = style.frame == Frame::kMovableModal;
  SetRole(*frame, modal ? QAccessible::Dialog : QAccessible::Window);
  if (modal) frame->setWindowModality(Qt::ApplicationModal);
  content = new Content(*this, frame.get());
  ApplyLimits();
  const QScreen* screen = QApplication::primaryScreen();
  if (style.centred && screen) {
    const QRect room = screen->availableGeometry();
    frame->move(room.x() + std::max(0, (room.width() - width) / 2),
                room.y() + std::max(0, (room.height() - height) / 2));
  }
}

WindowNative::~WindowNative() = default;

int WindowNative::MenuHeight() const { return menu ? menu->sizeHint().height() : 0; }

void WindowNative::ApplyLimits() {
  const int extra = MenuHeight();
  // The program itself may set a size outside these limits.
  frame->setMinimumSize(0, 0);
  frame->setMaximumSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX);
  frame->resize(width, height + extra);
  content->setGeometry(0, extra, width, height);
  if (style.resizable) {
    frame->setMinimumSize(style.min_width, style.min_height + extra);
    frame->setMaximumSize(style.max_width, style.max_height + extra);
  } else {
    frame->setFixedSize(width, height + extra);
  }
}

void WindowNative::Resize(int new_width, int new_height) {
  if (new_width == width && new_height == height) return;
  const int wider = new_width - width, higher = new_height - height;
  width = new_width;
  height = new_height;
  for (Control* control : window.Controls()) {
    ControlNative& native = control->Native();
    const Anchors& to = native.anchors;
    if (to.right && to.left) native.bounds.width += wider;
    if (to.right && !to.left) native.bounds.left += wider;
    if (to.bottom && to.top) native.bounds.height += higher;
    if (to.bottom && !to.top) native.bounds.top += higher;
    native.Place();
  }
}

void WindowNative::ContentResized() {
  // Sizes that the program itself gave are already in force.
  if (content->width() == width && content->height() == height) return;
  Resize(content->width(), content->height());
  window.RaiseResized();
}

bool WindowNative::KeyPressed(int key) {
  if (key != Qt::Key_Escape || !cancel_button || !cancel_button->isVisible()) return false;
  cancel_button->click();
  return true;
}

// The Tab key walks line by line, whatever the order in which the controls were made.
void WindowNative::SetTabOrder() {
  constexpr int kLine = 12;
  std::vector<std::tuple<int, int, int, QWidget*>> order;
  std::vector<QWidget*> pages;
  for (Control* control : window.Controls()) {
    const ControlNative& native = control->Native();
    if (native.widget->focusPolicy() == Qt::NoFocus) {
      if (!control->MouseDown) continue;
      native.widget->setFocusPolicy(Qt::TabFocus);
      native.widget->setAccessibleDescription("Link. Press Enter to open it.");
      SetRole(*native.widget, QAccessible::Link);
    }
    auto page_at = std::find(pages.begin(), pages.end(), native.page);
    if (page_at == pages.end()) page_at = pages.insert(pages.end(), native.page);
    const Rect& at = native.bounds;
    order.emplace_back(static_cast<int>(page_at - pages.begin()), at.top / kLine, at.left,
                       native.widget);
  }
  std::stable_sort(order.begin(), order.end());
  for (std::size_t i = 1; i < order.size(); ++i)
    QWidget::setTabOrder(std::get<3>(order[i - 1]), std::get<3>(order[i]));
}

Window::Window(const WindowStyle& style) : native_(std::make_unique<WindowNative>(*this, style)) {}

Window::~Window() = default;

Window* Window::FindOpen(const std::type_info& type) {
  for (const auto& window : Windows().windows) {
    const Window& open = *window;
    if (!open.native_->closed && typeid(open) == type) return window.get();
  }
  return nullptr;
}

void Window::Adopt(std::unique_ptr<Window> window) {
  Window& opened = *window;
  Windows().windows.push_back(std::move(window));
  Dispatch("Open", [&opened] { opened.Event_Open(); });
}

std::vector<Window*> Window::All() {
  std::vector<Window*> all;
  for (const auto& window : Windows().windows)
    if (!window->native_->closed) all.push_back(window.get());
  return all;
}

void Window::CloseAll() {
  std::vector<Window*> all = All();
  for (auto window = all.rbegin(); window != all.rend(); ++window) (*window)->Close();
}

void Window::Show() {
  if (native_->closed) return;
  QWidget& frame = *native_->frame;
  if (!std::exchange(native_->shown_before, true)) native_->SetTabOrder();
  frame.setWindowState(frame.windowState() & ~Qt::WindowMinimized);
  frame.show();
  frame.raise();
  frame.activateWindow();
}

bool Window::Visible() const { return native_->frame->isVisible(); }

void Window::Close() {
  if (std::exchange(native_->closed, true)) return;
  Dispatch("Close", [this] { Event_Close(); });
  native_->frame->hide();
  // A handler of the window, or of what belongs to it, may be waiting in a nested event loop.
  if (!std::exchange(Windows().sweep_pending, true)) CallWhenFree(Sweep);
}

// Question and close are one handler, so that a window that is closed while a box is open lives
// until then.
void Window::AskToClose() {
  Dispatch("CancelClose", [this] {
    if (!Event_CancelClose()) Close();
  });
}

void DestroyClosedWindows() {
  std::vector<std::unique_ptr<Window>> gone;
  auto& windows = Windows().windows;
  for (auto& window : windows)
    if (window->Native().closed) gone.push_back(std::move(window));
  std::erase(windows, nullptr);
}

std::string Window::Title() const { return FromQt(native_->frame->windowTitle()); }
void Window::SetTitle(std::string_view title) { native_->frame->setWindowTitle(ToQt(title)); }

int Window::Left() const { return native_->frame->geometry().x(); }
int Window::Top() const { return native_->frame->geometry().y(); }
int Window::Width() const { return native_->width; }
int Window::Height() const { return native_->height; }
int Window::MinWidth() const { return native_->style.min_width; }
int Window::MinHeight() const { return native_->style.min_height; }

void Window::SetLeft(int left) {
  QRect place = native_->frame->geometry();
  place.moveLeft(left);
  native_->frame->setGeometry(place);
}

void Window::SetTop(int top) {
  QRect place = native_->frame->geometry();
  place.moveTop(top);
  native_->frame->setGeometry(place);
}

void Window::SetWidth(int width) {
  if (width == Width()) return;
  native_->Resize(width, Height());
  native_->ApplyLimits();
  RaiseResized();
}

void Window::SetHeight(int height) {
  if (height == Height()) return;
  native_->Resize(Width(), height);
  native_->ApplyLimits();
  RaiseResized();
}

void Window::RaiseResized() {
  Dispatch("Resized", [this] { Event_Resized(); });
}

void Window::BringIntoView() {
  constexpr int kTitleHeight = 24, kReach = 40;
  const QScreen* const holds = QApplication::screenAt(native_->frame->geometry().center());
  const QRect room = (holds ? holds : QApplication::primaryScreen())->availableGeometry();
  if (native_->style.resizable) {
    if (Width() > room.width()) SetWidth(std::max(room.width(), MinWidth()));
    if (Height() > room.height() - kTitleHeight)
      SetHeight(std::max(room.height() - kTitleHeight, MinHeight()));
  }
  const QRect place = native_->frame->geometry();
  const QRect title(place.x(), place.y() - kTitleHeight, place.width(), kTitleHeight);
  for (const QScreen* screen : QApplication::screens()) {
    const QRect seen = screen->availableGeometry().intersected(title);
    if (seen.width() >= std::min(kReach, title.width()) && seen.height() >= kTitleHeight / 2)
      return;
  }
  SetLeft(std::clamp(place.x(), room.left(), std::max(room.left(), room.right() - place.width())));
  SetTop(std::clamp(place.y(), room.top() + kTitleHeight,
                    std::max(room.top() + kTitleHeight, room.bottom() - place.height())));
}

void Window::Refresh() { native_->content->update(); }

void Window::SetMenuBar(MenuBar& menu) {
  if (native_->menu) return;
  native_->menu = new QMenuBar(native_->frame.get());
  native_->menu->setNativeMenuBar(false);
  FillMenuBar(menu, *native_->menu);
  native_->menu->show();
  native_->ApplyLimits();
  native_->menu->setGeometry(0, 0, Width(), native_->MenuHeight());
}

bool Window::SavePicture(const FolderItem& file) const {
  for (Control* control : controls_)
    if (control->Native().show_pending) control->Native().ShowNow();
  return native_->frame->grab().save(ToQt(file.NativePath()), "PNG");
}

}  // namespace gravlin
