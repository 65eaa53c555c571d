// Which parts of the current file lie in the Parts folder, kept in step with what the engine saves,
// so that a count after each article costs nothing.
#pragma once

#include <cstdint>
#include <unordered_set>

namespace gravlin {

class PartsOnDisk {
 public:
  void Clear() { numbers_.clear(); }
  void Add(std::int32_t number) { numbers_.insert(number); }
  void Remove(std::int32_t number) { numbers_.erase(number); }
  // Parts from 1 on; a part 0, which a broken NZB can ask for, is never joined and does not count.
  std::int32_t Count() const {
    return static_cast<std::int32_t>(numbers_.size() - numbers_.count(0));
  }

 private:
  std::unordered_set<std::int32_t> numbers_;
};

}  // namespace gravlin
