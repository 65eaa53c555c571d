// Files as articles: yEnc, UU and Base64 encoders of its own, and the NZB.
#include "loopback/posted_set.h"

#include <openssl/evp.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>

namespace gravlin::loopback {
namespace {

constexpr std::string_view kGroup = "alt.binaries.test";
constexpr std::string_view kBoundary = "--=_NextPart_000_0001";

std::uint64_t Mix(std::uint64_t x) {
  x += 0x9e3779b97f4a7c15;
  x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9;
  x = (x ^ (x >> 27)) * 0x94d049bb133111eb;
  return x ^ (x >> 31);
}

std::string Number(std::int64_t value) { return std::to_string(value); }

std::string Hex(std::uint32_t value) {
  char text[9];
  std::snprintf(text, sizeof text, "%08x", value);
  return text;
}

std::string Escaped(std::string_view text) {
  static const std::unordered_map<char, const char*> names = {
      {'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'"', "&quot;"}};
  std::string out;
  for (const char c : text) {
    const auto name = names.find(c);
    name == names.end() ? out += c : out += name->second;
  }
  return out;
}

std::string Subject(const PostedFile& file, std::size_t part) {
  const char* coding = file.coding == Coding::kYenc ? " yEnc" : "";
  return "Test post - \"" + file.name + "\"" + coding + " (" + Number(part + 1) + "/" +
         Number(file.ids.size()) + ")";
}

// The encoders; lines end in CR LF.
std::string YencLines(std::string_view bytes) {
  std::string out(bytes.size() * 2 + bytes.size() / 64 + 4, '\0');
  char* to = out.data();
  int column = 0;
  const auto end_line = [&] {
    to = std::copy_n("\r\n", 2, to);
    column = 0;
  };
  for (const char c : bytes) {
    const auto coded = static_cast<unsigned char>(c + 42);
    const bool escape = coded == 0 || coded == '\n' || coded == '\r' || coded == '=';
    if (escape) *to++ = '=';
    *to++ = static_cast<char>(escape ? coded + 64 : coded);
    column += escape ? 2 : 1;
    if (column >= 128) end_line();
  }
  if (column > 0) end_line();
  out.resize(static_cast<std::size_t>(to - out.data()));
  return out;
}

std::string Base64Lines(std::string_view bytes) {
  std::string out;
  unsigned char line[80];
  for (std::size_t from = 0; from < bytes.size(); from += 57) {
    const auto piece = bytes.substr(from, 57);
    const int count = EVP_EncodeBlock(line, reinterpret_cast<const unsigned char*>(piece.data()),
                                      static_cast<int>(piece.size()));
    out.append(reinterpret_cast<char*>(line), static_cast<std::size_t>(count)).append("\r\n");
  }
  return out;
}

std::string YencBody(const PostedFile& file, std::size_t part, const std::string& bytes) {
  const bool single = file.ids.size() == 1;
  const std::int64_t begin = static_cast<std::int64_t>(part) * file.part_size;
  const std::string size = Number(bytes.size());
  std::string body = "=ybegin";
  if (!single) body += " part=" + Number(part + 1) + " total=" + Number(file.ids.size());
  body += " line=128 size=" + Number(file.size) + " name=" + file.body_name + "\r\n";
  if (!single) {
    body += "=ypart begin=" + Number(begin + 1) +
            " end=" + Number(begin + static_cast<std::int64_t>(bytes.size())) + "\r\n";
  }
  body += YencLines(bytes);
  body += "=yend size=" + size + (single ? " crc32=" : " part=" + Number(part + 1) + " pcrc32=");
  return body + Hex(Crc32(bytes)) + "\r\n";
}

std::string UuBody(const PostedFile& file, std::size_t part, const std::string& bytes) {
  std::string body;
  if (part == 0) body += "begin 644 " + file.body_name + "\r\n";
  body += UuLines(bytes);
  if (part + 1 == file.ids.size()) body += "`\r\nend\r\n";
  return body;
}

std::string Base64Body(const PostedFile& file, const std::string& bytes) {
  const std::string boundary(kBoundary);
  return boundary + "\r\nContent-Type: application/octet-stream; name=\"" + file.body_name +
         "\"\r\nContent-Transfer-Encoding: base64\r\nContent-Disposition: attachment; filename=\"" +
         file.body_name + "\"\r\n\r\n" + Base64Lines(bytes) + "\r\n" + boundary + "--\r\n";
}

}  // namespace

std::string UuLines(std::string_view bytes) {
  const auto letter = [](unsigned value) { return static_cast<char>(value ? value + 32 : '`'); };
  std::string out;
  for (std::size_t from = 0; from < bytes.size(); from += 45) {
    std::string line(bytes.substr(from, 45));
    out += letter(static_cast<unsigned>(line.size()));
    line.resize((line.size() + 2) / 3 * 3);
    for (std::size_t i = 0; i < line.size(); i += 3) {
      const unsigned a = static_cast<unsigned char>(line[i]);
      const unsigned b = static_cast<unsigned char>(line[i + 1]);
      const unsigned c = static_cast<unsigned char>(line[i + 2]);
      for (const unsigned six : {a >> 2, (a & 3) << 4 | b >> 4, (b & 15) << 2 | c >> 6, c & 63}) {
        out += letter(six);
      }
    }
    out += "\r\n";
  }
  return out;
}

std::string RandomBytes(std::uint64_t seed, std::int64_t offset, std::int64_t count) {
  const std::int64_t first = offset / 8;
  const std::int64_t last = (offset + count + 7) / 8;
  std::string words(static_cast<std::size_t>(last - first) * 8, '\0');
  for (std::int64_t i = first; i < last; ++i) {
    const std::uint64_t word = Mix(seed * 0x2545f4914f6cdd1d + static_cast<std::uint64_t>(i));
    std::memcpy(&words[static_cast<std::size_t>(i - first) * 8], &word, 8);
  }
  return words.substr(static_cast<std::size_t>(offset - first * 8),
                      static_cast<std::size_t>(count));
}

std::uint32_t Crc32(std::string_view bytes) {
  return static_cast<std::uint32_t>(
      crc32_z(0, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size()));
}

std::string PostedFile::Sha256() const {
  const std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> hash(EVP_MD_CTX_new(), EVP_MD_CTX_free);
  EVP_DigestInit_ex(hash.get(), EVP_sha256(), nullptr);
  constexpr std::int64_t kPiece = 1 << 20;
  for (std::int64_t at = 0; at < size; at += kPiece) {
    const std::string bytes = read(at, std::min(kPiece, size - at));
    EVP_DigestUpdate(hash.get(), bytes.data(), bytes.size());
  }
  std::array<unsigned char, 32> sum{};
  EVP_DigestFinal_ex(hash.get(), sum.data(), nullptr);
  std::string text;
  for (const unsigned char byte : sum) text += Hex(byte).substr(6);
  return text;
}

void PostedSet::Add(std::string_view name, std::int64_t size, std::int64_t part_size, Coding coding,
                    std::string_view body_name) {
  const std::uint64_t seed = seed_ * 1000003 + files_.size();
  const auto read = [seed](std::int64_t offset, std::int64_t count) {
    return RandomBytes(seed, offset, count);
  };
  Add({std::string(name), std::string(body_name.empty() ? name : body_name), coding, size,
       coding == Coding::kBase64 ? size : part_size, read});
}

void PostedSet::AddFile(const std::filesystem::path& path, std::int64_t part_size) {
  const auto read = [path](std::int64_t offset, std::int64_t count) {
    std::string bytes(static_cast<std::size_t>(count), '\0');
    std::ifstream(path, std::ios::binary).seekg(offset).read(bytes.data(), count);
    return bytes;
  };
  const std::string name = path.filename().string();
  const auto size = static_cast<std::int64_t>(std::filesystem::file_size(path));
  Add({name, name, Coding::kYenc, size, part_size, read});
}

void PostedSet::Add(PostedFile file) {
  for (std::int64_t at = 0; at == 0 || at < file.size; at += file.part_size) {
    // Ids with a hyphen and an ampersand, which the NZB has to escape.
    file.ids.push_back("p" + Number(at / file.part_size + 1) + "-f" + Number(files_.size() + 1) +
                       "&s" + std::to_string(seed_) + "@news.example");
    places_[file.ids.back()] = {files_.size(), file.ids.size() - 1};
  }
  files_.push_back(std::move(file));
}

std::int64_t PostedSet::Bytes() const {
  std::int64_t sum = 0;
  for (const PostedFile& file : files_) sum += file.size;
  return sum;
}

std::optional<std::string> PostedSet::Article(std::string_view id) const {
  const auto found = places_.find(std::string(id));
  if (found == places_.end()) return std::nullopt;
  const PostedFile& file = files_[found->second.file];
  const std::size_t part = found->second.part;
  const std::int64_t begin = static_cast<std::int64_t>(part) * file.part_size;
  const std::string bytes = file.read(begin, std::min(file.part_size, file.size - begin));
  std::string text =
      "Path: loopback!not-for-mail\r\nFrom: Poster <poster@news.example>\r\nNewsgroups: ";
  text.append(kGroup).append("\r\nSubject: ").append(Subject(file, part));
  text += "\r\nDate: Mon, 06 May 2024 10:00:00 GMT\r\nMessage-ID: <" + std::string(id) + ">\r\n";
  if (file.coding == Coding::kBase64) {
    text += "MIME-Version: 1.0\r\nContent-Type: multipart/mixed; boundary=\"" +
            std::string(kBoundary.substr(2)) + "\"\r\n";
  }
  text += "\r\n";
  if (file.coding == Coding::kBase64) return text + Base64Body(file, bytes);
  return text +=
         file.coding == Coding::kUu ? UuBody(file, part, bytes) : YencBody(file, part, bytes);
}

void PostedSet::WriteNzb(const std::filesystem::path& file) const {
  std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<nzb>\r\n";
  for (const PostedFile& posted : files_) {
    text += " <file poster=\"Poster &lt;poster@news.example&gt;\" date=\"1714989600\" subject=\"" +
            Escaped(Subject(posted, 0)) + "\">\r\n  <groups>\r\n   <group>" + std::string(kGroup) +
            "</group>\r\n  </groups>\r\n  <segments>\r\n";
    for (std::size_t part = 0; part < posted.ids.size(); ++part) {
      const std::int64_t begin = static_cast<std::int64_t>(part) * posted.part_size;
      const std::int64_t bytes = std::min(posted.part_size, posted.size - begin);
      // Posters count the encoded bytes; like theirs, this is an approximation.
      const std::int64_t encoded =
          posted.coding == Coding::kYenc ? bytes * 104 / 100 : bytes * 7 / 5;
      text += "   <segment bytes=\"" + Number(encoded + 600) + "\" number=\"" + Number(part + 1) +
              "\">" + Escaped(posted.ids[part]) + "</segment>\r\n";
    }
    text += "  </segments>\r\n </file>\r\n";
  }
  std::ofstream(file, std::ios::binary) << text << "</nzb>\r\n";
}

std::string PostedSet::Sums() const {
  std::string text;
  for (const PostedFile& file : files_) text += file.Sha256() + "  " + file.body_name + "\n";
  return text;
}

}  // namespace gravlin::loopback
