// Limits a resource of this process until the end of the scope.
#pragma once

#include <sys/resource.h>

#include <csignal>

namespace gravlin::testing {

class ResourceLimit {
 public:
  ResourceLimit(int resource, rlim_t most)
      : resource_(resource), handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(resource_, &before_);
    const rlimit limit{most, before_.rlim_max};
    setrlimit(resource_, &limit);
  }
  ~ResourceLimit() {
    setrlimit(resource_, &before_);
    std::signal(SIGXFSZ, handler_);
  }
  ResourceLimit(const ResourceLimit&) = delete;
  ResourceLimit& operator=(const ResourceLimit&) = delete;

 private:
  const int resource_;
  rlimit before_{};
  void (*handler_)(int);
};

// A full disk: no file grows beyond a size.
struct FullDisk : ResourceLimit {
  explicit FullDisk(rlim_t bytes) : ResourceLimit(RLIMIT_FSIZE, bytes) {}
};

}  // namespace gravlin::testing
