// A flag for the length of a scope.
#pragma once

namespace gravlin {

// Sets a flag until the end of the scope, then restores its value.
class ScopedFlag {
 public:
  ScopedFlag(bool& flag, bool value) : flag_(flag), before_(flag) { flag_ = value; }
  ~ScopedFlag() { flag_ = before_; }
  ScopedFlag(const ScopedFlag&) = delete;
  ScopedFlag& operator=(const ScopedFlag&) = delete;

 private:
  bool& flag_;
  const bool before_;
};

}  // namespace gravlin
