// The cells of a select, kept in a few blocks, and rows that are changed through it.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

#include "platform/failures.h"
#include "platform/text.h"
#include "store/database.h"

namespace gravlin {
namespace {

// Size of the blocks that hold the cells; a longer cell gets a block of its own.
constexpr std::size_t kBlockBytes = 64 * 1024;

}  // namespace

void DatabaseRecord::SetColumn(std::string_view name, std::string_view text) {
  columns_.emplace_back(name, std::string(text));
}

void DatabaseRecord::SetIntegerColumn(std::string_view name, std::int64_t value) {
  columns_.emplace_back(name, value);
}

void DatabaseRecord::SetBooleanColumn(std::string_view name, bool value) {
  columns_.emplace_back(name, std::int64_t{value});
}

double DatabaseField::DoubleValue() const {
  // Unlike typed text, a number that the store prints may have an exponent.
  if (text_.find_first_of("eE") == std::string_view::npos) return Val(text_);
  double value = 0;
  const auto [end, error] = std::from_chars(text_.data(), text_.data() + text_.size(), value);
  return error == std::errc() && std::isfinite(value) ? value : 0;
}

std::int64_t DatabaseField::Int64Value() const {
  std::int64_t value = 0;
  const char* const end = text_.data() + text_.size();
  const auto [stop, error] = std::from_chars(text_.data(), end, value);
  if (error == std::errc() && (stop == end || (*stop != '.' && *stop != 'e'))) return value;
  constexpr double kLimit = 9223372036854775808.0;
  const double wide = DoubleValue();
  return wide > -kLimit && wide < kLimit ? static_cast<std::int64_t>(wide) : 0;
}

std::int32_t DatabaseField::IntegerValue() const {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(Int64Value()));
}

bool DatabaseField::BooleanValue() const { return text_ == "1" || SameText(text_, "True"); }

bool RecordSet::EndOfFile() const { return row_ * columns_.size() >= cells_.size(); }

void RecordSet::MoveNext() {
  if (!EndOfFile()) ++row_;
  edits_.clear();
}

int RecordSet::RecordCount() const {
  return columns_.empty() ? 0 : static_cast<int>(cells_.size() / columns_.size());
}

DatabaseField RecordSet::Field(std::string_view name) const {
  if (EndOfFile()) throw NilObjectException();
  return DatabaseField(cells_[row_ * columns_.size() + ColumnIndex(name)]);
}

std::size_t RecordSet::ColumnIndex(std::string_view name) const {
  const auto found = std::find_if(columns_.begin(), columns_.end(),
                                  [name](const auto& column) { return SameText(column, name); });
  if (found == columns_.end()) throw NilObjectException();
  return static_cast<std::size_t>(found - columns_.begin());
}

void RecordSet::Edit() {
  if (EndOfFile()) throw NilObjectException();
  edits_.clear();
}

void RecordSet::SetField(std::string_view name, std::string_view text) {
  edits_.emplace_back(columns_[ColumnIndex(name)], text);
}

void RecordSet::SetField(std::string_view name, bool value) {
  SetField(name, std::string_view(value ? "1" : "0"));
}

bool RecordSet::Update() {
  if (edits_.empty() || !database_->UpdateRow(*this, Field("ID").View())) return false;
  for (const auto& [name, text] : edits_) {
    cells_[row_ * columns_.size() + ColumnIndex(name)] = Keep(text);
  }
  edits_.clear();
  return true;
}

std::string_view RecordSet::Keep(std::string_view bytes) {
  if (bytes.empty()) return {};
  if (bytes.size() > free_size_) {
    if (bytes.size() >= kBlockBytes / 4) {
      blocks_.push_back(std::make_unique_for_overwrite<char[]>(bytes.size()));
      std::memcpy(blocks_.back().get(), bytes.data(), bytes.size());
      return {blocks_.back().get(), bytes.size()};
    }
    blocks_.push_back(std::make_unique_for_overwrite<char[]>(kBlockBytes));
    free_ = blocks_.back().get();
    free_size_ = kBlockBytes;
  }
  std::memcpy(free_, bytes.data(), bytes.size());
  const std::string_view kept(free_, bytes.size());
  free_ += bytes.size();
  free_size_ -= bytes.size();
  return kept;
}

}  // namespace gravlin
