// The menu bar: items looked up by name, handlers bound by name.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace gravlin {

struct MenuNative;

class MenuItem {
 public:
  virtual ~MenuItem() = default;
  virtual std::string Text() const = 0;
  virtual void SetText(std::string_view text) = 0;
  virtual bool Checked() const = 0;
  virtual void SetChecked(bool checked) = 0;
  // Chooses the item as a user would.
  virtual void Choose() = 0;
};

class MenuBar {
 public:
  MenuBar();
  ~MenuBar();
  MenuBar(const MenuBar&) = delete;
  MenuBar& operator=(const MenuBar&) = delete;

  // Begins a menu; items added next belong to it.  "&" marks the letter for the keyboard.
  void AddMenu(std::string_view name, std::string_view text);
  // "-" makes a separator.  A shortcut is written as "Cmd+Z"; Cmd is the Ctrl key here.
  void AddItem(std::string_view name, std::string_view text, std::string_view shortcut = {});
  // An item that acts on the text control that has the focus: "undo", "cut", "copy", "paste" or
  // "clear".
  void AddEditItem(std::string_view name, std::string_view text, std::string_view shortcut,
                   std::string_view edit);
  // Marks an item as the platform's quit item.
  void SetQuitItem(std::string_view name);
  // The item of that name; nullptr if there is none.
  MenuItem* Find(std::string_view name);
  // Binds a handler, which returns true if it handled the command.  A name without an item is kept
  // and unused.
  void Bind(std::string_view name, std::function<bool()> handler);
  // Raised before a menu opens.
  std::function<void()> EnableMenuItems;

  MenuNative& Native() const { return *native_; }

 private:
  std::unique_ptr<MenuNative> native_;
};

}  // namespace gravlin
