// The repair window: runs par2 on a set and shows what it finds.
#pragma once

#include "postprocess/par_parser.h"
#include "postprocess/tool_window.h"

namespace gravlin {

class Par : public ToolWindow, private ParView {
 public:
  Par();

  // A document that was opened on the program.
  void OpenDocumentEvent(const FolderItem& f);

  void tPar_Action() { Follow(); }
  void List_CellTextPaint(int row, int column, CellPaint& paint) const;
  // Reads what the tool has written since the last tick.
  void ParsePar2();
  void CallPar2Exe();
  // Shows the time that is left, by the fraction of the repair phase that is done.
  void UpdateTime(double percent);

  FolderItem fRAR;  // the archive to extract after a good repair; nil until the parser picks one
  std::string ParseMode;
  std::int32_t ParVersion = 0;  // by the name of fInput; one parser serves both
  double StartTick = 0;         // when the repair phase began

  Listbox List;
  StaticText stTime;
  Timer& tPar = Follower();

 protected:
  void Event_Open() override;
  void ReadPlace(const RecordSet& settings) override;
  std::string MorePlace() const override;

 private:
  void SelectionChanged() override { fRAR = FolderItem(); }
  void ClearLists() override;
  void PrepareParser() override;
  void CallTool() override { CallPar2Exe(); }
  void Parse() override { ParsePar2(); }
  void ShowFailed() override;

  std::string Status() const override { return ToolRun::Status(); }
  void ShowStatus(std::string_view text) override { ToolRun::ShowStatus(text); }
  void ShowPercent(std::int32_t percent) override { Bar.SetValue(percent); }
  void AddRow(std::string_view name) override;
  int FindRow(std::string_view name) const override { return List.FindRow(name); }
  int SelectedRow() const override { return List.ListIndex(); }
  void SelectRow(int row) override { List.SetListIndex(row); }
  void ShowRowStatus(int row, std::string_view status) override { List.SetCell(row, 1, status); }
  void StartClock() override { StartTick = Ticks(); }
  void ShowTimeLeft(double percent) override { UpdateTime(percent); }
  void ClearTimeLeft() override;
  void FoundArchive(std::string_view name) override;
  void Finish(const Par2Ending& ending);
};

}  // namespace gravlin
