// Buttons, boxes, bars, menus and frames.
#include <QCheckBox>
#include <QComboBox>
#include <QFrame>
#include <QGroupBox>
#include <QPainter>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalBlocker>
#include <QStyle>
#include <QStyleOptionComboBox>
#include <QStyleOptionGroupBox>
#include <QWheelEvent>
#include <algorithm>

#include "platform/accessible.h"
#include "platform/controls.h"
#include "platform/look.h"
#include "platform/native.h"
#include "platform/rectangle_widget.h"

namespace gravlin {
namespace {

template <class Widget>
Widget& WidgetOf(const Control& control) {
  return *static_cast<Widget*>(control.Native().widget.data());
}

struct ProgressNative : ControlNative {
  explicit ProgressNative(QWidget* parent) : ControlNative(new QProgressBar(parent)) {}
  void ShowNow() override { static_cast<QProgressBar*>(widget.data())->setValue(value); }
  void Refresh() override {}  // a new value is marked already
  int value = 0;
};

// Ignores the wheel without focus: it would change, and store, the choice by accident.
struct ComboBox : QComboBox {
  explicit ComboBox(QWidget* parent) : QComboBox(parent) { setFocusPolicy(Qt::StrongFocus); }

 protected:
  void wheelEvent(QWheelEvent* event) override {
    if (hasFocus())
      QComboBox::wheelEvent(event);
    else
      event->ignore();
  }
};

int TextWidth(const QWidget& widget, std::string_view text) {
  return widget.fontMetrics().horizontalAdvance(ToQt(text));
}

// Pixels that a button's frame takes from its caption.
constexpr int kButtonFrame = 4;

}  // namespace

PushButton::PushButton(Window& window, std::string_view name, const Rect& bounds,
                       std::string_view caption)
    : Control(std::make_unique<ControlNative>(new QPushButton(ParentFor(window))), window, name,
              bounds) {
  auto& button = WidgetOf<QPushButton>(*this);
  button.setAutoDefault(true);
  QObject::connect(&button, &QPushButton::clicked, [this] { Raise("Action", Action); });
  SetCaption(caption);
}

std::string PushButton::Caption() const { return FromCaption(WidgetOf<QPushButton>(*this).text()); }

void PushButton::SetCaption(std::string_view caption) {
  WidgetOf<QPushButton>(*this).setText(ToCaption(caption));
  native_->ChooseFont();
}

void PushButton::SetCancel(bool is_cancel) {
  window_.Native().cancel_button = is_cancel ? &WidgetOf<QPushButton>(*this) : nullptr;
}

void PushButton::Push() {
  if (Visible() && Enabled()) WidgetOf<QPushButton>(*this).click();
}

bool PushButton::TextFits() const {
  const auto& button = WidgetOf<QPushButton>(*this);
  return TextWidth(button, Caption()) <= Width() - 2 * kButtonFrame &&
         button.fontMetrics().height() <= Height() - kButtonFrame;
}

PopupMenu::PopupMenu(Window& window, std::string_view name, const Rect& bounds)
    : Control(std::make_unique<ControlNative>(new ComboBox(ParentFor(window))), window, name,
              bounds) {
  QObject::connect(&WidgetOf<QComboBox>(*this), &QComboBox::currentIndexChanged,
                   [this] { Raise("Change", Change); });
}

void PopupMenu::AddRow(std::string_view text) {
  auto& box = WidgetOf<QComboBox>(*this);
  // The toolkit selects the first row by itself.
  const QSignalBlocker silence(box);
  const int selected = box.currentIndex();
  box.addItem(ToQt(text));
  box.setCurrentIndex(selected);
}

int PopupMenu::ListCount() const { return WidgetOf<QComboBox>(*this).count(); }
int PopupMenu::ListIndex() const { return WidgetOf<QComboBox>(*this).currentIndex(); }

void PopupMenu::SetListIndex(int index) {
  WidgetOf<QComboBox>(*this).setCurrentIndex(index < ListCount() ? std::max(index, -1) : -1);
}

std::string PopupMenu::Text() const { return FromQt(WidgetOf<QComboBox>(*this).currentText()); }

bool PopupMenu::TextFits() const {
  const auto& box = WidgetOf<QComboBox>(*this);
  QStyleOptionComboBox option;
  option.initFrom(&box);
  option.rect = QRect(0, 0, Width(), Height());
  const QRect room =
      box.style()->subControlRect(QStyle::CC_ComboBox, &option, QStyle::SC_ComboBoxEditField, &box);
  for (int row = 0; row < box.count(); ++row)
    if (TextWidth(box, FromQt(box.itemText(row))) > room.width()) return false;
  return true;
}

CheckBox::CheckBox(Window& window, std::string_view name, const Rect& bounds,
                   std::string_view caption)
    : Control(std::make_unique<ControlNative>(new QCheckBox(ParentFor(window))), window, name,
              bounds) {
  auto& box = WidgetOf<QCheckBox>(*this);
  box.setText(ToCaption(caption));
  QObject::connect(&box, &QCheckBox::toggled, [this] { Raise("Action", Action); });
}

bool CheckBox::Value() const { return WidgetOf<QCheckBox>(*this).isChecked(); }
void CheckBox::SetValue(bool value) { WidgetOf<QCheckBox>(*this).setChecked(value); }

bool CheckBox::TextFits() const {
  const QSize needed = WidgetOf<QCheckBox>(*this).sizeHint();
  return needed.width() <= Width() && needed.height() <= Height();
}

ProgressBar::ProgressBar(Window& window, std::string_view name, const Rect& bounds, int maximum)
    : Control(std::make_unique<ProgressNative>(ParentFor(window)), window, name, bounds) {
  auto& bar = WidgetOf<QProgressBar>(*this);
  bar.setTextVisible(false);
  bar.setRange(0, maximum);
  bar.setValue(0);
}

int ProgressBar::Maximum() const { return WidgetOf<QProgressBar>(*this).maximum(); }
int ProgressBar::Value() const { return static_cast<ProgressNative&>(*native_).value; }

void ProgressBar::SetValue(int value) {
  auto& native = static_cast<ProgressNative&>(*native_);
  const int cut = std::clamp(value, 0, Maximum());
  if (std::exchange(native.value, cut) != cut) native.ShowSoon();
}

GroupBox::GroupBox(Window& window, std::string_view name, const Rect& bounds,
                   std::string_view caption)
    : Control(std::make_unique<ControlNative>(new QGroupBox(ParentFor(window))), window, name,
              bounds) {
  WidgetOf<QGroupBox>(*this).setTitle(ToCaption(caption));
}

bool GroupBox::TextFits() const {
  const auto& box = WidgetOf<QGroupBox>(*this);
  return TextWidth(box, FromCaption(box.title())) <= Width() - 20;
}

void RectangleWidget::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.fillRect(rect(), fill);
  painter.setPen(fill.darker(160));
  painter.drawRect(rect().adjusted(0, 0, -1, -1));
}

Rectangle::Rectangle(Window& window, std::string_view name, const Rect& bounds, Color fill)
    : Control(std::make_unique<ControlNative>(new RectangleWidget(ParentFor(window), ToQt(fill))),
              window, name, bounds) {}

Separator::Separator(Window& window, std::string_view name, const Rect& bounds)
    : Control(std::make_unique<ControlNative>(new QFrame(ParentFor(window))), window, name,
              bounds) {
  auto& line = WidgetOf<QFrame>(*this);
  line.setFrameShape(bounds.width >= bounds.height ? QFrame::HLine : QFrame::VLine);
  line.setFrameShadow(QFrame::Sunken);
  SetRole(line, QAccessible::Separator);
}

}  // namespace gravlin
