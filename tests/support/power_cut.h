// What a power cut leaves of a folder; see power_cut_preload.cpp, which notes what a process did to
// it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace gravlin::testing {

// The environment that makes a process note its changes below `root` in the folder `journal`, which
// is emptied.
std::vector<std::string> NotePowerCut(const std::filesystem::path& root,
                                      const std::filesystem::path& journal,
                                      const std::filesystem::path& preload);

// Takes back, by the journal of a process that is no more, what no flush had reached.  Names come
// back in reverse order up to some moment behind the last flush of a folder; a file that was not
// flushed is cut off, ends in zero bytes, has a hole, or is whole.  The seed chooses.  Gives the
// number of names and files that suffered.
int CutPower(const std::filesystem::path& root, const std::filesystem::path& journal,
             std::uint64_t seed);

}  // namespace gravlin::testing
