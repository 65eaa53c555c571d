// gravlin-make-rar FOLDER BASE [-v BYTES] [-c COMMENT] FILE...
// Writes a RAR 5 archive of the files; their names inside are the last parts of their paths.
#include <cstdio>
#include <exception>
#include <fstream>
#include <iterator>

#include "loopback/rar_writer.h"

int main(int argc, char** argv) try {
  gravlin::loopback::RarOptions options;
  std::vector<gravlin::loopback::RarMember> members;
  for (int i = 3; i < argc; ++i) {
    const std::string argument = argv[i];
    if ((argument == "-v" || argument == "-c") && i + 1 < argc) {
      const std::string value = argv[++i];
      if (argument == "-v") options.volume_size = std::stoul(value);
      if (argument == "-c") options.comment = value;
      continue;
    }
    std::ifstream file(argument, std::ios::binary);
    if (!file) throw std::runtime_error("cannot read " + argument);
    members.push_back({std::filesystem::path(argument).filename().string(),
                       std::string(std::istreambuf_iterator<char>(file), {})});
  }
  if (members.empty()) throw std::runtime_error("no files given");
  for (const std::string& name : gravlin::loopback::WriteRar(argv[1], argv[2], members, options))
    std::puts(name.c_str());
} catch (const std::exception& failure) {
  std::fprintf(stderr, "gravlin-make-rar: %s\n", failure.what());
  return 1;
}
