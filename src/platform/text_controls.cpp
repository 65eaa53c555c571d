// Labels, fields and text areas, with the menu of their right button.
#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QHelpEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPainter>
#include <QPlainTextEdit>
#include <QScrollBar>
#include <QTextBlock>
#include <QToolTip>
#include <QValidator>
#include <algorithm>
#include <optional>

#include "platform/controls.h"
#include "platform/look.h"
#include "platform/native.h"
#include "platform/rectangle_widget.h"

namespace gravlin {
namespace {

// A label that can be read on any ground.  A single line that is too long gets an ellipsis in its
// middle, because both the name at its start and the result at its end matter.
class Label : public QLabel {
 public:
  using QLabel::QLabel;
  static constexpr int kInset = 3;
  std::optional<QColor> colour;

  int Flags() const { return static_cast<int>(alignment()) | (wordWrap() ? Qt::TextWordWrap : 0); }

 protected:
  bool event(QEvent* event) override {
    if (event->type() != QEvent::ToolTip || wordWrap() || !toolTip().isEmpty() ||
        fontMetrics().horizontalAdvance(text()) <= width())
      return QLabel::event(event);
    QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(), AsToolTip(text()), this);
    return true;
  }

  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    const RectangleWidget* ground = Ground();
    // A rectangle is filled with the same colour in every theme.
    const QColor plain = ground ? QColor(Qt::black) : palette().color(QPalette::WindowText);
    const QColor wanted = colour.value_or(plain);
    painter.setPen(Readable(wanted, ground ? ground->fill : palette().color(QPalette::Window)));
    QFont marked = font();
    marked.setUnderline(hasFocus());  // a link that the keyboard has reached
    painter.setFont(marked);
    QString shown = text();
    // A server's line includes its line end.
    if (!wordWrap()) shown = shown.trimmed().replace('\n', ' ');
    if (!wordWrap() && fontMetrics().horizontalAdvance(shown) > width()) {
      marked.setStretch(marked.stretch() * 85 / 100);
      painter.setFont(marked);
      shown = painter.fontMetrics().elidedText(shown, Qt::ElideMiddle, width());
    }
    // The readouts would be a little too high in their rectangles.
    const int low = ground ? (Flags() & ~Qt::AlignVertical_Mask) | Qt::AlignBottom : Flags();
    // A label may directly follow a field.
    const bool inset = alignment() & Qt::AlignLeft && !wordWrap() &&
                       painter.fontMetrics().horizontalAdvance(shown) + kInset <= width();
    painter.drawText(rect().adjusted(inset ? kInset : 0, 0, 0, 0), low, shown);
  }

 private:
  // The rectangle under the text.
  const RectangleWidget* Ground() const {
    const RectangleWidget* ground = nullptr;
    for (const QObject* sibling : parentWidget()->children()) {
      if (sibling == this) break;
      const auto* rectangle = dynamic_cast<const RectangleWidget*>(sibling);
      if (rectangle && rectangle->geometry().contains(geometry().center())) ground = rectangle;
    }
    return ground;
  }
};

struct LabelNative : ControlNative {
  explicit LabelNative(QWidget* parent) : ControlNative(new Label(parent)) {
    Widget().setTextFormat(Qt::PlainText);
    Widget().setAlignment(Qt::AlignLeft | Qt::AlignTop);
  }
  Label& Widget() { return *static_cast<Label*>(widget.data()); }
  void ShowNow() override { Widget().setText(ToLines(text)); }
  bool HasRoomFor(const QFont& font) const override {
    const Label& label = *static_cast<const Label*>(widget.data());
    // The rectangles of headings overlap a little with what follows.
    const bool larger = font.pixelSize() > InterfaceFont(design_size).pixelSize();
    const int spare = larger ? 5 : 0;
    const QRect room(0, 0, bounds.width, bounds.height - spare);
    const QRect needed = QFontMetrics(font).boundingRect(room, label.Flags(), ToLines(text));
    return needed.width() <= room.width() && needed.height() <= room.height();
  }
  void Refresh() override {}  // a new text is marked already

  std::string text;
};

LabelNative& LabelOf(const Control& control) { return static_cast<LabelNative&>(control.Native()); }

template <class Editor>
void ShowContextualMenu(Editor& editor, const QPoint& at) {
  auto* menu = new QMenu(&editor);
  menu->setAttribute(Qt::WA_DeleteOnClose);
  menu->addAction("Cut", &editor, &Editor::cut);
  menu->addAction("Copy", &editor, &Editor::copy);
  menu->addAction("Paste", &editor, &Editor::paste);
  menu->popup(at);
}

// The toolkit looks for a word's border from the beginning of a line again for each row that it
// wraps it into: 400,000 characters without a blank, as a server that floods the console sends
// them, take 23 s.  Wrapped at any character they take 0.3 s.
void BoundLayout(QPlainTextEdit& area, const QString& added) {
  constexpr qsizetype kWordWrapped = 10'000;  // characters in a line
  for (qsizetype from = 0, end; from < added.size(); from = end + 1) {
    end = added.indexOf('\n', from);
    if (end < 0) end = added.size();
    if (end - from > kWordWrapped) area.setWordWrapMode(QTextOption::WrapAnywhere);
  }
}

// Pasted text may contain line ends; in a command or a password they would be sent.
class OneLine : public QValidator {
 public:
  using QValidator::QValidator;
  State validate(QString& input, int& position) const override {
    for (const QChar end : {u'\r', u'\n'}) {
      position -= static_cast<int>(input.left(position).count(end));
      input.remove(end);
    }
    return Acceptable;
  }
};

