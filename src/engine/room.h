// How much room on the disk the rest of a download takes.
#pragma once

#include <string_view>
#include <vector>

namespace gravlin {

// Bytes of the articles of one file, from its column Parts, where each entry is
// number-bytes-message id.
double BytesOfArticles(std::string_view parts);

struct FileToCome {
  double bytes = 0;    // of its articles
  double present = 0;  // the share of them that lies in the Parts folder, 0 to 1
};

// Bytes that are to be free for the fullest moment of the run.  The parts of one file, and its
// joined and decoded forms, are there at the same time; of those before it only the finished file.
struct RoomNeeded {
  double on_one_disk = 0;
  double parts = 0, downloads = 0;  // where the two folders lie on two disks
};

// In the order in which they come.
RoomNeeded RoomFor(const std::vector<FileToCome>& files);

}  // namespace gravlin
