// The windows of both tools as plain texts: what they would show of a tool's output.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/text.h"
#include "postprocess/par_parser.h"
#include "postprocess/rar_parser.h"

namespace gravlin::testing {

// A row that does not exist throws std::out_of_range, which ends a test and a fuzzer.
struct ToolViews : ParView, RarView {
  using Texts = std::vector<std::string>;

  std::string status, notes;  // a note for each change except those of the bar and the rows
  int percent = 0, selected = -1;
  double time_left = -1;
  std::vector<std::pair<std::string, std::string>> rows;
  Texts archives, volumes, files, comments;

  std::string Status() const override { return status; }
  void ShowStatus(std::string_view text) override {
    status = text;
    Note("status=" + status);
  }
  void ShowPercent(std::int32_t value) override { percent = value; }
  void AddRow(std::string_view name) override {
    rows.emplace_back(name, "");
    selected = static_cast<int>(rows.size()) - 1;
  }
  int FindRow(std::string_view name) const override {
    for (std::size_t i = 0; i < rows.size(); ++i)
      if (SameText(rows[i].first, name)) return static_cast<int>(i);
    return -1;
  }
  int SelectedRow() const override { return selected; }
  void SelectRow(int row) override {
    rows.at(static_cast<std::size_t>(row));
    selected = row;
  }
  void ShowRowStatus(int row, std::string_view text) override {
    rows.at(static_cast<std::size_t>(row)).second = text;
  }
  void StartClock() override { Note("clock"); }
  void ShowTimeLeft(double value) override { time_left = value; }
  void ClearTimeLeft() override { Note("clear"); }
  void FoundArchive(std::string_view name) override { archives.emplace_back(name); }
  void AddVolume(std::string_view name) override { volumes.emplace_back(name); }
  bool HasFile(std::string_view name) const override {
    return std::any_of(files.begin(), files.end(),
                       [&](const std::string& file) { return SameText(file, name); });
  }
  void AddFile(std::string_view name) override { files.emplace_back(name); }
  void ShowComment(std::string_view text) override { comments.emplace_back(text); }
  void Note(const std::string& note) { notes += (notes.empty() ? "" : "|") + note; }
};

}  // namespace gravlin::testing
