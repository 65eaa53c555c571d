// Numbers that a seed determines.
#pragma once

#include <cstdint>

namespace gravlin::walks {

class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}
  // SplitMix64.
  std::uint64_t Next() {
    std::uint64_t x = state_ += 0x9e3779b97f4a7c15;
    x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9;
    x = (x ^ (x >> 27)) * 0x94d049bb133111eb;
    return x ^ (x >> 31);
  }
  // 0 to count - 1.
  int Below(int count) { return static_cast<int>(Next() % static_cast<std::uint64_t>(count)); }
  int Between(int least, int most) { return least + Below(most - least + 1); }
  bool OneIn(int count) { return Below(count) == 0; }

 private:
  std::uint64_t state_;
};

}  // namespace gravlin::walks
