// RAR archives without compression, whole or in volumes.
#include "support/rar_writer.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <array>
#include <cstdint>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string_view>

namespace gravlin {
namespace {

enum Block : std::uint64_t { kMain = 1, kFile = 2, kService = 3, kEnd = 5 };
enum BlockFlag : std::uint64_t { kExtra = 1, kData = 2, kFromLast = 8, kIntoNext = 16 };

std::uint32_t Crc32(std::string_view bytes) {
  static const auto table = [] {
    std::array<std::uint32_t, 256> made{};
    for (std::uint32_t i = 0; i < 256; ++i) {
      made[i] = i;
      for (int bit = 0; bit < 8; ++bit) made[i] = (made[i] >> 1) ^ (made[i] & 1 ? 0xEDB88320u : 0);
    }
    return made;
  }();
  std::uint32_t crc = 0xFFFFFFFFu;
  for (const char byte : bytes)
    crc = (crc >> 8) ^ table[(crc ^ static_cast<unsigned char>(byte)) & 0xFF];
  return ~crc;
}

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
                   const std::string& fields, const std::string& extra = {}) {
  if (!extra.empty()) flags |= kExtra;
  std::string body = Vint(type) + Vint(flags);
  if (flags & kExtra) body += Vint(extra.size());
  if (flags & kData) body += Vint(data_size);
  body += fields + extra;
  body.insert(0, Vint(body.size()));
  return Fixed32(Crc32(body)) + body;
}

// The fields that file and service headers share: a regular file of Unix, stored, with a CRC32.
std::string FileFields(std::string_view name, std::uint64_t unpacked_size, std::uint32_t crc) {
  constexpr std::uint64_t kHasCrc = 4, kMode = 0100644, kStored = 0, kUnix = 1;
  return Vint(kHasCrc) + Vint(unpacked_size) + Vint(kMode) + Fixed32(crc) + Vint(kStored) +
         Vint(kUnix) + Vint(name.size()) + std::string(name);
}

std::string Kdf(const std::string& password, const std::string& salt, int rounds) {
  std::string key(32, '\0');
  PKCS5_PBKDF2_HMAC(password.data(), static_cast<int>(password.size()),
                    reinterpret_cast<const unsigned char*>(salt.data()),
                    static_cast<int>(salt.size()), rounds, EVP_sha256(), 32,
                    reinterpret_cast<unsigned char*>(key.data()));
  return key;
}

// Replaces `bytes` by their encrypted form.  The extra record that tells how: the salt, the start
// vector, and a value by which a wrong password is told from damaged bytes.
std::string Encrypt(const std::string& password, std::string& bytes) {
  constexpr int kLogRounds = 15, kRounds = 1 << kLogRounds;
  std::string salt(16, '\0'), vector(16, '\0');
  RAND_bytes(reinterpret_cast<unsigned char*>(salt.data()), 16);
  RAND_bytes(reinterpret_cast<unsigned char*>(vector.data()), 16);
  const std::string key = Kdf(password, salt, kRounds);
  const std::string folded = Kdf(password, salt, kRounds + 32);
  std::string check(8, '\0');
  for (std::size_t i = 0; i < folded.size(); ++i) check[i % 8] ^= folded[i];
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  EVP_Digest(check.data(), check.size(), digest.data(), nullptr, EVP_sha256(), nullptr);
  check.append(reinterpret_cast<const char*>(digest.data()), 4);

  bytes.resize((bytes.size() + 15) / 16 * 16);
  const std::unique_ptr<EVP_CIPHER_CTX, void (*)(EVP_CIPHER_CTX*)> cipher(EVP_CIPHER_CTX_new(),
                                                                          EVP_CIPHER_CTX_free);
  EVP_EncryptInit_ex(cipher.get(), EVP_aes_256_cbc(), nullptr,
                     reinterpret_cast<const unsigned char*>(key.data()),
                     reinterpret_cast<const unsigned char*>(vector.data()));
  EVP_CIPHER_CTX_set_padding(cipher.get(), 0);
  int written = 0;
  auto* data = reinterpret_cast<unsigned char*>(bytes.data());
  EVP_EncryptUpdate(cipher.get(), data, &written, data, static_cast<int>(bytes.size()));

  constexpr std::uint64_t kEncryption = 1, kAes256 = 0, kHasCheck = 1;
  const std::string record = Vint(kEncryption) + Vint(kAes256) + Vint(kHasCheck) +
                             static_cast<char>(kLogRounds) + salt + vector + check;
  return Vint(record.size()) + record;
}

// The set under way: fills a volume, ends it, begins the next.
class Writer {
 public:
  Writer(std::filesystem::path folder, std::string base, const RarOptions& options)
      : folder_(std::move(folder)), base_(std::move(base)), options_(options) {
    BeginVolume();
    if (options.comment.empty()) return;
    const std::string fields = FileFields("CMT", options.comment.size(), Crc32(options.comment));
    volume_ += Header(kService, kData, options.comment.size(), fields) + options.comment;
  }

  void Add(const RarMember& member) {
    std::string packed = member.bytes, extra;
    if (!options_.password.empty()) extra = Encrypt(options_.password, packed);
    std::uint64_t flags = kData;
    std::string_view rest = packed;
    do {
      if (Room(member, extra) == 0) NextVolume();
      const std::string_view piece = rest.substr(0, Room(member, extra));
      rest.remove_prefix(piece.size());
      if (piece.empty() && !rest.empty()) throw std::runtime_error("volume size too small");
      flags = rest.empty() ? flags & ~kIntoNext : flags | kIntoNext;
      // A piece that goes on in the next volume has the CRC of the piece, the last one that of the
      // whole file.
      const std::uint32_t crc = Crc32(rest.empty() ? member.bytes : piece);
      volume_ += Header(kFile, flags, piece.size(),
                        FileFields(member.name, member.bytes.size(), crc), extra);
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
  std::size_t Room(const RarMember& member, const std::string& extra) const {
    if (!Multi()) return member.bytes.size() + 16;
    const std::size_t others = 64 + member.name.size() + extra.size();  // both headers, at most
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
  std::string volume_;  // bytes of the volume under way
};

}  // namespace

std::vector<std::string> WriteRar(const std::filesystem::path& folder, const std::string& base,
                                  const std::vector<RarMember>& members,
                                  const RarOptions& options) {
  Writer writer(folder, base, options);
  for (const RarMember& member : members) writer.Add(member);
  return writer.Finish();
}

}  // namespace gravlin
