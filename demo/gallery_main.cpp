// gravlin-gallery DATA NZB PICTURES [OPTION]...: opens every window of the program and saves a
// picture of each, and of each tab of the wizard with an imported NZB.  DATA and PICTURES are
// existing folders; an OPTION is one of the toolkit's, such as -reverse. Exits with 1 if a picture
// was not taken.
#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "app/app.h"
#include "base/code.h"
#include "drive.h"
#include "platform/fibers.h"
#include "platform/text.h"
#include "postprocess/outcome_windows.h"
#include "postprocess/par.h"
#include "postprocess/rar.h"
#include "store/writers.h"
#include "ui/console.h"
#include "ui/file_types_window.h"
#include "ui/files_window.h"
#include "ui/gravlin.h"
#include "ui/message_window.h"
#include "ui/small_windows.h"

namespace gravlin {
namespace {

FolderItem Absolute(const char* path) {
  return FolderItem::FromPath(std::filesystem::absolute(path).lexically_normal().string());
}

// Shows one window or tab at a time, and takes its picture after the event loop has drawn it.
class Gallery {
 public:
  Gallery(const FolderItem& data, FolderItem nzb, FolderItem pictures)
      : pictures_(std::move(pictures)) {
    SpecialFolder::SetApplicationData(data);
    desktop_.chosen = std::move(nzb);
    SetDesktop(&desktop_);
    // Sends no request to the vendor's site.
    Code::GotMessage = true;
    Application::SetExitStatus(1);
    timer_.Action = [this] { Tick(); };
    timer_.SetPeriod(kDrawn);
    timer_.SetMode(2);
  }
  ~Gallery() { SetDesktop(nullptr); }

 private:
  static constexpr int kDrawn = 150, kTabs = 8;  // ms; tabs of the wizard
  struct Exhibit {
    std::string name;
    std::function<Window&()> open;
  };

  template <class W>
  void Add(std::string name) {
    exhibits_.push_back({std::move(name), []() -> Window& { return Window::New<W>(); }});
  }

  void Hang(Gravlin& wizard) {
    for (int tab = 0; tab < kTabs; ++tab) {
      exhibits_.push_back({"wizard " + Str(tab), [&wizard, tab]() -> Window& {
                             wizard.TabPanel1.SetValue(tab);
                             return wizard;
                           }});
    }
    Add<grvFiles>("files");
    Add<FileTypesWin>("file types");
    Add<TestServer>("test server");
    Add<GetMessage>("message");
    Add<About>("about");
    Add<ServerConnectionError>("connect error");
    Add<Compacting>("compacting");
    Add<Par>("repair");
    Add<Rar>("extraction");
    Add<ParFailed>("repair failed");
    Add<RarFailed>("extraction failed");
    Add<RarNotes>("archive notes");
    Add<AfterRAR>("after extraction");
  }

  void Tick() {
    if (Application::Quitting()) return;
    auto* const wizard = Window::IfOpen<Gravlin>();
    if (!wizard || !wizard->DoneLoading || LiveThreads() > 0) return;
    if (exhibits_.empty()) {
      Hang(*wizard);
      wizard->pbSelect.Push();
      return;
    }
    if (shown_) {
      const FolderItem file = pictures_.Child(exhibits_[next_].name + ".png");
      const bool taken = shown_->SavePicture(file);
      std::printf("%s%s\n", taken ? "" : "not taken: ", exhibits_[next_].name.c_str());
      missing_ += !taken;
      if (shown_ != wizard) shown_->Close();
      shown_ = nullptr;
      ++next_;
    } else if (next_ < exhibits_.size()) {
      shown_ = &exhibits_[next_].open();
      shown_->Show();
    } else {
      timer_.SetMode(0);
      Application::SetExitStatus(missing_ ? 1 : 0);
      Application::Quit();
    }
  }

  DriveDesktop desktop_;
  FolderItem pictures_;
  Timer timer_;
  std::vector<Exhibit> exhibits_;
  std::size_t next_ = 0;
  Window* shown_ = nullptr;  // its picture is not taken yet
  int missing_ = 0;
};

}  // namespace
}  // namespace gravlin

int main(int argc, char** argv) {
  if (argc < 4) {
    std::fputs("usage: gravlin-gallery DATA NZB PICTURES [OPTION]...\n", stderr);
    return 2;
  }
  std::vector<char*> words(argv + 3, argv + argc);
  words.front() = argv[0];
  int count = static_cast<int>(words.size());
  words.push_back(nullptr);
  gravlin::App app(count, words.data());
  const gravlin::Gallery gallery(gravlin::Absolute(argv[1]), gravlin::Absolute(argv[2]),
                                 gravlin::Absolute(argv[3]));
  return app.RunLoop();
}
