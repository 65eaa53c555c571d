// The test program: the toolkit without a screen, a home that is deleted at the end, and a desktop
// that answers OK.
#include <gtest/gtest.h>

#include <cstdlib>

#include "base/code.h"
#include "platform/application.h"
#include "support/temp_folder.h"
#include "support/test_desktop.h"

namespace gravlin::testing {
namespace {

// No test sees the boxes and choices of an earlier one.
class FreshDesktop : public ::testing::EmptyTestEventListener {
  void OnTestStart(const ::testing::TestInfo&) override {
    Asked().Clear();
    Code::GotMessage = true;  // no window requests anything from the vendor's site
    SetDesktop(&Asked());
  }
};

}  // namespace
}  // namespace gravlin::testing

int main(int argc, char** argv) {
  using gravlin::testing::TempFolder;
  ::testing::InitGoogleTest(&argc, argv);
  const TempFolder home;
  setenv("HOME", home.Path().c_str(), 1);
  setenv("XDG_DATA_HOME", (home / "data").c_str(), 1);
  setenv("XDG_RUNTIME_DIR", home.Path().c_str(), 1);
  unsetenv("DBUS_SESSION_BUS_ADDRESS");
  setenv("QT_QPA_PLATFORM", "offscreen", 1);
  setenv("LC_ALL", "C.UTF-8", 1);
  setenv("TZ", "UTC", 1);
  ::testing::UnitTest::GetInstance()->listeners().Append(new gravlin::testing::FreshDesktop);
  const auto toolkit = gravlin::StartToolkit(argc, argv);
  return RUN_ALL_TESTS();
}
