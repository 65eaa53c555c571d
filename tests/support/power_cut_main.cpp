// gravlin-power-cut: does to a folder what a power cut would have done at the end of a process.
#include <cstdio>
#include <cstdlib>

#include "support/power_cut.h"

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: gravlin-power-cut ROOT JOURNAL SEED\n");
    return 2;
  }
  std::printf("%d\n",
              gravlin::testing::CutPower(argv[1], argv[2], std::strtoull(argv[3], nullptr, 10)));
  return 0;
}
