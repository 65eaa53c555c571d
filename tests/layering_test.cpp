// The floors of the program: what a file may include.  The build makes sure that no header of
// platform/ includes the toolkit, because only platform/ finds the toolkit's headers.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>

#include "paths.h"

namespace gravlin::testing {
namespace {

namespace fs = std::filesystem;

// The floor of a file named from src/; -1 if it is in no room of the program.
int Floor(const std::string& file) {
  static const std::map<std::string, int> rooms = {
      {"platform", 0}, {"base", 1},        {"store", 2}, {"nzb", 3}, {"engine", 4},
      {"decode", 5},   {"postprocess", 6}, {"ui", 7},    {"app", 8}, {"main.cpp", 9}};
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

TEST(Layering, NoFileReachesUpAndNoneOutsideThePlatformSeesTheToolkit) {
  const fs::path root = kSourceFolder;
  std::set<std::string> files;
  for (const fs::path& folder : {root / "src", root / "demo"}) {
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
      const fs::path& path = entry.path();
      if (path.extension() != ".h" && path.extension() != ".cpp") continue;
      // The name that an include would use.
      const std::string file = path.lexically_relative(folder == root / "src" ? folder : root);
      std::ifstream in(path);
      for (std::string line; std::getline(in, line);) {
        char bracket, name[256];
        if (std::sscanf(line.c_str(), " # include %c%255[^>\"]", &bracket, name) != 2) continue;
        files.insert(file);
        EXPECT_TRUE(Allowed(file, bracket + std::string(name))) << file << " includes " << name;
      }
    }
  }
  EXPECT_TRUE(files.contains("main.cpp") && files.contains("demo/drive.cpp"));
}

}  // namespace
}  // namespace gravlin::testing
