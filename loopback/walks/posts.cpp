// What is posted, and what of it the server lacks or has damaged.
#include <iterator>
#include <map>

#include "engine/part_files.h"
#include "platform/text.h"
#include "world.h"

namespace gravlin::walks {
namespace {

// The bytes that a yEnc article holds (yEnc draft 1.3).
std::string YencBytes(const std::string& text) {
  std::string bytes;
  std::size_t at = text.find("\r\n", text.find("=ybegin")) + 2;
  if (text.compare(at, 6, "=ypart") == 0) at = text.find("\r\n", at) + 2;
  const std::size_t end = text.find("\r\n=yend");
  for (; at < end; ++at) {
    char c = text[at];
    if (c == '\r' || c == '\n') continue;
    if (c == '=') c = static_cast<char>(text[++at] - 64);
    bytes += static_cast<char>(c - 42);
  }
  return bytes;
}

// One byte of its data is another.
void Damage(std::string& text) {
  std::size_t at = text.find("\r\n", text.find("=ybegin")) + 2;
  if (text.compare(at, 6, "=ypart") == 0) at = text.find("\r\n", at) + 2;
  const std::string_view special = "=\r\n.\0\x0b\x0c<>/\x01\x2f";
  for (at += 3;; ++at) {
    const char to = static_cast<char>(text[at] ^ 1);
    if (special.find(text[at]) == special.npos && special.find(to) == special.npos &&
        text[at - 1] != '=') {
      text[at] = to;
      return;
    }
  }
}

}  // namespace

void World::MakeSets() {
  static constexpr const char* kNames[] = {"film.rar", "FILM.RAR", "a b.avi",  "set.part1.rar",
                                           "x.nfo",    "y.mp3",    "set.par2", "z.rar"};
  for (int number = 0; number < 3; ++number) {
    loopback::PostedSet& set = sets.emplace_back(random_.Next() % 1'000'000);
    const int files = random_.Between(1, 5), first = random_.Below(8);
    for (int i = 0; i < files; ++i) {
      const int part = 45 * random_.Between(3, 30), parts = random_.Between(1, 4);
      const int size = part * (parts - 1) + 45 * random_.Between(1, part / 45);
      // Two files of one NZB with the very same name share their parts: that is no fault.
      const std::string name =
          std::string(1, static_cast<char>('a' + number)) + kNames[(first + i) % std::size(kNames)];
      const int coding = random_.Below(8);
      const std::string body = random_.OneIn(4) ? "body" + std::to_string(random_.Below(4)) +
                                                      std::to_string(number) + ".rar"
                                                : "";
      set.Add(name, size, part,
              coding == 0   ? loopback::Coding::kUu
              : coding == 1 ? loopback::Coding::kBase64
                            : loopback::Coding::kYenc,
              body);
      const loopback::PostedFile& posted = set.Files().back();
      for (const std::string& id : posted.ids) {
        // Often the last one: what follows it is another file's.
        if (random_.OneIn(&id == &posted.ids.back() ? 8 : 25)) missing.insert(id);
        if (random_.OneIn(12) && posted.coding == loopback::Coding::kYenc) damaged.insert(id);
      }
    }
    AddExpected(set);
    set.WriteNzb(folder_ + "/set" + std::to_string(number) + ".nzb");
  }
}

void World::AddExpected(const loopback::PostedSet& set) {
  std::map<std::string, int> named, named_in_all;
  for (const loopback::PostedFile& file : set.Files()) {
    ++named[Lowercase(file.name)];
    ++named_in_all[Lowercase(file.name)];
    if (!SameText(file.name, file.body_name)) ++named_in_all[Lowercase(file.body_name)];
  }
  for (const loopback::PostedFile& file : set.Files()) {
    Expected expected{
        file.name,
        file.body_name,
        {},
        file.ids,
        true,
        named_in_all[Lowercase(file.name)] > 1 || named_in_all[Lowercase(file.body_name)] > 1};
    for (std::size_t part = 0; part < file.ids.size(); ++part) {
      const std::string& id = file.ids[part];
      const std::string text = Article(id).value_or("");
      expected.whole = expected.whole && !missing.contains(id);
      if (text.empty()) continue;
      std::string saved = WireForm(id, text);
      if (file.coding == loopback::Coding::kYenc) {
        saved = ReplaceAll(saved, "\r\n..", "\r\n.");
        expected.bytes += YencBytes(text);
      }
      saved_[id] = saved;
      if (named[Lowercase(file.name)] == 1)
        part_of_[id] = PartFileNameOf(file.name, static_cast<std::int32_t>(part + 1));
    }
    if (file.coding != loopback::Coding::kYenc) expected.bytes = file.read(0, file.size);
    if (expected.whole) contents_.insert(expected.bytes);
    expected_.emplace(file.ids[0], expected);
  }
}

std::optional<std::string> World::Article(const std::string& id) const {
  if (missing.contains(id)) return std::nullopt;
  for (const loopback::PostedSet& set : sets)
    if (auto text = set.Article(id)) {
      if (damaged.contains(id)) Damage(*text);
      return text;
    }
  return std::nullopt;
}

}  // namespace gravlin::walks
