// The desktop that every test shares.
#include "support/test_desktop.h"

namespace gravlin::testing {

TestDesktop& Asked() {
  static TestDesktop desktop;
  return desktop;
}

}  // namespace gravlin::testing
