// The command lines of the tools; a path that a shell could misread gets none.
#include "postprocess/tool_commands.h"

#include <algorithm>

#include "nzb/names.h"
#include "platform/text.h"

namespace gravlin {
namespace {

// The path in colon form after the volume's name and its colon.
std::string WithoutVolume(const FolderItem& item) {
  const std::string path = item.AbsolutePath();
  return Mid(path, InStr(path, ":") + 1, 999);
}

std::string InputPath(const FolderItem& input, int fix_path, const std::string& otherwise) {
  if (fix_path == 1) return Code::GetFixedPath(input);
  if (fix_path == 2) return Code::GetFixedPath2(input);
  return otherwise;
}

std::string FromRoot(const std::string& path) { return path.starts_with(':') ? path : ":" + path; }

bool HasQuote(const std::string& path) { return path.find('\'') != std::string::npos; }

bool HasMask(const std::string& path) { return path.find_first_of("*?") != std::string::npos; }

std::string Quoted(const std::string& path) { return "'" + path + "'"; }

}  // namespace

std::string WhyNoCommand(const FolderItem& tool, const FolderItem& input, const FolderItem& output,
                         bool masks) {
  for (const FolderItem* item : {&input, &output, &tool})
    if (HasQuote(item->NativePath())) return "a single quote in the path " + item->NativePath();
  if (masks && HasMask(input.NativePath())) return "a mask in the path " + input.NativePath();
  return {};
}

std::optional<std::string> Par2Command(const FolderItem& tool, const FolderItem& input,
                                       int fix_path, const FolderItem& output,
                                       const std::vector<FolderItem>& more) {
  const std::string a = WithoutVolume(tool), b = InputPath(input, fix_path, ""),
                    c = WithoutVolume(output);
  if (HasQuote(a) || HasQuote(b) || HasQuote(c)) return std::nullopt;
  std::string inputs = Quoted(b);
  for (const FolderItem& file : more) {
    const std::string path = WithoutVolume(file);
    if (!HasQuote(path)) inputs += " " + Quoted(path);
  }
  return ReplaceAll(Quoted(a) + " repair " + inputs + " > " + Quoted(c), ":", "/");
}

std::vector<FolderItem> PutAsideByPar2(const FolderItem& input) {
  constexpr std::size_t kMost = 100;  // a command has a limit
  const FolderItem folder = input.Parent();
  std::string set = Lowercase(input.Name());
  for (const std::string_view ending : {".par2", ".vol", ".par", ".p0"})
    set.resize(std::min(set.rfind(ending), set.size()));
  std::vector<FolderItem> found;
  for (const std::string& name : folder.ChildNames()) {
    const std::size_t dot = name.rfind('.');
    if (dot == std::string::npos || !Lowercase(name).starts_with(set)) continue;
    const std::string number = name.substr(dot + 1);
    const std::int32_t n = ToInt32(Val(number));
    const FolderItem whole = folder.Child(name.substr(0, dot));
    if (n > 0 && Str(n) == number && !whole.IsNil() && whole.Exists() && found.size() < kMost)
      found.push_back(folder.Child(name));
  }
  return found;
}

std::optional<std::string> UnrarCommand(const FolderItem& tool, const FolderItem& input,
                                        int fix_path, const FolderItem& target,
                                        const FolderItem& output) {
  const std::string a = FromRoot(WithoutVolume(tool)), b = FromRoot(InputPath(input, fix_path, a)),
                    f = FromRoot(WithoutVolume(output));
  std::string e = FromRoot(WithoutVolume(target));
  if (!e.ends_with(':')) e += ':';  // a folder that could not be made
  if (HasQuote(a) || HasQuote(b) || HasQuote(e) || HasQuote(f)) return std::nullopt;
  if (HasMask(b)) return std::nullopt;
  return ReplaceAll(Quoted(a) + " e -o+ " + Quoted(b) + " " + Quoted(e) + " > " + Quoted(f), ":",
                    "/");
}

}  // namespace gravlin
