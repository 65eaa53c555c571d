// Files of pseudo-random bytes as a poster would post them: articles, the NZB that lists them, and
// their sums.
//
// Only seeds are kept: the bytes of a part are made when its article is requested, so that a set
// may be larger than the memory.
#pragma once

#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace gravlin::loopback {

enum class Coding { kYenc, kUu, kBase64 };

struct PostedFile {
  std::string name;       // in its subject
  std::string body_name;  // in its articles; the final name of the file
  Coding coding = Coding::kYenc;
  std::int64_t size = 0;
  std::int64_t part_size = 0;  // bytes of the original in one article
  std::function<std::string(std::int64_t offset, std::int64_t count)> read;
  std::vector<std::string> ids;  // message id of each part

  std::string Sha256() const;
};

class PostedSet {
 public:
  explicit PostedSet(std::uint64_t seed = 1) : seed_(seed) {}

  // Adds a file of `size` pseudo-random bytes, cut into parts of `part_size`.  A Base64 file is one
  // part.  UU parts are whole lines of 45 bytes.
  void Add(std::string_view name, std::int64_t size, std::int64_t part_size,
           Coding coding = Coding::kYenc, std::string_view body_name = {});
  // Adds a file from the disk as yEnc.
  void AddFile(const std::filesystem::path& file, std::int64_t part_size);

  const std::deque<PostedFile>& Files() const { return files_; }
  std::int64_t Bytes() const;

  // An article as it was posted: headers, blank line, body, without stuffed dots.  Callable from
  // any thread while nothing is added.
  std::optional<std::string> Article(std::string_view id) const;
  void WriteNzb(const std::filesystem::path& file) const;
  // One line for each file, as sha256sum writes and checks them, with the final names of the files.
  std::string Sums() const;

 private:
  void Add(PostedFile file);

  struct Place {
    std::size_t file, part;
  };
  std::uint64_t seed_;
  std::deque<PostedFile> files_;
  std::unordered_map<std::string, Place> places_;
};

// `count` bytes at `offset` of an endless pseudo-random file.
std::string RandomBytes(std::uint64_t seed, std::int64_t offset, std::int64_t count);
std::uint32_t Crc32(std::string_view bytes);
// Lines of 45 bytes, a back-quote for zero.
std::string UuLines(std::string_view bytes);

}  // namespace gravlin::loopback
