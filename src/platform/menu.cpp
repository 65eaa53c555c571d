// The menu bar, updated each time it opens.
#include "platform/menu.h"

#include <QAction>
#include <QApplication>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <map>
#include <vector>

#include "platform/native.h"

namespace gravlin {
namespace {

class Item : public MenuItem {
 public:
  explicit Item(QAction& action) : action_(action) {}
  std::string Text() const override { return FromQt(action_.text()); }
  void SetText(std::string_view text) override { action_.setText(ToQt(text)); }
  bool Checked() const override { return checked_; }
  void SetChecked(bool checked) override {
    checked_ = checked;
    ShowChecked();
  }
  // The toolkit toggles the mark at each click; it must show what the program set.
  void ShowChecked() {
    action_.setCheckable(checked_ || action_.isCheckable());
    action_.setChecked(checked_);
  }
  void Choose() override { action_.trigger(); }
  QAction& Action() { return action_; }

 private:
  QAction& action_;
  bool checked_ = false;
};

// Qt's shortcuts name the Ctrl key where the design names Cmd.
QKeySequence Shortcut(std::string_view text) {
  return QKeySequence(ToQt(text).replace("Cmd+", "Ctrl+"), QKeySequence::PortableText);
}

template <class Editor>
void Edit(Editor& editor, std::string_view edit) {
  if (edit == "undo") editor.undo();
  if (edit == "cut") editor.cut();
  if (edit == "copy") editor.copy();
  if (edit == "paste") editor.paste();
}

void EditFocused(std::string_view edit) {
  QWidget* focused = QApplication::focusWidget();
  if (auto* line = qobject_cast<QLineEdit*>(focused)) {
    Edit(*line, edit);
    // Without a selection the toolkit would take the next character.
    if (edit == "clear" && line->hasSelectedText()) line->del();
  } else if (auto* area = qobject_cast<QPlainTextEdit*>(focused)) {
    Edit(*area, edit);
    if (edit == "clear") area->textCursor().removeSelectedText();
  }
}

}  // namespace

struct MenuNative {
  std::vector<std::unique_ptr<QMenu>> menus;
  std::map<std::string, std::unique_ptr<Item>, std::less<>> items;
  std::map<std::string, std::function<bool()>, std::less<>> handlers;

  QAction& Add(std::string_view name, std::string_view text, std::string_view shortcut) {
    QMenu& menu = *menus.back();
    QAction& action = text == "-" ? *menu.addSeparator() : *menu.addAction(ToQt(text));
    action.setObjectName(ToQt(name));
    if (!shortcut.empty()) action.setShortcut(Shortcut(shortcut));
    items.insert_or_assign(std::string(name), std::make_unique<Item>(action));
    return action;
  }

  void Chosen(const std::string& name) {
    const auto handler = handlers.find(name);
    if (handler != handlers.end()) Ask(name.c_str(), handler->second, false);
  }
};

MenuBar::MenuBar() : native_(std::make_unique<MenuNative>()) {}
MenuBar::~MenuBar() = default;

void MenuBar::AddMenu(std::string_view name, std::string_view text) {
  auto menu = std::make_unique<QMenu>(ToQt(text));
  menu->setObjectName(ToQt(name));
  QObject::connect(menu.get(), &QMenu::aboutToShow,
                   [this] { Raise("EnableMenuItems", EnableMenuItems); });
  native_->menus.push_back(std::move(menu));
}

void MenuBar::AddItem(std::string_view name, std::string_view text, std::string_view shortcut) {
  QAction& action = native_->Add(name, text, shortcut);
  QObject::connect(&action, &QAction::triggered, [this, key = std::string(name)] {
    native_->items.find(key)->second->ShowChecked();
    native_->Chosen(key);
  });
}

void MenuBar::AddEditItem(std::string_view name, std::string_view text, std::string_view shortcut,
                          std::string_view edit) {
  QAction& action = native_->Add(name, text, shortcut);
  QObject::connect(&action, &QAction::triggered, [what = std::string(edit)] { EditFocused(what); });
}

void MenuBar::SetQuitItem(std::string_view name) {
  const auto item = native_->items.find(name);
  if (item == native_->items.end()) return;
  item->second->Action().setMenuRole(QAction::QuitRole);
  item->second->Action().setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));
  // The menu is in the main window, but any window may be in front.
  item->second->Action().setShortcutContext(Qt::ApplicationShortcut);
}

MenuItem* MenuBar::Find(std::string_view name) {
  const auto item = native_->items.find(name);
  return item == native_->items.end() ? nullptr : item->second.get();
}

void MenuBar::Bind(std::string_view name, std::function<bool()> handler) {
  native_->handlers.insert_or_assign(std::string(name), std::move(handler));
}

void FillMenuBar(MenuBar& menu, QMenuBar& bar) {
  for (const auto& entry : menu.Native().menus) bar.addMenu(entry.get());
}

}  // namespace gravlin
