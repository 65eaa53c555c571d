// The tabs, and the pages that controls are made on.
#include <QEvent>
#include <QPainter>
#include <QStyle>
#include <QStyleOptionTabWidgetFrame>
#include <QTabBar>
#include <vector>

#include "platform/controls.h"
#include "platform/native.h"

namespace gravlin {
namespace {

// The tabs are above the pages, and each page covers the whole panel, so that the place of a page
// is known before anything is shown and does not depend on the height of a tab.
class Panel : public QWidget {
 public:
  Panel(QWidget* parent, const std::vector<std::string>& tabs) : QWidget(parent) {
    for (const std::string& tab : tabs) {
      pages.push_back(new QWidget(this));
      pages.back()->setVisible(pages.size() == 1);
      bar.addTab(ToCaption(tab));
    }
    bar.setExpanding(false);
    bar.setDrawBase(false);
    bar.setUsesScrollButtons(false);
    bar.raise();
    bar.show();
  }

  QTabBar bar{this};
  std::vector<QWidget*> pages;

  void Place() {
    for (QWidget* page : pages) page->setGeometry(rect());
    const QSize size = bar.sizeHint();
    bar.setGeometry((width() - size.width()) / 2, 0, size.width(), size.height());
  }

 protected:
  void resizeEvent(QResizeEvent*) override { Place(); }
  void changeEvent(QEvent* event) override {
    if (event->type() == QEvent::FontChange) Place();
    QWidget::changeEvent(event);
  }
  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    QStyleOptionTabWidgetFrame option;
    option.initFrom(this);
    option.rect = rect().adjusted(0, bar.height() - 1, 0, 0);
    option.lineWidth = 1;
    style()->drawPrimitive(QStyle::PE_FrameTabWidget, &option, &painter, this);
  }
};

Panel& PanelOf(const Control& control) {
  return *static_cast<Panel*>(control.Native().widget.data());
}

}  // namespace

TabPanel::TabPanel(Window& window, std::string_view name, const Rect& bounds,
                   const std::vector<std::string>& tabs)
    : Control(std::make_unique<ControlNative>(new Panel(ParentFor(window), tabs)), window, name,
              bounds) {
  Panel& panel = PanelOf(*this);
  panel.setFocusProxy(&panel.bar);
  panel.Place();
  QObject::connect(&panel.bar, &QTabBar::currentChanged, [this, &panel](int index) {
    for (int page = 0; page < TabCount(); ++page)
      panel.pages[static_cast<std::size_t>(page)]->setVisible(page == index);
    Raise("Change", Change);
  });
}

void TabPanel::BeginPage(int index) {
  WindowNative& native = window_.Native();
  native.page = PanelOf(*this).pages.at(static_cast<std::size_t>(index));
  native.page_left = Left();
  native.page_top = Top();
}

void TabPanel::EndPages() {
  WindowNative& native = window_.Native();
  native.page = nullptr;
  native.page_left = native.page_top = 0;
}

int TabPanel::TabCount() const { return PanelOf(*this).bar.count(); }
int TabPanel::Value() const { return PanelOf(*this).bar.currentIndex(); }
void TabPanel::SetValue(int index) { PanelOf(*this).bar.setCurrentIndex(index); }

bool TabPanel::TextFits() const { return PanelOf(*this).bar.sizeHint().width() <= Width(); }

}  // namespace gravlin
