// The extraction window on the real unrar and on a fake one.
#include "postprocess/rar.h"

#include <gtest/gtest.h>

#include "loopback/posted_set.h"
#include "loopback/rar_writer.h"
#include "platform/native.h"
#include "postprocess/outcome_windows.h"
#include "support/tool_fixture.h"

namespace gravlin::testing {
namespace {

using loopback::RandomBytes, loopback::WriteRar;

// One line of the list for each row, without the blank that ends a file's name.
std::string Rows(const Listbox& list) {
  std::string rows;
  for (int row = 0; row < list.ListCount(); ++row) rows += Trim(list.Cell(row, 0)) + "|";
  return rows;
}

class RarTest : public ToolTest {
 protected:
  static bool Over(const Rar& rar) { return rar.tRar.Mode() == 0; }
  bool Run(Rar& rar) {
    return RunTool([&] { return Over(rar); });
  }
  // A row of the table of outcomes.
  std::string Outcome(const Rar& rar) {
    std::string outcome = rar.stStatus.Text();
    if (!Asked().launched.empty()) outcome += " opened";
    if (Window::IfOpen<AfterRAR>()) outcome += " advice";
    if (Window::IfOpen<RarNotes>()) outcome += " notes";
    if (Code::RarJobRunning) outcome += " flag";
    EXPECT_TRUE(rar.pbSelectFile.Enabled());
    EXPECT_EQ(rar.Bar.Value(), 100);
    EXPECT_EQ(Asked().beeps, 1);
    return outcome;
  }
};

class RarRealTest : public RarTest {
 protected:
  RarRealTest() { UseRealTools(); }
  void MakeSet(const std::string& comment = "") {
    WriteRar(folder.Path(), "set", {{"a.bin", big}}, {.volume_size = 100'000, .comment = comment});
  }
  const std::string big = RandomBytes(3, 0, 300'000);
};

TEST_F(RarRealTest, AVolumeSetIsExtractedAndItsFolderOpened) {
  const std::string n(196, 'n');
  WriteRar(folder.Path(), "a - b [c]",
           {{"in a folder/two: (1) [x].bin", big}, {"süß.txt", "text"}, {n + ".rar", "x"}},
           {.volume_size = 100'000, .comment = "A comment"});
  Shell("mkdir Extracted_Files; echo longer than the new one > Extracted_Files/süß.txt");
  Rar& rar = Drop<Rar>(folder.Item("a - b [c].part1.rar"));
  ASSERT_TRUE(Run(rar));
  // The comment of a first volume comes before the line after which the window looks for it.
  EXPECT_EQ(Outcome(rar), "Extraction complete. opened advice");
  EXPECT_EQ(Rows(rar.List),
            "a - b [c].part1.rar|a - b [c].part2.rar|a - b [c].part3.rar|a - b [c].part4.rar|");
  EXPECT_EQ(Rows(rar.List2), "two: (1) [x].bin|süß.txt|" + n + ".rar|");
  EXPECT_EQ(Asked().launched[0], folder.Item("Extracted_Files"));
  EXPECT_TRUE(ReadFile(folder / "Extracted_Files/two: (1) [x].bin") == big);
  EXPECT_EQ(ReadFile(folder / "Extracted_Files/süß.txt"), "text");
}

TEST_F(RarRealTest, TheCommentOfASetThatIsOpenedAtALaterVolumeIsShown) {
  MakeSet("Line one\nZeile zwei, süß");
  Rar& rar = Drop<Rar>(folder.Item("set.part2.rar"));
  ASSERT_TRUE(Run(rar));
  EXPECT_EQ(Outcome(rar), "Extraction complete. opened advice notes");
  EXPECT_EQ(Window::Shared<RarNotes>().efComment.Text(), "\rLine one\rZeile zwei, süß\r\r\r");
}

TEST_F(RarRealTest, EachFailureEndsAsTheToolWordsIt) {
  const std::string damaged = "Archive damaged or incomplete. ", wrong = "Something went wrong. ";
  const struct {
    const char *spoil, *archive;
    std::string outcome;
    const char* files;
  } cases[] = {
      {"rm set.part2.rar", "set.part1.rar", damaged + "advice", "a.bin|"},
      {"printf X | dd of=set.part2.rar bs=1 seek=5000 conv=notrunc 2>/dev/null", "set.part1.rar",
       damaged + "advice", "a.bin|"},
      // A name with a colon is shown as one with a folder.
      {"cp set.part1.rar 'a: b.rar'", "a: b.rar", wrong + "advice", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.spoil);
    MakeSet();
    Shell(c.spoil);
    Asked().Clear();
    Rar& rar = Drop<Rar>(folder.Item(c.archive));
    ASSERT_TRUE(Run(rar));
    EXPECT_EQ(Outcome(rar), c.outcome);
    EXPECT_EQ(Rows(rar.List2), c.files);
    Window::CloseAll();
    PumpEvents(0);
  }
}

// Links that came with an archive are not followed; an Extracted_Files in Downloads may be the
// user's.
TEST_F(RarRealTest, NothingIsWrittenThroughALink) {
  const std::string n(249, 'n'), longest = n + "\u00fc.b";  // 253 bytes
  const struct {
    std::string plant, member, link;
  } cases[] = {
      {"ln -s . Extracted_Files", "a.bin", "Extracted_Files.link"},
      {"mkdir Extracted_Files; ln -s ../mine Extracted_Files/a.bin", "a.bin",
       "Extracted_Files/a.bin.link"},
      {"mkdir Extracted_Files; ln -s ../mine Extracted_Files/" + longest, longest,
       "Extracted_Files/" + n + ".link"},
      {"mkdir own; ln -s ../mine own/a.bin; ln -s own Extracted_Files", "a.bin", "own/a.bin.link"},
  };
  Code::AppDataFolder = folder.Item();
  ASSERT_TRUE(folder.Item("Downloads").CreateAsFolder());
  for (const auto& c : cases) {
    SCOPED_TRACE(c.plant);
    const std::string in =
        folder / (c.plant.starts_with("mkdir own") ? "Downloads/" : "elsewhere/");
    Shell("rm -rf '" + in + "'; mkdir '" + in + "'; echo mine > '" + in + "mine'");
    WriteRar(in, "set", {{c.member, big}});
    Shell("cd '" + in + "' && ln -s mine a.bin && " + c.plant);
    ASSERT_TRUE(Run(Drop<Rar>(FolderItem::FromPath(in + "set.rar"))));
    EXPECT_TRUE(ReadFile(in + "mine") == "mine\n");
    EXPECT_TRUE(ReadFile(in + "Extracted_Files/" + c.member) == big);
    Shell("test -h '" + in + c.link + "'");
    Window::CloseAll();
    PumpEvents(0);
  }
}

TEST_F(RarRealTest, WhileALinkIsLeftNoCommandIsGiven) {
  MakeSet();
  // A rename that fails: every other name is taken.
  Shell(
      "mkdir Extracted_Files; cd Extracted_Files; ln -s ../mine a.bin; n=a.bin.link;"
      "for i in $(seq 100); do : > $n; n=${n}_; done");
  Rar& rar = Drop<Rar>(folder.Item("set.part1.rar"));
  clock.Advance(80'000);
  EXPECT_EQ(rar.stStatus.Text(),
            "File selected: set.part1.rar. unrar not started: a link cannot be renamed: " +
                (folder / "Extracted_Files/a.bin").string());
  EXPECT_EQ(Window::IfOpen<RarFailed>(), nullptr);
  EXPECT_FALSE(folder.Item("mine").Exists());
  Shell("rm Extracted_Files/a.bin");
  ASSERT_TRUE(Run(rar));
  EXPECT_EQ(Outcome(rar), "Extraction complete. opened advice");
}

TEST_F(RarTest, ASilentToolIsStartedAgainAndWordsThatNoRuleKnowsEndInSilence) {
  Rar& silent = Drop<Rar>(Script("hang\n"));
  clock.Advance(47'000);
  EXPECT_NE(Window::IfOpen<RarFailed>(), nullptr);
  EXPECT_EQ(silent.stStatus.Text(), "File selected: set.par2. Trying to start unrar. Attempt: 4");
  silent.Close();
  EXPECT_TRUE(std::exchange(Code::RarJobRunning, false));
  // Asked for a password without a terminal, the tool gives up with these words.
  Rar& locked = Drop<Rar>(Script("write Program aborted\\n\n"));
  const std::string writes = "File selected: set.par2. RAR extraction in progress...";
  ASSERT_TRUE(RunTool([&] { return locked.stStatus.Text() == writes; }));
  EXPECT_TRUE(locked.stStatus.Native().widget->toolTip().contains("wants a password"));
  clock.Advance(61'000);
  EXPECT_EQ(Outcome(locked), "Archive damaged or incomplete. flag");
}

TEST_F(RarTest, TheAdviceIsShownUntilTheUserTicksItAway) {
  for (const char* outcome : {"Something went wrong. advice", "Something went wrong."}) {
    Rar& rar = Drop<Rar>(Script("write No files to extract\\n\n"));
    ASSERT_TRUE(Run(rar));
    EXPECT_EQ(Outcome(rar), outcome);
    Window::Shared<AfterRAR>().boxShow.SetValue(true);
    Window::CloseAll();
    Save();
    Asked().Clear();
  }
}

}  // namespace
}  // namespace gravlin::testing