class LineEdit : public QLineEdit {
 public:
  explicit LineEdit(QWidget* parent) : QLineEdit(parent) { setValidator(new OneLine(this)); }

 protected:
  void contextMenuEvent(QContextMenuEvent* event) override {
    setFocus(Qt::MouseFocusReason);
    ShowContextualMenu(*this, event->globalPos());
  }
};

class AreaEdit : public QPlainTextEdit {
 public:
  using QPlainTextEdit::QPlainTextEdit;

 protected:
  void contextMenuEvent(QContextMenuEvent* event) override {
    setFocus(Qt::MouseFocusReason);
    ShowContextualMenu(*this, event->globalPos());
  }
};

QLineEdit& LineOf(const Control& control) {
  return *static_cast<QLineEdit*>(control.Native().widget.data());
}

QPlainTextEdit& AreaOf(const Control& control) {
  return *static_cast<QPlainTextEdit*>(control.Native().widget.data());
}

}  // namespace

StaticText::StaticText(Window& window, std::string_view name, const Rect& bounds,
                       std::string_view text)
    : Control(std::make_unique<LabelNative>(ParentFor(window)), window, name, bounds) {
  LabelNative& label = LabelOf(*this);
  SetMultiline(bounds.height >= 2 * QFontMetrics(InterfaceFont()).lineSpacing());
  label.text = text;
  label.ShowNow();
  label.ChooseFont();
}

std::string StaticText::Text() const { return LabelOf(*this).text; }

void StaticText::SetText(std::string_view text) {
  LabelNative& label = LabelOf(*this);
  if (label.text == text) return;
  label.text = text;
  // A line that once had to be smaller stays smaller: a status that changes its size would flicker.
  if (LargerBy() > 0 && !label.HasRoomFor(label.Widget().font())) label.ChooseFont();
  label.ShowSoon();
  Raise("TextChange", TextChange);
}

void StaticText::SetAlign(Align align) {
  Label& label = LabelOf(*this).Widget();
  const Qt::Alignment across = align == Align::kLeft     ? Qt::AlignLeft
                               : align == Align::kCentre ? Qt::AlignHCenter
                                                         : Qt::AlignRight;
  label.setAlignment(across | (label.wordWrap() ? Qt::AlignTop : Qt::AlignVCenter));
}

void StaticText::SetTextColor(Color color) {
  LabelOf(*this).Widget().colour = ToQt(color);
  native_->widget->update();
}

void StaticText::SetMultiline(bool multiline) {
  LabelOf(*this).Widget().setWordWrap(multiline);
  if (LargerBy() > 0) native_->ChooseFont();
}

void StaticText::SetLabels(const Control& field) {
  LabelOf(*this).Widget().setBuddy(field.Native().widget);
}

bool StaticText::TextFits() const {
  const LabelNative& native = LabelOf(*this);
  return native.HasRoomFor(native.widget->font());
}

TextField::TextField(Window& window, std::string_view name, const Rect& bounds)
    : Control(std::make_unique<ControlNative>(new LineEdit(ParentFor(window))), window, name,
              bounds) {
  QLineEdit& line = LineOf(*this);
  QObject::connect(&line, &QLineEdit::textChanged, [this] { Raise("TextChange", TextChange); });
  native_->key_down = [this](int key) { return Ask("KeyDown", KeyDown, false, key); };
}

std::string TextField::Text() const { return FromQt(LineOf(*this).text()); }
void TextField::SetText(std::string_view text) { LineOf(*this).setText(ToQt(text)); }
int TextField::SelLength() const { return LineOf(*this).selectionLength(); }
void TextField::SetSelection(int start, int length) { LineOf(*this).setSelection(start, length); }

TextArea::TextArea(Window& window, std::string_view name, const Rect& bounds)
    : Control(std::make_unique<ControlNative>(new AreaEdit(ParentFor(window))), window, name,
              bounds) {
  QPlainTextEdit& area = AreaOf(*this);
  area.setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
  area.setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  area.setTabChangesFocus(true);
}

std::string TextArea::Text() const {
  return FromQt(AreaOf(*this).toPlainText().replace('\n', '\r'));
}

void TextArea::SetText(std::string_view text) {
  const QString lines = ToLines(text);
  BoundLayout(AreaOf(*this), lines);
  if (lines != AreaOf(*this).toPlainText()) AreaOf(*this).setPlainText(lines);
}

void TextArea::AppendText(std::string_view text) {
  const QString lines = ToLines(text);
  BoundLayout(AreaOf(*this), lines);
  QTextCursor end(AreaOf(*this).document());
  end.movePosition(QTextCursor::End);
  end.insertText(lines);
}

int TextArea::LineNumAtCharPos(int position) const {
  const QTextDocument& document = *AreaOf(*this).document();
  const int at = std::clamp(position, 0, document.characterCount() - 1);
  const QTextBlock block = document.findBlock(at);
  const QTextLayout* layout = block.layout();
  const QTextLine line = layout ? layout->lineForTextPosition(at - block.position()) : QTextLine();
  return block.firstLineNumber() + (line.isValid() ? line.lineNumber() : 0);
}

void TextArea::SetScrollPosition(int line) { AreaOf(*this).verticalScrollBar()->setValue(line); }

}  // namespace gravlin
