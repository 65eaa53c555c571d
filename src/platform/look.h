// Fonts and colours of the interface.  Private to platform/.
#pragma once

#include <QColor>
#include <QFont>

#include "platform/controls.h"

class QWidget;

namespace gravlin {

// Gives the toolkit the interface font and style; the first window calls it.
void SetUpLook();
// The interface font in a size of the design; 0 is its own size.
QFont InterfaceFont(int design_size = 0, bool bold = false);
// Reads from the desktop's own font how much larger than usual the user wants texts.
void FollowDesktopFont(const QFont& font);
// Pixels that a font of that size of the design may be larger by; 0 on most desktops.
int LargerBy(int design_size = 0);
// The colour itself if it can be read on the background, otherwise the nearest shade of it that
// can.
QColor Readable(const QColor& colour, const QColor& background);
inline QColor ToQt(Color colour) { return QColor(colour.red, colour.green, colour.blue); }

}  // namespace gravlin
