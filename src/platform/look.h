// Fonts and colours of the interface.  Private to platform/.
#pragma once

#include <QColor>
#include <QFont>

#include "platform/controls.h"

class QWidget;

namespace gravlin {

// Gives the toolkit the interface font and style; the first window does it.
void SetUpLook();
// The interface font in a size of the design; 0 is its own size.
QFont InterfaceFont(int design_size = 0, bool bold = false);
// The colour itself where it can be read on the background, otherwise the nearest shade of it that
// can.
QColor Readable(const QColor& colour, const QColor& background);
inline QColor ToQt(Color colour) { return QColor(colour.red, colour.green, colour.blue); }

}  // namespace gravlin
