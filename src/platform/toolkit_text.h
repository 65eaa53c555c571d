// Texts of the program as texts of the toolkit, and back.  Private to platform/, and to tests that
// click and type.
#pragma once

#include <QString>
#include <string>
#include <string_view>

namespace gravlin {

inline QString ToQt(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}
inline std::string FromQt(const QString& text) { return text.toStdString(); }
// A caption in which "&" is an ordinary character, and back.
QString ToCaption(std::string_view text);
std::string FromCaption(const QString& caption);
// A text from outside without what would reverse the rest or control the screen.
QString Shown(std::string_view text);
// The same for several lines.  The program's line ends are CR, the toolkit's LF.
QString ToLines(std::string_view text);
// A text for a tool tip: shown as it is, even if it looks like markup, and cut to what can be read.
QString AsToolTip(const QString& text);

}  // namespace gravlin
