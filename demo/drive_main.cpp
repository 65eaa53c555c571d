// gravlin-drive: the program's windows, run by the options of its command line.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "app/app.h"
#include "drive.h"

int main(int argc, char** argv) {
  if (argc == 2 && std::string_view(argv[1]) == "--help") {
    std::fputs(gravlin::kDriveUsage, stdout);
    return 0;
  }
  std::string fault;
  auto options = gravlin::ParseDriveOptions({argv + 1, argv + argc}, fault);
  if (!options) {
    std::fprintf(stderr, "gravlin-drive: %s\n%s", fault.c_str(), gravlin::kDriveUsage);
    return 2;
  }
  // The command line is the driver's; the toolkit gets its own, without a screen if there is none.
  const bool screen =
      std::getenv("DISPLAY") || std::getenv("WAYLAND_DISPLAY") || std::getenv("QT_QPA_PLATFORM");
  std::string words[] = {argv[0], "-platform", "offscreen"};
  char* toolkit[] = {words[0].data(), words[1].data(), words[2].data(), nullptr};
  int count = screen ? 1 : 3;
  gravlin::App app(count, toolkit);
  const gravlin::Driver driver(std::move(*options));
  return app.RunLoop();
}
