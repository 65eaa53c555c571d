// The room on the disk, counted before a run.
#include "engine/room.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>

#include "engine/engine.h"
#include "platform/desktop.h"
#include "platform/text.h"
#include "platform/thread.h"
#include "store/database.h"

namespace gravlin {
namespace {

// yEnc makes 128 bytes into a line of 130 and escapes some, and an article has a header.
constexpr double kDecodedShare = 0.97;
constexpr int kRowsAtATime = 64;  // their articles are a few megabytes
constexpr int kOkOrCancel = 49, kOk = 1;

// "" if there is enough, or if the system does not say how much there is.
std::string Missing(double needed, const std::optional<DiskRoom>& room, std::string_view where) {
  if (!room || room->bytes >= needed) return {};
  const double missing = needed - room->bytes;
  const std::string amount = missing < 1e9 ? Format(std::ceil(missing / 1e6), "0") + " MB"
                                           : Format(missing / 1e9, "#,##0.0") + " GB";
  return "about " + amount + " are missing on the disk" + std::string(where);
}

}  // namespace

double BytesOfArticles(std::string_view parts) {
  double sum = 0;
  while (!parts.empty()) {
    const std::string_view entry = parts.substr(0, parts.find(','));
    parts.remove_prefix(std::min(entry.size() + 1, parts.size()));
    const std::size_t dash = entry.find('-');
    if (dash == std::string_view::npos) continue;
    // A reply that is longer is thrown away.
    const double longest = static_cast<double>(SSLSocket::kReceiveLimit);
    sum +=
        std::clamp(Val(entry.substr(dash + 1, entry.find('-', dash + 1) - dash - 1)), 0.0, longest);
  }
  return sum;
}

RoomNeeded RoomFor(const std::vector<FileToCome>& files) {
  RoomNeeded needed;
  double one_disk = 0, freed = 0;  // what the files before have left, and have given back
  for (const FileToCome& file : files) {
    const double present = file.bytes * file.present, decoded = file.bytes * kDecodedShare;
    const double grows = file.bytes - present + file.bytes + decoded;  // articles, joined, decoded
    needed.on_one_disk = std::max(needed.on_one_disk, one_disk + grows);
    needed.parts = std::max(needed.parts, grows - freed);
    needed.downloads += decoded;
    one_disk += decoded - present;
    freed += present;
  }
  return needed;
}

// Of all files, by their IDs.  Not all at once: the articles of a long set are many megabytes.
std::unordered_map<std::int32_t, double> Engine::BytesOfFiles() {
  std::unordered_map<std::int32_t, double> bytes;
  for (std::int64_t last = 0, count = kRowsAtATime; count == kRowsAtATime;) {
    const auto rows = db->SQLSelect("Select ID, Parts from NZBFiles where ID>" + Str(last) +
                                    " Order by ID Limit " + Str(kRowsAtATime));
    count = rows ? rows->RecordCount() : 0;
    for (; rows && !rows->EndOfFile(); rows->MoveNext()) {
      last = rows->Field("ID").Int64Value();
      bytes[static_cast<std::int32_t>(last)] = BytesOfArticles(rows->Field("Parts").View());
      Thread::Yield();
    }
  }
  return bytes;
}

// What is too large is said in a box: false if the user would rather make room first.
bool Engine::RoomForTheRest() {
  const std::unordered_map<std::int32_t, double> bytes = BytesOfFiles();
  std::vector<FileToCome> files;
  for (int row = 0; row < List.ListCount(); ++row) {  // an import may empty it meanwhile
    const FileRow& file = List.At(row);
    const auto found = bytes.find(file.id);
    if (!file.done && found != bytes.end() && !IsInDownloads(file.filename)) {
      const double total = std::max(file.total_parts, 1);
      files.push_back({found->second, std::min(file.parts_present / total, 1.0)});
    }
    Thread::Yield();
  }
  const RoomNeeded needed = RoomFor(files);
  const auto parts = TheDesktop().RoomFor(fParts), downloads = TheDesktop().RoomFor(fDownloads);
  std::string missing;
  if (parts && downloads && parts->disk == downloads->disk) {
    missing = Missing(needed.on_one_disk, parts, "");
  } else {
    missing = Missing(needed.parts, parts, " of the Parts folder");
    const std::string more = Missing(needed.downloads, downloads, " of the Downloads folder");
    missing += (missing.empty() || more.empty() ? "" : ", and ") + more;
  }
  if (!missing.empty() && MsgBox("There is not enough room for what is left to download: " +
                                     missing + ". Start all the same?",
                                 kOkOrCancel) != kOk)
    return false;
  return may::Start(CurrentSituation());
}

}  // namespace gravlin
