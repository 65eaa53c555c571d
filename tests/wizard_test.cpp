// The wizard as a form: opening, the server settings, the buttons, closing.
#include "engine/active_files.h"
#include "engine/gravlin.h"
#include "support/window_fixture.h"
#include "ui/files_window.h"
#include "ui/message_window.h"

namespace gravlin::testing {
namespace {

class WizardTest : public WindowTest {
 protected:
  Gravlin& Open() { return Window::New<Gravlin>(); }
};

TEST_F(WizardTest, TheFirstStartShowsTheSampleServerAndAsksForNoMessage) {
  Gravlin& window = Open();
  EXPECT_EQ(window.Top(), 82);
  EXPECT_EQ(window.Left(), 82);
  EXPECT_EQ(window.efPort.Text(), "119");
  EXPECT_EQ(window.pmSSL.Text(), "Off");
  EXPECT_EQ(window.stStatus.Text(), "Ready.");
  EXPECT_FALSE(window.barParse.Visible());
  EXPECT_FALSE(Window::IfOpen<GetMessage>());
  EXPECT_TRUE(Save());
  EXPECT_EQ(Stored("Settings_Gravlin", "FirstRun"), "False");
  EXPECT_TRUE(Asked().boxes.empty());
}

TEST_F(WizardTest, ALaterStartTakesItsPlaceAgainAndLooksForAMessageOnce) {
  Store("Update Settings_Gravlin Set FirstRun='False', Top=150, Left=0, Width=900, Height=700");
  Gravlin& window = Open();
  EXPECT_EQ(window.Top(), 150);
  EXPECT_EQ(window.Left(), 82);
  EXPECT_EQ(window.Width(), 640);
  EXPECT_EQ(window.Height(), 340);
  ASSERT_TRUE(Window::IfOpen<GetMessage>());
  EXPECT_FALSE(Window::IfOpen<GetMessage>()->Visible());
  Window::IfOpen<GetMessage>()->Close();
  Open();
  EXPECT_FALSE(Window::IfOpen<GetMessage>());
}

TEST_F(WizardTest, AStoreThatCannotBeReadIsTold) {
  Code::fGlobalDB = folder.Item("missing.rsd");
  Open();
  ASSERT_FALSE(Asked().boxes.empty());
  EXPECT_EQ(Asked().boxes[0].text, "Gravlin.Open can't open Gravlin.rsd database file.");
  Code::fGlobalDB = folder.Item("store.rsd");
}

TEST_F(WizardTest, WhatIsTypedIsStored) {
  Gravlin& window = Open();
  Save();
  window.efURL.SetText("news.test.example");
  window.efUserName.SetText("me");
  window.efPassword.SetText("pass word");
  window.efPort.SetText("none");
  Save();
  EXPECT_EQ(Stored("Servers", "URL||'/'||Username||'/'||Password||'/'||Port"),
            "news.test.example/me/pass word/none");
  const char* texts[] = {"v1", "v2", "v2 or 3", "v3", "off"};
  for (int index = 4; index >= 0; --index) {
    window.pmSSL.SetListIndex(index);
    Save();
    EXPECT_EQ(Stored("Servers", "SSL"), texts[4 - index]);
  }
}

TEST_F(WizardTest, ACharacterThatTheStoreCannotTakeIsRefused) {
  Gravlin& window = Open();
  const struct {
    TextField& field;
    const char* name;
    const char* bad;
  } cases[] = {{window.efURL, "URL", "|"},
               {window.efUserName, "Username", "["},
               {window.efPassword, "Password", "'"},
               {window.efPort, "Port", "\""}};
  Save();
  const std::string before = Stored("Servers", "URL||Username||Password||Port");
  for (const auto& [field, name, bad] : cases) {
    const std::string good = field.Text();
    const std::size_t boxes = Asked().boxes.size();
    field.SetText(std::string("x") + bad);
    EXPECT_EQ(Asked().boxes.size(), boxes + 1);
    EXPECT_EQ(LastBox(), std::string("Sorry, the ") + name + " cannot contain a " + bad +
                             ". Please remove it.");
    EXPECT_TRUE(field.HasFocus());
    Save();
    EXPECT_EQ(Stored("Servers", "URL||Username||Password||Port"), before);
    field.SetText(good);
  }
}

TEST_F(WizardTest, ButtonsOpenTheirPagesAndFolders) {
  Gravlin& window = Open();
  const std::string site = "https://www.ardentis.example";
  const std::pair<PushButton*, std::string> pages[] = {
      {&window.pbHelp1, site + "/usenet/nzb/gravlin/server-setup?Source=Gravlin"},
      {&window.pbHelp2, site + "/usenet/nzb/gravlin/test-server"},
      {&window.pbHelp3, site + "/usenet/nzb/gravlin/find-nzb-files?source=Gravlin"},
      {&window.pbHelp4, site + "/usenet/nzb/gravlin/step-4-import-nzb-file?source=Gravlin"},
      {&window.pbHelp5, site + "/usenet/nzb/gravlin/step-5-download?source=Gravlin"},
      {&window.pbFAQ, site + "/usenet/faq/downloading-from-usenet?source=Gravlin"},
      {&window.pbMaxlink, site + "/usenet/maxlink?source=Gravlin"},
  };
  for (const auto& [button, page] : pages) {
    button->Push();
    EXPECT_EQ(Asked().urls.back(), page);
  }
  for (PushButton* button : {&window.pbTidewire, &window.pbHushroute}) {
    button->Push();
    for (const char* key : {"a_aid=", "a_bid=", "chan="})
      EXPECT_TRUE(InStr(Asked().urls.back(), key)) << Asked().urls.back();
  }
  EXPECT_EQ(InStr(Asked().urls.back(), "https://"), 1);
  window.pbParts.Push();
  window.pbDownloads.Push();
  EXPECT_EQ(Asked().launched, (std::vector{window.fParts, window.fDownloads}));
  window.pbShowFiles.Push();
  window.pbShowFiles.Push();
  ASSERT_TRUE(Window::IfOpen<grvFiles>());
  EXPECT_TRUE(Window::IfOpen<grvFiles>()->Visible());
  EXPECT_EQ(Window::All().size(), 2U);
}

TEST_F(WizardTest, AnImportBeginsWithADialogOrADropWhateverTheFile) {
  Gravlin& window = Open();
  Save();
  window.pbSelect.Push();  // cancelled
  EXPECT_TRUE(window.fNZB.IsNil());
  EXPECT_EQ(LiveThreads(), 0);
  Asked().chosen = {folder.Write("a.nzb", "<nzb></nzb>")};
  window.pbSelect.Push();
  EXPECT_EQ(LiveThreads(), 1);
  EXPECT_TRUE(clock.RunUntil([] { return LiveThreads() == 0; }));
  window.pbSelect.DropObject({});
  EXPECT_EQ(LiveThreads(), 0);
  window.pbSelect.DropObject({folder.Write("notes.txt", "no NZB")});
  EXPECT_EQ(window.fNZB.Name(), "notes.txt");
  EXPECT_EQ(LiveThreads(), 1);
  EXPECT_TRUE(clock.RunUntil([] { return LiveThreads() == 0; }));
}

TEST_F(WizardTest, TheServerTabFocusesNoField) {
  Gravlin& window = Open();
  window.Show();
  window.TabPanel1.SetValue(3);
  EXPECT_FALSE(window.pbHelp1.HasFocus());
  window.TabPanel1.SetValue(1);
  EXPECT_TRUE(window.pbHelp1.HasFocus());
}

TEST_F(WizardTest, ClosingKeepsThePlaceAndFreesThePartFile) {
  Gravlin& window = Open();
  window.SetTop(120);
  window.SetLeft(130);
  window.PartFileName = "a.rar-p00001.txt";
  Code::AddToActiveFiles(window.PartFileName);
  window.Close();
  EXPECT_FALSE(Code::InActiveFiles("a.rar-p00001.txt"));
  Save();
  EXPECT_EQ(Stored("Settings_Gravlin", "Top||','||Left"), "120,130");
}

}  // namespace
}  // namespace gravlin::testing
