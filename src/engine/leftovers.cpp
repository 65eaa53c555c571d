// What parts say about themselves, compared with the list.
#include "engine/leftovers.h"

#include <algorithm>
#include <charconv>
#include <memory>
#include <utility>
#include <variant>

#include "platform/text.h"

namespace gravlin {
namespace {

// The first line lies in the first of these, and so does the header of nearly every article.
constexpr std::size_t kGlance = 1024, kWholeHeader = 16 * 1024;
constexpr std::string_view kBlanks = " \t\r\n";  // a header may go on in the next line

std::string_view WithoutBrackets(std::string_view id) {
  if (id.starts_with('<')) id.remove_prefix(1);
  if (id.ends_with('>')) id.remove_suffix(1);
  return id;
}

// "id" of "<id>..."; empty for anything else.
std::string_view IdIn(std::string_view text) {
  const std::size_t end = text.find_first_of("> \t\r\n");
  if (!text.starts_with('<') || end == std::string_view::npos || text[end] != '>') return {};
  return text.substr(1, end - 1);
}

// "a.rar" and 12 of "a.rar-p00012.txt"; number 0 for any name that PartFileNameOf does not make.
std::pair<std::string_view, std::int32_t> FileAndNumber(std::string_view part_name) {
  const std::size_t dash = std::min(part_name.rfind("-p"), part_name.size());
  const std::string_view ending = part_name.substr(std::min(dash + 2, part_name.size()));
  std::int32_t number = 0;
  const auto [digits_end, error] =
      std::from_chars(ending.data(), ending.data() + ending.size(), number);
  const auto digits = static_cast<std::size_t>(digits_end - ending.data());
  const bool canonical = digits == 5 || (digits > 5 && ending.front() != '0');
  if (error != std::errc() || !canonical || ending.substr(digits) != ".txt") number = 0;
  return {part_name.substr(0, dash), std::max(number, 0)};
}

bool Say(const OwnIds& ids, std::string_view id) {
  return !id.empty() && (SameText(ids.first_line, id) || SameText(ids.header, id));
}

std::string_view TextOf(const DatabaseRecord& row, std::string_view column) {
  for (const auto& [name, value] : row.Columns())
    if (name == column) return std::get<std::string>(value);
  return {};
}

}  // namespace

OwnIds IdsOfReply(std::string_view reply) {
  constexpr std::string_view kHeader = "Message-ID:";
  OwnIds ids;
  for (bool first = true; !reply.empty() && ids.header.empty(); first = false) {
    const std::size_t end = std::min(reply.find('\n'), reply.size());
    const std::string_view line = reply.substr(0, end);
    if (line.empty() || line == "\r") break;  // the body is next
    if (first && line.starts_with("220")) {
      ids.first_line = IdIn(line.substr(std::min(line.find('<'), line.size())));
    } else if (BeginsWith(line, kHeader)) {
      const std::size_t value = reply.find_first_not_of(kBlanks, kHeader.size());
      ids.header = IdIn(reply.substr(std::min(value, reply.size())));
    }
    reply.remove_prefix(std::min(end + 1, reply.size()));
  }
  return ids;
}

bool MayAnswer(std::string_view reply, std::string_view id) {
  const OwnIds ids = IdsOfReply(reply);
  const bool says = !ids.first_line.empty() || !ids.header.empty();
  return reply.starts_with('2') && (!says || Say(ids, WithoutBrackets(id)));
}

Leftovers::Leftovers(const FolderItem& parts) : folder_(parts), reader_(parts) {
  background_.Start([this] { ListFolder(); });
}

Leftovers::~Leftovers() { given_up_ = true; }

void Leftovers::Take(std::vector<DatabaseRecord> rows) {
  // A function must be copyable.
  const auto taken = std::make_shared<const std::vector<DatabaseRecord>>(std::move(rows));
  background_.Start([this, taken] {
    for (const DatabaseRecord& row : *taken) LookAt(TextOf(row, "Filename"), TextOf(row, "Parts"));
  });
}

std::vector<std::string> Leftovers::OfOthers() {
  const auto names = std::make_shared<std::vector<std::string>>();
  background_.Start([this, names] {
    for (auto& [filename, file] : files_) {
      if (!file.listed) continue;
      for (auto& [number, part] : file.parts) {
        if (Over()) return;
        if (!part.looked_at) LookAt(part, {});
        const bool says = !part.first_line.empty() || !part.header.empty();
        if (says && !part.listed) names->push_back(part.name);
      }
    }
  });
  background_.Wait();
  return std::move(*names);
}

bool Leftovers::HasSeen(std::string_view part_name) const {
  const auto [filename, number] = FileAndNumber(part_name);
  const auto file = files_.find(Lowercase(filename));
  if (number == 0 || file == files_.end()) return false;
  const auto [begin, end] = file->second.parts.equal_range(number);
  return std::any_of(begin, end, [part_name](const auto& entry) {
    const Part& part = entry.second;
    return part.name == part_name && part.looked_at && !part.empty;
  });
}

void Leftovers::ListFolder() {
  for (std::string& name : folder_.ChildNames()) {
    const auto [filename, number] = FileAndNumber(name);
    if (number > 0)
      files_[Lowercase(filename)].parts.emplace(number, Part{.name = std::move(name)});
  }
}

void Leftovers::LookAt(std::string_view filename, std::string_view entries) {
  const auto found = files_.find(Lowercase(filename));
  if (found == files_.end()) return;
  File& file = found->second;
  file.listed = true;
  while (!entries.empty() && !Over()) {
    const std::string_view entry = entries.substr(0, entries.find(','));
    entries.remove_prefix(std::min(entry.size() + 1, entries.size()));
    std::int32_t number = 0;
    std::from_chars(entry.data(), entry.data() + entry.size(), number);
    const auto [begin, end] = file.parts.equal_range(number);
    if (begin == end) continue;
    std::size_t id = entry.find('-');
    if (id != std::string_view::npos) id = entry.find('-', id + 1);
    if (id == std::string_view::npos) continue;
    for (auto part = begin; part != end; ++part) LookAt(part->second, entry.substr(id + 1));
  }
}

void Leftovers::LookAt(Part& part, std::string_view id) {
  const std::string_view listed = WithoutBrackets(id);
  if (part.listed) return;
  if (part.looked_at) {
    part.listed = Say({part.first_line, part.header}, listed);
    return;
  }
  part.looked_at = true;
  OwnIds ids = ReadIds(part.name, kGlance);
  part.empty = text_.empty();
  if (!Say(ids, listed) && text_.size() == kGlance) ids = ReadIds(part.name, kWholeHeader);
  part.listed = Say(ids, listed);
  if (part.listed) return;
  part.first_line = ids.first_line;
  part.header = ids.header;
}

// Valid until the next call.
OwnIds Leftovers::ReadIds(const std::string& name, std::size_t bytes) {
  text_.resize(bytes);
  text_.resize(reader_.Read(name, text_.data(), bytes));
  return IdsOfReply(text_);
}

}  // namespace gravlin
