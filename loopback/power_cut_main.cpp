// gravlin-power-cut: changes a folder as a power cut at the end of a process would have done.
//
// It undoes what no flush had reached, by the journal of a process that has ended
// (power_cut_preload.cpp writes it).  Names are undone in reverse order back to some moment after
// the last flush of a folder; a file that was not flushed is cut off, ends in zero bytes, has a
// hole, or is whole.  The seed chooses.  It prints the number of names and files that it damaged.
#include <sys/stat.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

struct Noted {
  std::string kind, first, second;
};

std::vector<Noted> ReadJournal(const fs::path& file) {
  std::vector<Noted> all;
  std::ifstream in(file);
  for (std::string line; std::getline(in, line);) {
    Noted noted;
    std::istringstream fields(line);
    std::getline(fields, noted.kind, '\t');
    std::getline(fields, noted.first, '\t');
    std::getline(fields, noted.second, '\t');
    all.push_back(noted);
  }
  return all;
}

// Names of changes that are not flushed.  Changes before a flushed one are flushed too, because a
// file system with a journal keeps the order.
int TakeBackNames(const std::vector<Noted>& journal, std::mt19937_64& random) {
  std::vector<Noted> names;
  std::size_t safe = 0;
  for (const Noted& noted : journal) {
    if (noted.kind == "made" || noted.kind == "renamed" || noted.kind == "deleted")
      names.push_back(noted);
    if (noted.kind != "folder") continue;
    for (std::size_t i = safe; i < names.size(); ++i) {
      const std::string& name = names[i].kind == "renamed" ? names[i].second : names[i].first;
      if (fs::path(name).parent_path() == noted.first) safe = i + 1;
    }
  }
  const std::size_t kept = safe + random() % (names.size() - safe + 1);
  std::error_code ignored;
  for (std::size_t i = names.size(); i-- > kept;) {
    if (names[i].kind == "made")
      fs::remove(names[i].first, ignored);
    else
      fs::rename(names[i].second, names[i].first, ignored);
  }
  return static_cast<int>(names.size() - kept);
}

void Damage(const fs::path& file, std::uint64_t flushed, std::mt19937_64& random) {
  const std::uint64_t size = fs::file_size(file);
  const std::uint64_t cut = flushed + random() % (size - flushed + 1);
  const auto choice = random() % 4;
  if (choice == 0) return;
  if (choice < 3) fs::resize_file(file, cut);
  if (choice == 1) return;
  if (choice == 2) {  // the length reached the disk, the bytes did not
    fs::resize_file(file, size);
    return;
  }
  const std::uint64_t from = std::max(flushed, cut / 4096 * 4096);
  std::fstream out(file, std::ios::in | std::ios::out | std::ios::binary);
  out.seekp(static_cast<std::streamoff>(from));
  out << std::string(std::min<std::uint64_t>(4096, size - from), '\0');
}

int DamageFiles(const std::vector<Noted>& journal, const fs::path& root, const fs::path& kept,
                std::mt19937_64& random) {
  std::map<std::string, std::uint64_t> unsafe;  // by inode, the bytes of it that are flushed
  for (const Noted& noted : journal) {
    if (noted.kind == "changed") unsafe[noted.first] = std::stoull(noted.second);
    if (noted.kind == "flushed") unsafe.erase(noted.first);
  }
  int damaged = 0;
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    struct stat about {};
    if (stat(entry.path().c_str(), &about) != 0 || !S_ISREG(about.st_mode)) continue;
    const std::string inode = std::to_string(about.st_ino);
    if (entry.path().string().ends_with("-shm")) fs::remove(entry.path());
    const auto found = unsafe.find(inode);
    if (found == unsafe.end()) continue;
    ++damaged;
    const fs::path state = kept / ("flushed-" + inode);
    if (entry.path().string().find(".rsd") == std::string::npos) {
      Damage(entry.path(), std::min<std::uint64_t>(found->second, entry.file_size()), random);
    } else if (random() % 2 == 0) {
      if (fs::exists(state))
        fs::copy_file(state, entry.path(), fs::copy_options::overwrite_existing);
      else
        fs::resize_file(entry.path(), 0);
    }
  }
  return damaged;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: gravlin-power-cut ROOT JOURNAL SEED\n");
    return 2;
  }
  const fs::path root = argv[1], journal = argv[2];
  std::mt19937_64 random(std::strtoull(argv[3], nullptr, 10));
  const std::vector<Noted> noted = ReadJournal(journal / "journal");
  const int names = TakeBackNames(noted, random);
  std::printf("%d\n", names + DamageFiles(noted, root, journal, random));
  return 0;
}
