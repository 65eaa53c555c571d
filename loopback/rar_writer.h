// Writes RAR 5 archives: stored files, one volume or several, an archive comment.  The layout is
// that of the published description of the format (RAR 5.0 archive format): a signature, then
// blocks, each a CRC32, a size and fields of variable-length integers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace gravlin::loopback {

struct RarMember {
  std::string name;  // path inside the archive, "/" between folders, UTF-8
  std::string bytes;
  // Its modification time in the archive, in seconds since 1970.  Old, as that of a posted file.
  std::uint32_t modified = 1'600'000'000;
};

struct RarOptions {
  std::size_t volume_size = 0;  // most bytes of one volume; 0 writes everything into one file
  std::string comment;          // UTF-8
};

// Writes `base`.rar, or `base`.part1.rar, `base`.part2.rar and so on, into `folder`, over existing
// files.  Returns the names of the files, in order.  Throws std::runtime_error if one cannot be
// written or a volume would hold no byte.
std::vector<std::string> WriteRar(const std::filesystem::path& folder, const std::string& base,
                                  const std::vector<RarMember>& members,
                                  const RarOptions& options = {});

}  // namespace gravlin::loopback
