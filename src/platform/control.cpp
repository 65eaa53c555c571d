// What all controls share: place, anchors, focus, clicks, drops.
#include <QAbstractScrollArea>
#include <QApplication>
#include <QComboBox>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFile>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMimeData>
#include <QMouseEvent>
#include <QPushButton>
#include <QTimer>
#include <QToolTip>
#include <QUrl>
#include <algorithm>

#include "platform/clock.h"
#include "platform/controls.h"
#include "platform/look.h"
#include "platform/native.h"

namespace gravlin {
namespace {

constexpr int kFrame = 40;  // milliseconds

}  // namespace

QString ToCaption(std::string_view text) { return ToQt(text).replace('&', "&&"); }
std::string FromCaption(const QString& caption) {
  return FromQt(QString(caption).replace("&&", "&"));
}

QString ToLines(std::string_view text) {
  return Shown(text).replace("\r\n", "\n").replace('\r', '\n');
}

QString Shown(std::string_view text) {
  QString shown = ToQt(text);
  for (QChar& c : shown) {
    const bool direction =
        (c >= QChar(0x202a) && c <= QChar(0x202e)) || (c >= QChar(0x2066) && c <= QChar(0x2069));
    const bool control = c < QChar(' ') && c != '\r' && c != '\n' && c != '\t';
    if (direction || control) c = QChar::ReplacementCharacter;
  }
  return shown;
}

QString AsToolTip(const QString& text) {
  constexpr int kLongest = 1000;
  if (text.isEmpty()) return {};
  return "<span>" + text.left(kLongest).toHtmlEscaped() + "</span>";
}

int KeyCode(int key, Qt::KeyboardModifiers modifiers, const QString& text) {
  switch (key) {
    case Qt::Key_Return:
      return modifiers & Qt::KeypadModifier ? 3 : 13;
    case Qt::Key_Enter:
      return 3;
    case Qt::Key_Escape:
      return 27;
    case Qt::Key_Delete:
      return 127;
    case Qt::Key_Backspace:
      return 8;
    case Qt::Key_Tab:
      return 9;
    case Qt::Key_Left:
      return 28;
    case Qt::Key_Right:
      return 29;
    case Qt::Key_Up:
      return 30;
    case Qt::Key_Down:
      return 31;
    default:
      // A command key's text is a control character, which would read as another key.
      return text.isEmpty() || modifiers & Qt::ControlModifier ? 0 : text.at(0).unicode();
  }
}

ControlNative::~ControlNative() {
  // The control's handlers are gone already.
  if (widget) widget->blockSignals(true);
  delete widget;
}

void ControlNative::Place() {
  if (!widget) return;
  widget->setGeometry(bounds.left - page_left, bounds.top - page_top, bounds.width, bounds.height);
  if (LargerBy() > 0) ChooseFont();
}

void ControlNative::ChooseFont() {
  QFont font = InterfaceFont(design_size, bold);
  const int least = font.pixelSize();
  for (int extra = LargerBy(design_size); extra > 0 && font.pixelSize() == least; --extra) {
    QFont larger = font;
    larger.setPixelSize(least + extra);
    if (HasRoomFor(larger)) font = larger;
  }
  if (widget->font() != font) widget->setFont(font);
}

bool ControlNative::HasRoomFor(const QFont& font) const {
  constexpr int kFrame = 6;  // around the line of a field
  const QFontMetrics metrics(font);
  if (const auto* button = qobject_cast<const QPushButton*>(widget.data()))
    return metrics.horizontalAdvance(button->text()) <= bounds.width - 8 &&
           metrics.height() <= bounds.height - 4;
  const QWidget* const made = widget.data();
  const bool holds_text = qobject_cast<const QLineEdit*>(made) ||
                          qobject_cast<const QComboBox*>(made) ||
                          qobject_cast<const QAbstractScrollArea*>(made);
  return holds_text && metrics.height() <= bounds.height - kFrame;
}

void ControlNative::ShowSoon() {
  if (std::exchange(show_pending, true) || !widget) return;
  const auto show = [this] {
    show_pending = false;
    shown_frame = TheClock().Milliseconds() / kFrame;
    ShowNow();
  };
  const std::int64_t now = TheClock().Milliseconds();
  // A clock that is set by hand may never advance.
  if (shown_frame == now / kFrame && TheClock().RunsByItself())
    QTimer::singleShot(static_cast<int>(kFrame - now % kFrame), widget, show);
  else
    QMetaObject::invokeMethod(widget, show, Qt::QueuedConnection);
}

namespace {

// Passes the mouse, the keys and dropped files of a widget to its control.
class Tap : public QObject {
 public:
  Tap(Control& control, QWidget* widget) : QObject(widget), control_(control) {
    widget->installEventFilter(this);
  }

 protected:
  bool eventFilter(QObject*, QEvent* event) override {
    switch (event->type()) {
      case QEvent::MouseButtonPress:
        return Pressed(*static_cast<QMouseEvent*>(event));
      case QEvent::MouseButtonRelease:
        return Released();
      case QEvent::Enter:
        if (control_.MouseDown) control_.Native().widget->setCursor(Qt::PointingHandCursor);
        return false;
      case QEvent::KeyPress:
        return LinkPressed(*static_cast<QKeyEvent*>(event)) ||
               KeyPressed(*static_cast<QKeyEvent*>(event));
      case QEvent::DragEnter:
      case QEvent::DragMove:
        return Dragged(*static_cast<QDropEvent*>(event));
      case QEvent::Drop:
        return Dropped(*static_cast<QDropEvent*>(event));
      default:
        return false;
    }
  }

