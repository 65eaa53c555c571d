// Style, font, icon and readable colours, the same on every desktop.
#include "platform/look.h"

#include <QApplication>
#include <QFontInfo>
#include <QIcon>
#include <QPalette>
#include <QStyleFactory>
#include <algorithm>
#include <cmath>

// A library's resources must be loaded explicitly; the macro works only outside of namespaces.
static void BringInIcon() { Q_INIT_RESOURCE(gravlin); }

namespace gravlin {
namespace {

// The design's own size.  The font of this system is wider than the one that the windows were drawn
// with, so it is set one pixel smaller and a little narrower.
constexpr int kDesignSize = 13;
constexpr int kStretch = 93;

// Pixels of the largest font that a desktop has by default.
constexpr double kOrdinaryFont = 15;
constexpr double kLargest = 2;

double user_scale = 1;

double Luminance(const QColor& colour) {
  const auto linear = [](double part) {
    return part <= 0.03928 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
  };
  return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) +
         0.0722 * linear(colour.blueF());
}

double Contrast(const QColor& one, const QColor& other) {
  const double a = Luminance(one), b = Luminance(other);
  return (std::max(a, b) + 0.05) / (std::min(a, b) + 0.05);
}

}  // namespace

QFont InterfaceFont(int design_size, bool bold) {
  QFont font;
  font.setFamilies({"DejaVu Sans", "Liberation Sans", "Noto Sans", "sans-serif"});
  const int size = design_size > 0 ? design_size : kDesignSize;
  font.setPixelSize(size - (size < 16 ? 1 : 2));
  font.setStretch(kStretch);
  font.setBold(bold);
  return font;
}

void FollowDesktopFont(const QFont& font) {
  user_scale = std::clamp(QFontInfo(font).pixelSize() / kOrdinaryFont, 1.0, kLargest);
}

int LargerBy(int design_size) {
  return static_cast<int>((user_scale - 1) * InterfaceFont(design_size).pixelSize());
}

void SetUpLook() {
  static bool done = false;
  if (done) return;
  done = true;
  QApplication::setQuitOnLastWindowClosed(false);
  // The texts are English, and the places of the controls are fixed; mirrored, each full stop would
  // begin its line.
  QGuiApplication::setLayoutDirection(Qt::LeftToRight);
  QGuiApplication::setDesktopFileName("gravlin");
  BringInIcon();
  QIcon icon;
  for (const int size : {16, 32, 48, 128}) icon.addFile(QString(":/gravlin/%1.png").arg(size));
  QApplication::setWindowIcon(QIcon::fromTheme("gravlin", icon));
  // Sizes of the controls are the design's, so they are drawn in the one style that is the same
  // everywhere.
  const QPalette palette = QApplication::palette();
  QApplication::setStyle(QStyleFactory::create("Fusion"));
  if (palette.color(QPalette::Window).lightness() < 128) QApplication::setPalette(palette);
  FollowDesktopFont(QApplication::font());
  // For boxes, menus and tool tips, which take the room they need.
  QFont font = InterfaceFont();
  font.setPixelSize(font.pixelSize() + LargerBy());
  QApplication::setFont(font);
}

QColor Readable(const QColor& colour, const QColor& background) {
  constexpr double kEnough = 4.5;
  if (Contrast(colour, background) >= kEnough) return colour;
  const bool lighten = Luminance(background) < 0.18;
  const QColor end = lighten ? QColor(Qt::white) : QColor(Qt::black);
  for (int step = 1; step < 20; ++step) {
    const auto mix = [step](float from, float to) {
      return from + (to - from) * static_cast<float>(step) / 20;
    };
    const QColor mixed =
        QColor::fromRgbF(mix(colour.redF(), end.redF()), mix(colour.greenF(), end.greenF()),
                         mix(colour.blueF(), end.blueF()));
    if (Contrast(mixed, background) >= kEnough) return mixed;
  }
  return end;
}

}  // namespace gravlin
