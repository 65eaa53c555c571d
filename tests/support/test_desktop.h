// The desktop of a test: records what the program asks of it, answers OK, and opens nothing.
#pragma once

#include <deque>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "platform/desktop.h"

namespace gravlin::testing {

class TestDesktop : public Desktop {
 public:
  struct Box {
    std::string text, title;
    int code;
  };
  std::vector<Box> boxes;
  std::vector<std::string> urls;
  std::vector<FolderItem> launched;
  int beeps = 0;
  // Of every disk, unless a test says otherwise.
  std::function<std::optional<DiskRoom>(const FolderItem&)> room = [](const FolderItem&) {
    return DiskRoom{.bytes = 1e18};
  };
  std::deque<int> answers;          // to the next boxes; OK after them
  std::function<void()> meanwhile;  // runs while the next box is open
  std::deque<FolderItem> chosen;    // in the next open dialogs; nil (cancelled) after them

  void Clear() { *this = TestDesktop(); }

  int MsgBox(std::string_view text, int code, std::string_view title) override {
    boxes.push_back({std::string(text), std::string(title), code});
    if (const auto happens = std::exchange(meanwhile, nullptr)) happens();
    return Next(answers, 1);
  }
  FolderItem GetOpenFolderItem(std::string_view, const FolderItem&) override {
    return Next(chosen, FolderItem());
  }
  void ShowURL(std::string_view url) override { urls.emplace_back(url); }
  void Launch(const FolderItem& item) override { launched.push_back(item); }
  void Beep() override { ++beeps; }
  std::optional<DiskRoom> RoomFor(const FolderItem& item) override { return room(item); }

 private:
  template <class T>
  static T Next(std::deque<T>& queue, T otherwise) {
    if (queue.empty()) return otherwise;
    T front = queue.front();
    queue.pop_front();
    return front;
  }
};

// The one in force in the whole test program; empty at the start of each test.
inline TestDesktop& Asked() {
  static TestDesktop desktop;
  return desktop;
}

}  // namespace gravlin::testing
