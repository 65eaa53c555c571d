// What each line of unrar's output means.
#include "postprocess/rar_parser.h"

#include "platform/text.h"

namespace gravlin {
namespace {

// Everything between the first volume's line and the first file's line is the archive's comment.
void CollectComment(std::string_view line, RarReading& reading, RarView& view) {
  if (!BeginsWith(line, "Extracting ")) {
    reading.RarComment.append(line).append("\r");
    return;
  }
  reading.ParseMode = "extracting";
  // Up to two empty lines stand there without any comment.
  if (reading.RarComment.size() <= 2) return;
  view.ShowComment(reading.RarComment);
  reading.RarComment.clear();
}

void ReadVolume(std::string_view line, RarReading& reading, RarView& view) {
  if (reading.ParseMode == "start") {
    reading.ParseMode = "look for comments";
    view.ShowStatus("Extracting...");
  }
  const int slash = LastInStr(line, reading.Delimiter);
  if (slash > 0) view.AddVolume(Mid(line, slash + 1, 999));
}

// Extracting  path      percentages and backspaces.    The first blank of the run stays at the
// name's end: it is how names are shown and compared.  A name so long that no run of three blanks
// follows gives an empty row.
void ReadFile(std::string_view line, const RarReading& reading, RarView& view) {
  const std::string rest = Mid(line, 13, 9999);
  const std::string path = Mid(rest, 1, InStr(rest, "   "));
  const std::string name = Mid(path, LastInStr(path, reading.Delimiter) + 1, 999);
  if (!view.HasFile(name)) view.AddFile(name);
}

void Judge(std::string_view line, RarReading& reading, RarView& view) {
  // In this order: the first volume's line must not be taken for comment text.
  if (reading.ParseMode == "look for comments") CollectComment(line, reading, view);
  if (BeginsWith(line, "Extracting from")) ReadVolume(line, reading, view);
  if (BeginsWith(line, "Extracting  ")) ReadFile(line, reading, view);
}

}  // namespace

void ReadUnrarLine(std::string_view line, bool whole, RarReading& reading, RarView& view) {
  reading.Unfinished.append(line);
  const bool named =
      BeginsWith(reading.Unfinished, "Extracting  ") && InStr(13, reading.Unfinished, "   ") > 0;
  if (whole || named) Judge(reading.Unfinished, reading, view);
  if (whole) reading.Unfinished.clear();
}

std::optional<UnrarEnding> FindUnrarEnding(const std::vector<std::string>& lines) {
  const std::string& last = lines.back();
  if (SameText(last, "All OK")) return UnrarEnding::kComplete;
  if (BeginsWith(last, "Total errors: ")) return UnrarEnding::kErrors;
  if (SameText(last, "No files to extract")) return UnrarEnding::kNoFiles;
  return std::nullopt;
}

}  // namespace gravlin
