// RAR archives without compression, whole or in volumes.
#include "loopback/rar_writer.h"

#include <cstdint>
#include <fstream>
#include <stdexcept>
#include <string_view>

#include "loopback/posted_set.h"

namespace gravlin::loopback {
namespace {

enum Block : std::uint64_t { kMain = 1, kFile = 2, kService = 3, kEnd = 5 };
enum BlockFlag : std::uint64_t { kData = 2, kFromLast = 8, kIntoNext = 16 };

// Seven bits in each byte, the lowest first; the high bit says that more follow.
std::string Vint(std::uint64_t value) {
  std::string bytes;
  for (; value >= 0x80; value >>= 7) bytes += static_cast<char>(value | 0x80);
  return bytes += static_cast<char>(value);
}

std::string Fixed32(std::uint32_t value) {
  std::string bytes;
  for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(value >> shift);
  return bytes;
}

// A block's header.  Its own size counts from the type on, its CRC from the size on.
std::string Header(std::uint64_t type, std::uint64_t flags, std::uint64_t data_size,
                   const std::string& fields) {
  std::string body = Vint(type) + Vint(flags);
  if (flags & kData) body += Vint(data_size);
  body += fields;
  body.insert(0, Vint(body.size()));
  return Fixed32(Crc32(body)) + body;
}

// The fields that file and service headers share: a regular file of Unix, stored, with a time and a
// CRC32.
std::string FileFields(std::string_view name, std::uint64_t unpacked_size, std::uint32_t modified,
                       std::uint32_t crc) {
  constexpr std::uint64_t kHasTime = 2, kHasCrc = 4, kMode = 0100644, kStored = 0, kUnix = 1;
  return Vint(kHasTime | kHasCrc) + Vint(unpacked_size) + Vint(kMode) + Fixed32(modified) +
         Fixed32(crc) + Vint(kStored) + Vint(kUnix) + Vint(name.size()) + std::string(name);
}

// The set being written: fills a volume, ends it, begins the next.
class Writer {
 public:
  Writer(std::filesystem::path folder, std::string base, const RarOptions& options)
      : folder_(std::move(folder)), base_(std::move(base)), options_(options) {
    BeginVolume();
    if (options.comment.empty()) return;
    const std::string fields =
        FileFields("CMT", options.comment.size(), RarMember().modified, Crc32(options.comment));
    volume_ += Header(kService, kData, options.comment.size(), fields) + options.comment;
  }

  void Add(const RarMember& member) {
    std::uint64_t flags = kData;
    std::string_view rest = member.bytes;
    do {
      if (Room(member) == 0) NextVolume();
      const std::string_view piece = rest.substr(0, Room(member));
      rest.remove_prefix(piece.size());
      if (piece.empty() && !rest.empty()) throw std::runtime_error("volume size too small");
      flags = rest.empty() ? flags & ~kIntoNext : flags | kIntoNext;
      // A piece that continues in the next volume has the CRC of the piece, the last one that of
      // the whole file.
      const std::uint32_t crc = Crc32(rest.empty() ? member.bytes : piece);
      volume_ += Header(kFile, flags, piece.size(),
                        FileFields(member.name, member.bytes.size(), member.modified, crc));
      volume_ += piece;
      flags |= kFromLast;
      if (!rest.empty()) NextVolume();
    } while (!rest.empty());
  }

  std::vector<std::string> Finish() {
    EndVolume(false);
    return names_;
  }

 private:
  bool Multi() const { return options_.volume_size > 0; }

  // Bytes of the member that still go into this volume.
  std::size_t Room(const RarMember& member) const {
    if (!Multi()) return member.bytes.size() + 1;
    const std::size_t others = 64 + member.name.size();  // both headers, at most
    const std::size_t taken = volume_.size() + others;
    return taken < options_.volume_size ? options_.volume_size - taken : 0;
  }

  void BeginVolume() {
    constexpr std::uint64_t kVolume = 1, kNumbered = 2;
    const std::uint64_t number = names_.size();
    names_.push_back(Multi() ? base_ + ".part" + std::to_string(number + 1) + ".rar"
                             : base_ + ".rar");
    volume_ = std::string("Rar!\x1A\x07\x01\x00", 8);
    const std::uint64_t flags = Multi() ? kVolume | (number > 0 ? kNumbered : 0) : 0;
    volume_ += Header(kMain, 0, 0, Vint(flags) + (number > 0 ? Vint(number) : ""));
  }

  void EndVolume(bool more_follow) {
    volume_ += Header(kEnd, 0, 0, Vint(more_follow ? 1 : 0));
    std::ofstream file(folder_ / names_.back(), std::ios::binary | std::ios::trunc);
    file.write(volume_.data(), static_cast<std::streamsize>(volume_.size()));
    if (!file.flush()) throw std::runtime_error("cannot write " + names_.back());
  }

  void NextVolume() {
    EndVolume(true);
    BeginVolume();
  }

  std::filesystem::path folder_;
  std::string base_;
  const RarOptions& options_;
  std::vector<std::string> names_;
  std::string volume_;  // bytes of the volume being written
};

}  // namespace

std::vector<std::string> WriteRar(const std::filesystem::path& folder, const std::string& base,
                                  const std::vector<RarMember>& members,
                                  const RarOptions& options) {
  Writer writer(folder, base, options);
  for (const RarMember& member : members) writer.Add(member);
  return writer.Finish();
}

}  // namespace gravlin::loopback
