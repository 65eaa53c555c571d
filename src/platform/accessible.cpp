// The toolkit takes our windows for containers, lines for frames and links for texts.
#include "platform/accessible.h"

#include <QAccessibleWidget>
#include <QApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QVariant>

namespace gravlin {
namespace {

constexpr char kRole[] = "gravlin_role";

class Link : public QAccessibleWidget {
 public:
  explicit Link(QWidget* widget) : QAccessibleWidget(widget, QAccessible::Link) {}

  QString text(QAccessible::Text kind) const override {
    const auto* label = qobject_cast<const QLabel*>(widget());
    return kind == QAccessible::Name && label ? label->text() : QAccessibleWidget::text(kind);
  }
  QStringList actionNames() const override {
    return QStringList(pressAction()) + QAccessibleWidget::actionNames();
  }
  // As the keyboard does it.
  void doAction(const QString& action) override {
    if (action != pressAction()) {
      QAccessibleWidget::doAction(action);
      return;
    }
    QKeyEvent press(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
    QApplication::sendEvent(widget(), &press);
  }
};

QAccessibleInterface* Describe(const QString&, QObject* object) {
  const QVariant role = object ? object->property(kRole) : QVariant();
  if (!role.isValid()) return nullptr;
  auto* const widget = static_cast<QWidget*>(object);
  const auto given = static_cast<QAccessible::Role>(role.toInt());
  if (given == QAccessible::Link) return new Link(widget);
  return new QAccessibleWidget(widget, given);
}

}  // namespace

void SetRole(QWidget& widget, QAccessible::Role role) {
  QAccessible::installFactory(&Describe);  // once
  widget.setProperty(kRole, static_cast<int>(role));
  // One that was made before, as for a change of the text, has the old role.
  if (QAccessibleInterface* made = QAccessible::queryAccessibleInterface(&widget))
    QAccessible::deleteAccessibleInterface(QAccessible::uniqueId(made));
}

}  // namespace gravlin