 private:
  bool Pressed(const QMouseEvent& press) {
    if (!control_.MouseDown || press.button() != Qt::LeftButton) return false;
    down_ = Ask("MouseDown", control_.MouseDown, false);
    return down_;
  }

  bool Released() {
    if (!std::exchange(down_, false)) return false;
    Raise("MouseUp", control_.MouseUp);
    return true;
  }

  // A link that the mouse can click works by the keyboard too.
  bool LinkPressed(const QKeyEvent& press) {
    if (!control_.MouseDown || (press.key() != Qt::Key_Return && press.key() != Qt::Key_Enter &&
                                press.key() != Qt::Key_Space))
      return false;
    if (Ask("MouseDown", control_.MouseDown, false)) Raise("MouseUp", control_.MouseUp);
    return true;
  }

  bool KeyPressed(const QKeyEvent& press) {
    const int key = KeyCode(press.key(), press.modifiers(), press.text());
    const std::function<bool(int)>& handler = control_.Native().key_down;
    return handler && key != 0 && handler(key);
  }

  static QString FileIn(const QDropEvent& event) {
    for (const QUrl& url : event.mimeData()->urls())
      if (url.isLocalFile()) return url.toLocalFile();
    return {};
  }

  bool Dragged(QDropEvent& event) {
    if (!control_.Native().drops || FileIn(event).isEmpty()) return false;
    event.setDropAction(Qt::CopyAction);
    event.accept();
    return true;
  }

  bool Dropped(QDropEvent& event) {
    if (!Dragged(event)) return false;
    const DragItem item{FolderItem::FromPath(QFile::encodeName(FileIn(event)).toStdString())};
    // The other program waits for the drop to end, so the handler runs after it.
    QMetaObject::invokeMethod(
        this, [this, item] { Raise("DropObject", control_.DropObject, item); },
        Qt::QueuedConnection);
    return true;
  }

  Control& control_;
  bool down_ = false;
};

}  // namespace

QWidget* ParentFor(Window& window) {
  WindowNative& native = window.Native();
  return native.page ? native.page : native.content;
}

Control::Control(std::unique_ptr<ControlNative> native, Window& window, std::string_view name,
                 const Rect& bounds)
    : native_(std::move(native)), window_(window), name_(name) {
  window_.controls_.push_back(this);
  native_->page = window.Native().page;
  native_->page_left = window.Native().page_left;
  native_->page_top = window.Native().page_top;
  QWidget& widget = *native_->widget;
  widget.setObjectName(ToQt(name));
  widget.setFont(InterfaceFont());
  new Tap(*this, &widget);
  SetBounds(bounds);
  widget.show();
}

Control::~Control() { std::erase(window_.controls_, this); }

int Control::Left() const { return native_->bounds.left; }
int Control::Top() const { return native_->bounds.top; }
int Control::Width() const { return native_->bounds.width; }
int Control::Height() const { return native_->bounds.height; }
Rect Control::Bounds() const { return native_->bounds; }

void Control::SetLeft(int left) { SetBounds({left, Top(), Width(), Height()}); }
void Control::SetTop(int top) { SetBounds({Left(), top, Width(), Height()}); }
void Control::SetWidth(int width) { SetBounds({Left(), Top(), width, Height()}); }
void Control::SetHeight(int height) { SetBounds({Left(), Top(), Width(), height}); }

void Control::SetBounds(const Rect& bounds) {
  native_->bounds = bounds;
  native_->Place();
}

void Control::SetAnchors(const Anchors& anchors) { native_->anchors = anchors; }

bool Control::Visible() const { return native_->visible; }

void Control::SetVisible(bool visible) {
  if (std::exchange(native_->visible, visible) != visible) native_->widget->setVisible(visible);
}

bool Control::Enabled() const { return native_->widget->isEnabledTo(native_->widget->window()); }
void Control::SetEnabled(bool enabled) { native_->widget->setEnabled(enabled); }

void Control::SetHelpTag(std::string_view text) {
  native_->widget->setToolTip(AsToolTip(ToQt(text)));
  native_->widget->setAccessibleDescription(ToQt(text));
}

void Control::ShowHelpTag() {
  QWidget& widget = *native_->widget;
  if (widget.isVisible() && widget.isActiveWindow())
    QToolTip::showText(widget.mapToGlobal(QPoint(0, 0)), widget.toolTip(), &widget);
}

void Control::SetAccessibleName(std::string_view text) {
  native_->widget->setAccessibleName(ToQt(text));
}

void Control::SetTextSize(int size) {
  native_->design_size = size;
  native_->ChooseFont();
}

void Control::SetBold(bool bold) {
  native_->bold = bold;
  native_->ChooseFont();
}

void Control::SetFocus() { native_->widget->setFocus(Qt::OtherFocusReason); }

bool Control::HasFocus() const {
  return native_->widget->window()->focusWidget() == native_->widget;
}

void Control::Refresh() { native_->Refresh(); }

void Control::AcceptFileDrop(std::string_view) {
  native_->drops = true;
  native_->widget->setAcceptDrops(true);
}

}  // namespace gravlin
