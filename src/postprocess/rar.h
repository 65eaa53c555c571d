// The extraction window: runs unrar on an archive, lists its volumes and its files, and opens the
// folder.
#pragma once

#include "postprocess/rar_parser.h"
#include "postprocess/tool_window.h"

namespace gravlin {

class Rar : public ToolWindow, public RarReading, private RarView {
 public:
  Rar();

  // A document that was opened on the program.
  void OpenDocumentEvent(const FolderItem& f);

  void tRar_Action() { Follow(); }
  // Reads what the tool has written since the last tick.
  void ParseRar();
  void CallUnRarMac();

  Listbox List;   // the volumes read
  Listbox List2;  // the files written
  Timer& tRar = Follower();

 protected:
  void Event_Open() override;

 private:
  void ClearLists() override;
  void PrepareParser() override;
  void CallTool() override { CallUnRarMac(); }
  void Parse() override { ParseRar(); }
  void ShowFailed() override;
  void ShowStalled() override { Bar.SetValue(100); }

  void ShowStatus(std::string_view text) override { ToolRun::ShowStatus(text); }
  void AddVolume(std::string_view name) override;
  bool HasFile(std::string_view name) const override { return List2.FindRow(name) >= 0; }
  void AddFile(std::string_view name) override;
  void ShowComment(std::string_view comment) override;
  void Finish(UnrarEnding ending);
  // Makes the folder, with no link in it through which the tool would write.  Otherwise says why
  // not.
  std::string MakeTarget(FolderItem target) const;
  FolderItem ExtractedFiles() const { return fInput.Parent().Child("Extracted_Files"); }
};

}  // namespace gravlin
