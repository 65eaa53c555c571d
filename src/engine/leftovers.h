// Parts that an earlier list has left in the folder under names of the list that is being imported.
//
// A part is known by its file's name and its number, and two NZBs may have a file of one name.  But
// each part is a reply, which says whose article it is; the list says whose it should be.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/background.h"
#include "platform/folder_item.h"
#include "platform/folder_reader.h"
#include "platform/thread.h"
#include "store/database.h"

namespace gravlin {

// The message ids that a saved reply gives as its own, in its first line, "220 n <id>", and in its
// header Message-ID; empty where it gives none.
struct OwnIds {
  std::string_view first_line, header;
};
OwnIds IdsOfReply(std::string_view reply);
// False where a reply to ARTICLE <id> cannot be one: it names another article, or begins with no
// code of success (RFC 3977, section 3.2).
bool MayAnswer(std::string_view reply, std::string_view id);

// Looks at the parts while the import goes on, on a thread of its own.
class Leftovers {
 public:
  // Begins with a list of the folder.
  explicit Leftovers(const FolderItem& parts);
  // Gives up what has not been looked at.
  ~Leftovers();
  Leftovers(const Leftovers&) = delete;
  Leftovers& operator=(const Leftovers&) = delete;

  // Files of the list, as rows of NZBFiles.
  void Take(std::vector<DatabaseRecord> rows);
  // All files were taken.  Waits, and gives the names of the parts that say they are other articles
  // than all that the list has for them; a number that the list does not have counts.  What says
  // nothing about itself is not among them.
  std::vector<std::string> OfOthers();
  // Whether it has seen this part with something in it.  Only after OfOthers.
  bool HasSeen(std::string_view part_name) const;

 private:
  struct Part {
    std::string name;
    bool looked_at = false, empty = false;
    bool listed = false;             // the list has one of its ids there
    std::string first_line, header;  // what it says of itself, unless it is listed
  };
  // By number.  Names that differ in case alone count as one file.
  struct File {
    std::unordered_multimap<std::int32_t, Part> parts;
    bool listed = false;
  };

  bool Over() const { return given_up_ || Thread::Ending(); }
  // On the background thread.
  void ListFolder();
  void LookAt(std::string_view filename, std::string_view entries);
  void LookAt(Part& part, std::string_view id);
  OwnIds ReadIds(const std::string& name, std::size_t bytes);

  const FolderItem folder_;
  FolderReader reader_;
  std::string text_;                             // the beginning of the part that was read last
  std::unordered_map<std::string, File> files_;  // names in lower case
  std::atomic<bool> given_up_ = false;
  Background background_;
};

}  // namespace gravlin
