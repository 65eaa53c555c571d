// The floors of the house: what a file may include.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "paths.h"

namespace gravlin::testing {
namespace {

namespace fs = std::filesystem;

// Height of a file named from src/; -1 for what is no room of the program.
int Floor(const std::string& file) {
  static const std::map<std::string, int> rooms = {
      {"platform", 0}, {"app/code.h", 1}, {"app/endpoints.h", 1}, {"store", 2},
      {"nzb", 3},      {"engine", 4},     {"decode", 5},          {"postprocess", 6},
      {"ui", 7},       {"app", 8},        {"main.cpp", 9}};
  const auto room =
      rooms.contains(file) ? rooms.find(file) : rooms.find(fs::path(file).parent_path());
  return room == rooms.end() ? -1 : room->second;
}

// Whether a file under src/ or demo/ may include a header, written with its bracket or quote.
bool Allowed(const std::string& file, const std::string& include) {
  const std::string name = include.substr(1);
  if (include[0] == '<') {
    // Outside platform/ only the language's own headers, the store's library and vector
    // instructions.
    static const std::set<std::string> others = {"sqlite3.h", "immintrin.h", "arm_neon.h"};
    const std::string letters = "abcdefghijklmnopqrstuvwxyz0123456789_";
    return file.starts_with("platform/") || others.contains(name) ||
           name.find_first_not_of(letters) == std::string::npos;
  }
  if (file.starts_with("demo/")) return true;
  return Floor(file) >= Floor(name) && Floor(name) >= 0;
}

// The source files by the name that an include would use, with what they include.
std::map<std::string, std::vector<std::string>> Sources() {
  std::map<std::string, std::vector<std::string>> files;
  const fs::path root = kSourceFolder;
  for (const fs::path& folder : {root / "src", root / "demo"}) {
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
      const fs::path& file = entry.path();
      if (file.extension() != ".h" && file.extension() != ".cpp") continue;
      auto& includes = files[file.lexically_relative(folder == root / "src" ? folder : root)];
      std::ifstream in(file);
      for (std::string line; std::getline(in, line);) {
        char bracket, name[256];
        if (std::sscanf(line.c_str(), " # include %c%255[^>\"]", &bracket, name) == 2) {
          includes.push_back(bracket + std::string(name));
        }
      }
    }
  }
  return files;
}

TEST(Layering, NoFileReachesUpOrPastThePlatformAndNoOtherSeesTheToolkit) {
  const auto files = Sources();
  ASSERT_FALSE(files.at("main.cpp").empty() || files.at("demo/drive.cpp").empty());
  // Headers of platform/ that others see, through however many headers between.
  std::set<std::string> seen;
  const std::function<void(const std::string&)> see = [&](const std::string& include) {
    const std::string file = include.substr(1);
    if (!files.contains(file) || !seen.insert(file).second) return;
    for (const std::string& further : files.at(file)) see(further);
  };
  for (const auto& [file, includes] : files) {
    for (const std::string& include : includes) {
      EXPECT_TRUE(Allowed(file, include)) << file << " includes " << include;
      if (!file.starts_with("platform/")) see(include);
    }
  }
  for (const std::string& file : seen) {
    for (const std::string& include : files.at(file)) {
      EXPECT_FALSE(include.starts_with("<Q") || include.starts_with("<boost/"))
          << file << " is included from outside and includes " << include;
    }
  }
}

}  // namespace
}  // namespace gravlin::testing
