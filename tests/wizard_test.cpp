// The wizard as a form: opening, the server settings, the buttons, closing.
#include <QRect>

#include "engine/active_files.h"
#include "support/full_disk.h"
#include "support/store_fixture.h"
#include "ui/gravlin.h"
#include "ui/message_window.h"

namespace gravlin::testing {
namespace {

class WizardTest : public StoreTest {
 protected:
  Gravlin& window = Window::New<Gravlin>();
};
using WizardStart = StoreTest;

TEST_F(WizardStart, OnlyALaterOneLooksForAMessage) {
  auto& first = Window::New<Gravlin>();
  EXPECT_FALSE(Window::IfOpen<GetMessage>());
  Save();
  EXPECT_EQ(Stored("Settings_Gravlin", "FirstRun"), "False");
  first.Close();
  Store("Update Settings_Gravlin Set Top=150, Left=0, Width=900, Height=700");
  auto& window = Window::New<Gravlin>();
  const QRect place(window.Left(), window.Top(), window.Width(), window.Height());
  EXPECT_EQ(place, QRect(82, 150, 640, 340));
  ASSERT_TRUE(Window::IfOpen<GetMessage>());
  EXPECT_FALSE(Window::IfOpen<GetMessage>()->Visible());
  EXPECT_TRUE(Code::GotMessage);
}

// Cut off by a kill, which leaves what the last commit stored, or by a full disk.
TEST_F(WizardStart, AStartThatIsCutOffLeavesTheAccount) {
  Store(
      "Update Servers Set URL='news.test.example', Username='me', Password='pw', Port=563, "
      "SSL='v3'");
  const std::string row = "URL||Username||Password||Port||SSL", account = Stored("Servers", row);
  for (const rlim_t room : {10'000'000, 40'000, 60'000}) {
    const FullDisk disk(room);
    Gravlin& window = Window::New<Gravlin>();
    EXPECT_TRUE(TestClock::PumpUntil([&] {
      EXPECT_EQ(Stored("Servers", row), account);
      return Code::PendingWrites() == 0;
    }));
    EXPECT_EQ(window.efUserName.Text() + window.pmSSL.Text(), "mev3");
    window.Close();
  }
}

TEST_F(WizardTest, WhatIsTypedIsStoredUnlessTheStoreCannotTakeIt) {
  const struct {
    TextField& field;
    const char* column;
    const char* good;
    const char* bad;
  } cases[] = {{window.efURL, "URL", "news.test.example", "|"},
               {window.efUserName, "Username", "me", "["},
               {window.efPassword, "Password", "pass word", "'"},
               {window.efPort, "Port", "none", "\""}};
  for (const auto& [field, column, good, bad] : cases) {
    field.SetText(good);
    Save();
    EXPECT_EQ(Stored("Servers", column), good);
    const std::size_t boxes = Asked().boxes.size();
    field.SetText(std::string("x") + bad);
    EXPECT_EQ(Asked().boxes.size(), boxes + 1);
    EXPECT_EQ(LastBox(), std::string("Sorry, the ") + column + " cannot contain a " + bad +
                             ". Please remove it.");
    EXPECT_TRUE(field.HasFocus());
    Save();
    EXPECT_EQ(Stored("Servers", column), good);
    field.SetText(good);
  }
  const char* texts[] = {"off", "v3", "v2 or 3", "v2", "v1"};
  for (int index = 4; index >= 0; --index) {
    window.pmSSL.SetListIndex(index);
    Save();
    EXPECT_EQ(Stored("Servers", "SSL"), texts[index]);
  }
}

TEST_F(WizardTest, AnImportBeginsWithADialogOrADropWhateverTheFile) {
  Save();
  window.pbSelect.Push();  // cancelled
  EXPECT_TRUE(window.fNZB.IsNil());
  window.pbSelect.DropObject({});
  EXPECT_EQ(LiveThreads(), 0);
  Asked().chosen = {folder.Write("a.nzb", "<nzb></nzb>")};
  const DragItem dropped{folder.Write("notes.txt", "no NZB")};
  for (const bool drop : {false, true}) {
    drop ? window.pbSelect.DropObject(dropped) : window.pbSelect.Push();
    EXPECT_EQ(window.fNZB.Name(), drop ? "notes.txt" : "a.nzb");
    EXPECT_EQ(LiveThreads(), 1);
    EXPECT_TRUE(clock.RunUntil([] { return LiveThreads() == 0; }));
    EXPECT_FALSE(window.barParse.Visible());
  }
}

TEST_F(WizardTest, TheServerTabFocusesNoFieldAndClosingKeepsThePlaceAndFreesThePartFile) {
  window.Show();
  for (const int tab : {3, 1}) {
    window.TabPanel1.SetValue(tab);
    EXPECT_EQ(window.pbHelp1.HasFocus(), tab == 1);
  }
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
