// The real unrar is the judge of our archives.
#include "support/rar_writer.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "support/temp_folder.h"

namespace gravlin::testing {
namespace {

// What a shell command writes.
std::string Output(const std::string& command) {
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  std::string text;
  for (int c; (c = fgetc(pipe.get())) != EOF;) text += static_cast<char>(c);
  return text;
}

std::string Noise(std::size_t size) {
  std::string bytes(size, '\0');
  unsigned state = 1;
  for (char& byte : bytes) byte = static_cast<char>((state = state * 1103515245 + 12345) >> 16);
  return bytes;
}

TEST(RarWriter, UnrarGetsBackWhatWasWritten) {
  struct Case {
    RarOptions options;
    std::size_t volumes;
  };
  const Case cases[] = {
      {{0, "", ""}, 1},
      {{0, "A comment,\nfür dich", ""}, 1},
      {{30000, "First volume only", ""}, 4},
      {{0, "", "secret"}, 1},
      {{30000, "", "secret"}, 4},
      {{100000, "", ""}, 2},
  };
  const std::vector<RarMember> members = {
      {"big file (1) [x].bin", Noise(100000)}, {"empty.txt", ""}, {"süß.txt", Noise(17777)}};
  for (const Case& c : cases) {
    const TempFolder folder;
    const std::vector<std::string> names = WriteRar(folder.Path(), "a - b", members, c.options);
    ASSERT_EQ(names.size(), c.volumes);
    for (const std::string& name : names) {
      const std::size_t most = c.options.volume_size > 0 ? c.options.volume_size : 200000;
      EXPECT_LE(std::filesystem::file_size(folder / name), most);
    }
    const std::string text = Output("cd '" + folder.Path().string() + "' && unrar e -y -psecret '" +
                                    names[0] + "' out/ 2>&1");
    EXPECT_TRUE(text.ends_with("All OK\n")) << text;
    EXPECT_NE(text.find(c.options.comment), std::string::npos) << text;
    for (const RarMember& member : members)
      EXPECT_TRUE(ReadFile(folder / "out" / member.name) == member.bytes) << member.name;
  }
}

}  // namespace
}  // namespace gravlin::testing
