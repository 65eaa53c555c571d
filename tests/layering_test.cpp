// The floors of the house: what a file may include.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace gravlin::testing {
namespace {

namespace fs = std::filesystem;

struct Include {
  std::string name;
  bool angled;
};

// Height of a file named from src/; nothing for what is no room of the program.
std::optional<int> Floor(const std::string& file) {
  static const std::map<std::string, int> rooms = {
      {"platform", 0}, {"store", 2},       {"nzb", 3}, {"engine", 4},
      {"decode", 5},   {"postprocess", 6}, {"ui", 7},  {"app", 8}};
  if (file == "app/code.h" || file == "app/endpoints.h") return 1;
  if (file == "main.cpp") return 9;
  const auto room = rooms.find(file.substr(0, file.find('/')));
  return room == rooms.end() ? std::nullopt : std::optional(room->second);
}

// What is wrong with one include of a file under src/ or demo/; empty if nothing is.
std::string Fault(const std::string& file, const Include& include) {
  if (include.angled) {
    // Outside platform/ only the language's own headers, the store's library and vector
    // instructions.
    const bool standard = include.name.find_first_of("./") == std::string::npos &&
                          std::none_of(include.name.begin(), include.name.end(),
                                       [](unsigned char c) { return std::isupper(c); });
    static const std::set<std::string> others = {"sqlite3.h", "immintrin.h", "arm_neon.h"};
    const bool fine = file.starts_with("platform/") || standard || others.contains(include.name);
    return fine ? "" : "a header that only platform/ may include";
  }
  if (file.starts_with("demo/")) return "";
  const auto from = Floor(file), to = Floor(include.name);
  if (!from || !to) return "a file that belongs to no room";
  return *to > *from ? "a file of an upper floor" : "";
}

std::vector<Include> IncludesOf(const fs::path& file) {
  constexpr std::string_view kBlanks = " \t";
  std::vector<Include> found;
  std::ifstream in(file);
  for (std::string line; std::getline(in, line);) {
    const std::size_t hash = line.find_first_not_of(kBlanks);
    if (hash == std::string::npos || line[hash] != '#') continue;
    const std::size_t word = line.find_first_not_of(kBlanks, hash + 1);
    if (word == std::string::npos || line.compare(word, 7, "include") != 0) continue;
    const std::size_t open = line.find_first_of("<\"", word);
    if (open == std::string::npos) continue;
    const std::size_t close = line.find_first_of(">\"", open + 1);
    found.push_back({line.substr(open + 1, close - open - 1), line[open] == '<'});
  }
  return found;
}

// Source files under a folder, by the name that an include would use, with what they include.
std::map<std::string, std::vector<Include>> Sources(const std::string& folder,
                                                    const std::string& prefix) {
  std::map<std::string, std::vector<Include>> found;
  const fs::path root = fs::path(GRAVLIN_SOURCE_DIR) / folder;
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    const auto extension = entry.path().extension();
    if (extension != ".h" && extension != ".cpp") continue;
    found[prefix + fs::relative(entry.path(), root).string()] = IncludesOf(entry.path());
  }
  return found;
}

TEST(Layering, TheRulesKnowAFaultWhenTheySeeOne) {
  const struct {
    const char* file;
    Include include;
    bool fault;
  } cases[] = {{"engine/gravlin.h", {"QString", true}, true},
               {"engine/gravlin.h", {"unistd.h", true}, true},
               {"demo/drive.cpp", {"openssl/ssl.h", true}, true},
               {"decode/yenc.cpp", {"sys/mman.h", true}, true},
               {"platform/files.cpp", {"unistd.h", true}, false},
               {"decode/yenc.cpp", {"cstdint", true}, false},
               {"store/database.cpp", {"sqlite3.h", true}, false},
               {"engine/session.cpp", {"ui/console.h", false}, true},
               {"platform/timer.h", {"app/code.h", false}, true},
               {"store/writers.cpp", {"app/app.h", false}, true},
               {"store/writers.cpp", {"app/code.h", false}, false},
               {"app/app.cpp", {"ui/console.h", false}, false},
               {"main.cpp", {"app/app.h", false}, false},
               {"engine/session.cpp", {"support/news_server.h", false}, true}};
  for (const auto& [file, include, fault] : cases) {
    EXPECT_EQ(!Fault(file, include).empty(), fault) << file << " includes " << include.name;
  }
}

TEST(Layering, NoFileReachesUpOrPastThePlatform) {
  auto sources = Sources("src", "");
  ASSERT_GT(sources.size(), 10u);
  sources.merge(Sources("demo", "demo/"));
  for (const auto& [file, includes] : sources) {
    for (const Include& include : includes) {
      const std::string fault = Fault(file, include);
      EXPECT_EQ(fault, "") << file << " includes " << include.name << ": " << fault;
    }
  }
}

TEST(Layering, PlatformHeadersThatOthersIncludeShowNoToolkit) {
  const auto sources = Sources("src", "");
  std::set<std::string> seen;
  std::vector<std::string> open;
  const auto follow = [&](const std::string& file) {
    const auto found = sources.find(file);
    if (found == sources.end()) return;
    for (const Include& include : found->second) {
      const bool toolkit =
          include.angled && (include.name.starts_with("Q") || include.name.starts_with("boost/"));
      EXPECT_FALSE(toolkit && file.starts_with("platform/"))
          << file << " is included from outside and includes " << include.name;
      if (!include.angled && seen.insert(include.name).second) open.push_back(include.name);
    }
  };
  for (const auto& [file, includes] : sources) {
    if (!file.starts_with("platform/")) follow(file);
  }
  while (!open.empty()) {
    const std::string file = open.back();
    open.pop_back();
    follow(file);
  }
}

}  // namespace
}  // namespace gravlin::testing
