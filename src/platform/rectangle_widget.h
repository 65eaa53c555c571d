// The filled rectangle under the readouts.  Private to platform/.
#pragma once

#include <QColor>
#include <QWidget>

namespace gravlin {

class RectangleWidget : public QWidget {
 public:
  RectangleWidget(QWidget* parent, const QColor& filled_with)
      : QWidget(parent), fill(filled_with) {}
  const QColor fill;

 protected:
  void paintEvent(QPaintEvent*) override;
};

}  // namespace gravlin
