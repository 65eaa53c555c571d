// The command line of gravlin-drive, read into its options.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>

#include "drive.h"
#include "platform/text.h"

namespace gravlin {

const char* const kDriveUsage =
    R"(usage: gravlin-drive --data FOLDER [option]...
Runs Gravlin's own windows unattended: fills in the server form, imports the NZB, presses Start, and waits for the end.
  --data FOLDER             application data of this run (store, parts, downloads)
  --server HOST --port N    the news server; without it, the one that is stored
  --ssl off|v1|v2|"v2 or 3"|v3
  --user NAME               with --pass WORD, --pass-file FILE or the variable GRAVLIN_PASSWORD
  --ca FILE                 also trusts the certificates of this PEM file
  --nzb FILE                imports it first; without it, the stored queue continues
  --until imported|downloaded|repaired|extracted   the last step; repair and extraction start by themselves
  --timeout SECONDS         gives up after that time
  --repeat SECONDS          during that time, deletes the downloads and imports again
  --screenshots FOLDER      receives pictures of the windows
Exits with 0 only if all was done without errors, 1 if not, 2 after wrong usage.
)";

namespace {

FolderItem Absolute(const std::string& path) {
  return FolderItem::FromPath(std::filesystem::absolute(path).lexically_normal().string());
}

FolderItem MakeFolder(const std::string& path) {
  std::error_code failed;
  std::filesystem::create_directories(path, failed);
  return std::filesystem::is_directory(path, failed) ? Absolute(path) : FolderItem();
}

using Values = std::map<std::string, std::string>;

// Reads pairs of name and value; returns what is wrong, or "" if nothing is.
std::string ReadPairs(const std::vector<std::string>& words, Values& values) {
  static constexpr std::string_view kNames[] = {
      "--data", "--server", "--port",  "--ssl",     "--user",        "--pass",  "--pass-file",
      "--ca",   "--nzb",    "--until", "--timeout", "--screenshots", "--repeat"};
  for (std::size_t i = 0; i < words.size(); i += 2) {
    bool known = false;
    for (const std::string_view name : kNames) known = known || name == words[i];
    if (!known) return "unknown option " + words[i];
    if (i + 1 == words.size()) return words[i] + " needs a value";
    values[words[i]] = words[i + 1];
  }
  return values.contains("--data") ? "" : "--data is missing";
}

std::string ReadPassword(const Values& values, std::string& password) {
  const char* const variable = std::getenv("GRAVLIN_PASSWORD");
  if (variable) password = variable;
  if (const auto given = values.find("--pass"); given != values.end()) password = given->second;
  const auto file = values.find("--pass-file");
  if (file == values.end()) return "";
  std::ifstream in(file->second);
  return std::getline(in, password) ? "" : "cannot read " + file->second;
}

std::string ReadGoal(const std::string& text, Goal& goal) {
  static const std::map<std::string, Goal> kGoals = {{"imported", Goal::kImported},
                                                     {"downloaded", Goal::kDownloaded},
                                                     {"repaired", Goal::kRepaired},
                                                     {"extracted", Goal::kExtracted}};
  const auto found = kGoals.find(text);
  if (found == kGoals.end()) return "--until is imported, downloaded, repaired or extracted";
  goal = found->second;
  return "";
}

std::string ReadSsl(const std::string& text, int& row) {
  static constexpr std::string_view kRows[] = {"off", "v3", "v2 or 3", "v2", "v1"};
  for (row = 0; row < 5; ++row) {
    if (kRows[row] == text) return "";
  }
  return "--ssl is off, v1, v2, \"v2 or 3\" or v3";
}

std::string ReadAll(const Values& values, DriveOptions& options) {
  const auto text = [&](const char* name, const char* otherwise) -> std::string {
    const auto found = values.find(name);
    return found == values.end() ? otherwise : found->second;
  };
  options.data = MakeFolder(text("--data", ""));
  if (options.data.IsNil()) return "cannot make the folder " + text("--data", "");
  options.host = text("--server", "");
  options.user = text("--user", "");
  options.port = ToInt32(Val(text("--port", "119")));
  options.timeout = Val(text("--timeout", "0"));
  options.repeat = Val(text("--repeat", "0"));
  if (options.port < 1 || options.port > 65535) return "--port is a number from 1 to 65535";
  if (values.contains("--ca")) options.authority = Absolute(text("--ca", ""));
  if (values.contains("--nzb")) {
    options.nzb = Absolute(text("--nzb", ""));
    if (!options.nzb.Exists()) return "there is no " + options.nzb.NativePath();
  }
  if (values.contains("--screenshots")) {
    options.screenshots = MakeFolder(text("--screenshots", ""));
    if (options.screenshots.IsNil()) return "cannot make the folder of --screenshots";
  }
  for (std::string fault : {ReadSsl(text("--ssl", "off"), options.ssl),
                            ReadGoal(text("--until", "downloaded"), options.goal),
                            ReadPassword(values, options.password)}) {
    if (!fault.empty()) return fault;
  }
  return "";
}

}  // namespace

std::optional<DriveOptions> ParseDriveOptions(const std::vector<std::string>& words,
                                              std::string& fault) {
  Values values;
  DriveOptions options;
  fault = ReadPairs(words, values);
  if (fault.empty()) fault = ReadAll(values, options);
  if (!fault.empty()) return std::nullopt;
  return options;
}

}  // namespace gravlin
