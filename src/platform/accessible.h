// What assistive tools get of a widget.  Private to platform/.
#pragma once

#include <QAccessible>

class QWidget;

namespace gravlin {

// Gives the widget a role that the toolkit does not see by itself: a window, a dialog, a separator,
// or a link, which can then be pressed.
void SetRole(QWidget& widget, QAccessible::Role role);

}  // namespace gravlin
