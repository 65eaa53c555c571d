// What the text that unrar writes means for the window that follows it: one line in, what to show
// out.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace gravlin {

// What the parser shows.
class RarView {
 public:
  virtual ~RarView() = default;
  virtual void ShowStatus(std::string_view text) = 0;
  // The archive's volumes, in the order in which the tool opens them.
  virtual void AddVolume(std::string_view name) = 0;
  virtual bool HasFile(std::string_view name) const = 0;
  virtual void AddFile(std::string_view name) = 0;
  virtual void ShowComment(std::string_view comment) = 0;
};

// What is kept from line to line.
struct RarReading {
  std::string ParseMode = "start";  // then "look for comments", then "extracting"
  std::string Delimiter = "/";      // between the folders of a path in the tool's lines
  std::string RarComment;           // lines of the comment, each followed by a CR
  std::string Unfinished;           // what has been read of a line that has no end yet
};

// `whole` is false for a line without its end, whose rest comes with the next call.  Such a line
// means nothing yet: half a word would pass for a line of the comment.  Only the file that is being
// extracted is shown as soon as its name is there, since its line ends when the file does.
void ReadUnrarLine(std::string_view line, bool whole, RarReading& reading, RarView& view);

enum class UnrarEnding { kComplete, kErrors, kNoFiles };

// The end of the run, if the very last line says so: an empty line after it hides it.  Lines must
// not be empty.
std::optional<UnrarEnding> FindUnrarEnding(const std::vector<std::string>& lines);

}  // namespace gravlin
