// From the end of a download, or a document, into repair and extraction.
#include <gtest/gtest.h>

#include "engine/gravlin.h"
#include "postprocess/documents.h"
#include "postprocess/par.h"
#include "postprocess/rar.h"
#include "support/tool_fixture.h"

namespace gravlin::testing {
namespace {

class HandOffTest : public ToolTest {
 protected:
  HandOffTest() : main_window(Window::New<Gravlin>()) {
    Code::DebugOn = true;
    main_window.StartDebugMode();
    main_window.fDownloads = folder.Item();
  }
  ~HandOffTest() override { Code::DebugOn = false; }
  std::string Log() { return ReadFile(folder / "Gravlin/Gravlin_Debug..txt"); }

  Gravlin& main_window;
};

TEST_F(HandOffTest, TheEndOfADownloadStartsTheRepairOfItsSet) {
  Script("write All files are correct, repair is not required.\\n\n", "a.par2");
  Script("write All OK\\n\n", "a.rar");
  main_window.ParFilename = "a.par2";
  main_window.RarFilename = "a.rar";
  main_window.StartPar();
  Par* par = Window::IfOpen<Par>();
  ASSERT_NE(par, nullptr);
  EXPECT_TRUE(par->Visible());
  EXPECT_EQ(par->FixPath, 2);
  const std::string place = folder.Item().AbsolutePath();
  EXPECT_NE(Log().find("Gravlin.StartPar(): fPAR = " + place + "a.par2\r\n"), std::string::npos);
  EXPECT_NE(Log().find("Gravlin.StartPar(): fRAR = " + place + "a.rar\r\n"), std::string::npos);
  ASSERT_TRUE(RunTool([&] { return !Asked().launched.empty(); }));
  EXPECT_EQ(Window::IfOpen<Rar>()->fInput, folder.Item("a.rar"));
  EXPECT_TRUE(Window::IfOpen<Rar>()->Visible());
  main_window.StartPar();
  EXPECT_EQ(Window::All().size(), 5u) << "a further window for each set, beside that of the advice";
}

TEST_F(HandOffTest, ASetWithoutAnArchiveEndsByWhatUnrarMakesOfTheFolder) {
  UseRealTools();
  Shell("seq 9999 > a.bin; par2 create -q -q a.par2 a.bin");
  main_window.ParFilename = "a.par2";
  main_window.StartPar();
  ASSERT_TRUE(RunTool([&] { return Window::IfOpen<Rar>() && !Code::RarJobRunning; }));
  EXPECT_EQ(Window::IfOpen<Rar>()->fInput, folder.Item());
  EXPECT_EQ(Window::IfOpen<Rar>()->stStatus.Text(), "Something went wrong.");
}

TEST_F(HandOffTest, TheLogSaysWhyAQuotedNameIsNotHandedOver) {
  Script("write Repair complete.\\n\n", "it's.par2");
  OpenParDocument(folder.Item("it's.par2"));
  OpenRarDocument(folder.Item("it's.par2"));
  clock.Advance(1000);
  EXPECT_NE(Log().find("Par.CallPar2Exe: par2 not started: a single quote"), std::string::npos);
  EXPECT_NE(Log().find("Rar.CallUnRarMac: unrar not started: a single quote"), std::string::npos);
}

TEST_F(HandOffTest, EachOfSeveralDocumentsGetsItsRun) {
  Script("write Repair complete.\\n\n", "a.par2");
  for (const char* name : {"one.par2", "two.par2", "three.par2"})
    folder.Write(name, ReadFile(folder / "a.par2"));
  std::string begun;
  OpenParWindow();
  Par& par = *Window::IfOpen<Par>();
  par.stStatus.TextChange = [&] {
    if (par.stStatus.Text().ends_with(". Starting...")) begun += par.fInput.Name() + " ";
  };
  for (const char* name : {"one.par2", "two.par2", "three.par2"})
    OpenParDocument(folder.Item(name));
  EXPECT_TRUE(RunTool(
      [&] { return InStr(begun, "three") > 0 && par.stStatus.Text() == "Repair complete."; }));
  EXPECT_EQ(begun, "one.par2 two.par2 three.par2 ");
  par.stStatus.TextChange = nullptr;
}

TEST_F(HandOffTest, DocumentsAndTheMenuUseTheWindowThatIsOpen) {
  Script("hang\n", "a.par2");
  OpenParWindow();
  OpenParDocument(folder.Item("a.par2"));
  OpenRarDocument(folder.Item("a.par2"));
  OpenRarWindow();
  EXPECT_EQ(Window::All().size(), 3u);
  EXPECT_EQ(Window::IfOpen<Par>()->stStatus.Text(), "File selected: a.par2");
  EXPECT_EQ(Window::IfOpen<Rar>()->FixPath, 2);
  EXPECT_TRUE(Window::IfOpen<Rar>()->Visible());
}

}  // namespace
}  // namespace gravlin::testing
