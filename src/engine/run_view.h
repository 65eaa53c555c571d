// What a run shows, and the little that it asks of the one who shows it.
#pragma once

#include <cstdint>
#include <string_view>

#include "engine/server_settings.h"

namespace gravlin {

class FolderItem;
class RecordSet;

class RunView {
 public:
  virtual ~RunView() = default;

  virtual void ShowStatus(std::string_view text) = 0;
  // What the next press of Start does, and whether it may come.
  virtual void ShowStartButton(bool stops) = 0;
  virtual void EnableStartButton(bool enabled) = 0;

  // The bar alone, 0 to 100; and the bar with its figure.
  virtual void ShowBar(int percent) = 0;
  virtual void ShowPercent(double percent) = 0;
  virtual void ShowMegabytes(double megabytes) = 0;  // of this session
  // Kilobits per second.
  virtual void ShowSpeed(std::int32_t now) = 0;
  virtual void ShowPeak(std::int32_t highest) = 0;
  virtual void ShowTimeLeft(std::int64_t seconds) = 0;
  virtual void ShowTotalTime(std::int64_t seconds) = 0;
  // What the user may do after the end of a run; empty when the next one begins.
  virtual void ShowAdvice(std::string_view text) = 0;

  // Percent of the NZB that has been read; below 0 when no import is under way.
  virtual void ShowImportBar(int percent) = 0;
  // The import has ended well; the download is the next step.
  virtual void ShowDownloadTab() = 0;

  // The server as the form has it now.
  virtual ServerSettings FormServer() const = 0;
  // Puts the row of the store into the form.
  virtual void FillServerForm(const RecordSet& server) = 0;
  // The server has refused the log-on.
  virtual void ShowConnectionError(std::string_view reason) = 0;

  // All files have come.  `rar` is the set's archive, or its folder if it has none.
  virtual void BeginRepair(const FolderItem& par, const FolderItem& rar) = 0;
};

}  // namespace gravlin
