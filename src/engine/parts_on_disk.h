// Which parts of the current file lie in the Parts folder, kept in step with what the engine saves,
// so that a count after each article costs nothing.
#pragma once

#include <cstdint>
#include <unordered_set>

namespace gravlin {

class PartsOnDisk {
 public:
  void Clear() { numbers_.clear(); }
  // A part below 1, which a broken NZB can ask for, is never joined and does not count.
  void Add(std::int32_t number) {
    if (number > 0) numbers_.insert(number);
  }
  void Remove(std::int32_t number) { numbers_.erase(number); }
  bool Has(std::int32_t number) const { return numbers_.contains(number); }
  std::int32_t Count() const { return static_cast<std::int32_t>(numbers_.size()); }

 private:
  std::unordered_set<std::int32_t> numbers_;
};

}  // namespace gravlin
