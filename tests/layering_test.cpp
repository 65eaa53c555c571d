// What a file may include: the floors of the program, and loopback/, which uses none of them.  Only
// platform/ finds the toolkit's headers, so that the build keeps them out of platform/'s headers.
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

// Whether a file under src/, demo/ or loopback/ may include a header, given with bracket or quote.
bool Allowed(const std::string& file, const std::string& include) {
  const std::string name = include.substr(1);
  if (file.starts_with("loopback/walks/")) return true;  // they are about the program
  if (file.starts_with("loopback/"))
    return include[0] == '<' ? Floor(name) < 0 : name.starts_with("loopback/");
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
  for (const fs::path& folder : {root / "src", root / "demo", root / "loopback"}) {
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
  for (const char* const file : {"main.cpp", "demo/drive.cpp", "loopback/news_server.cpp"})
    EXPECT_TRUE(files.contains(file)) << file;
}

}  // namespace
}  // namespace gravlin::testing
