// Fetches one page.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace gravlin {

// http and https only; follows redirects; ends after 30 seconds or 1 MiB.
class HTTPSocket {
 public:
  HTTPSocket();
  ~HTTPSocket();
  HTTPSocket(const HTTPSocket&) = delete;
  HTTPSocket& operator=(const HTTPSocket&) = delete;

  // Starts the fetch and returns; an earlier one is dropped.  A fetch that fails raises nothing.
  void Get(std::string_view url);

  std::function<void(std::string_view url, int status, std::string_view headers,
                     const std::string& content)>
      PageReceived;
  std::function<void(std::int64_t bytes, std::int64_t total, std::string_view new_data)>
      ReceiveProgress;

 private:
  struct Native;
  std::unique_ptr<Native> native_;
};

}  // namespace gravlin
