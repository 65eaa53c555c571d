// The places and texts of the wizard's controls.
#include "engine/server_settings.h"
#include "ui/wizard_controls.h"

namespace gravlin {
namespace {

constexpr std::string_view kIntroDesc =
    "Sometimes file-sharing programs are fast. But too often, they are terribly slow. By contrast, "
    "Usenet is always fast because the servers are built for speed. Usenet companies operate "
    "million-dollar, state-of-the-art data centers and simply can't be beat.\n\n"
    "The drawback is that the newsgroups are more difficult to use, and that is what Gravlin is "
    "here for. If you take the time to follow this step-by-step process, you will soon be "
    "downloading huge files at blistering speeds.\n\n"
    "Click on the Step 1 tab above, and let's get started.";

constexpr std::string_view kServerDesc =
    "Internet ISP's used to provide free Usenet servers to their customers, but many no longer do "
    "so. If your ISP provides a server, call them and ask them what you should fill in for the "
    "URL, username, password, and port. If your ISP does not offer a Usenet server, or if they do, "
    "but it is too slow, or has download restrictions, click the Tidewire button below.";

constexpr std::string_view kTestDesc =
    "Click the Test button and watch the line under \"Status\". After a few seconds it should say "
    "\"Connected to server\".\n\n"
    "If it works, you can go to Step 3. If not, click the Help button to get troubleshooting info.";

constexpr std::string_view kAcquireDesc =
    "If you already have an NZB file, you can go right to Step 4.\n\n"
    "If not, click the Help button below. That will take you to our web page where we have a "
    "sample NZB file, and a list of NZB indexing sites where you can download NZBs.";

constexpr std::string_view kImportDesc =
    "Your NZB file contains a long list of ID numbers that point to the files that need to be "
    "downloaded from your ISP's news server. When you import your NZB file, Gravlin will read "
    "through it and store the list in its database, and in the next step it will use that list to "
    "download everything.\n\n"
    "Click the button below and locate the NZB file that you acquired in Step 3. You can also "
    "drag-and-drop the file from your desktop onto the button.";

constexpr std::string_view kDownloadDesc =
    "Once your NZB file is imported, and your news server is selected, click the Start button to "
    "begin downloading. You can start and stop as often as you need to.\n\n"
    "To see the list of files that comprise the NZB, click the Show Files button.";

constexpr std::string_view kDecompressDesc =
    "Posters often pack their files into RAR archives, and add PAR files that can repair damaged "
    "or missing parts. If your NZB contains PAR files, Gravlin will begin the unPARing process, "
    "and unRARing process (if needed) when it is done downloading everything.\n\n"
    "An NZB file will often contain many files. Each one of these files is comprised of many parts "
    "which Gravlin stores in the Parts folder inside your Gravlin folder. Once it has all the "
    "parts, it assembles them to create the completed files inside the Downloads folder. It then "
    "deletes the part files.\n\n"
    "When your download is complete, go into your Downloads folder and move your new files to "
    "their permanent home. You should also look inside your Parts folder and throw away any files "
    "that may be left over. If you don't know what to do with the files from the NZB, click the "
    "button below to go to our FAQ page which contains links to pages that will explain how to "
    "handle each type of file.";

constexpr std::string_view kMoreDesc =
    "When you have outgrown Gravlin, have a look at Maxlink, our larger downloader. It can draw on "
    "several servers at once and load as many NZB files as you like. It is more complicated, so it "
    "is not for everyone, but if you download a lot, it is worth the time that it takes to learn.";

constexpr Color kReadout{0xe0, 0xe0, 0xe0};
constexpr int kHeadingSize = 18;
constexpr int kReadoutSize = 11;

void MakeHeading(StaticText& text) {
  text.SetTextSize(kHeadingSize);
  text.SetBold(true);
  text.SetAlign(Align::kCentre);
}

}  // namespace

WizardTabs::WizardTabs(Window& window)
    : TabPanel1(
          window, "TabPanel1", {20, 20, 600, 300},
          {"Introduction", "Step 1", "Step 2", "Step 3", "Step 4", "Step 5", "Step 6", "More"}) {}

// Chooses the tab for the controls that are made next.
Window& WizardTabs::OnTab(int tab, Window& window) {
  TabPanel1.BeginPage(tab);
  return window;
}

IntroductionTab::IntroductionTab(Window& window)
    : stIntro(window, "stIntro", {37, 61, 557, 32},
              "The Fastest Way to Download Files on the Internet!"),
      stIntroDesc(window, "stIntroDesc", {37, 100, 555, 205}, kIntroDesc) {
  MakeHeading(stIntro);
}

ServerTab::ServerTab(Window& window)
    : stStep3(window, "stStep3", {35, 56, 564, 29}, "Step 1 - Enter Your Server Info"),
      stStep3Desc(window, "stStep3Desc", {42, 88, 557, 76}, kServerDesc),
      GroupBox2(window, "GroupBox2", {130, 167, 375, 105}, "Server Info"),
      stURL(window, "stURL", {141, 194, 84, 16}, "URL:"),
      stUsername(window, "stUsername", {141, 222, 84, 15}, "Username:"),
      stPassword(window, "stPassword", {327, 221, 68, 16}, "Password:"),
      stPort(window, "stPort", {141, 249, 84, 15}, "Port:"),
      stSSL(window, "stSSL", {333, 248, 60, 15}, "SSL:"),
      efURL(window, "efURL", {228, 191, 267, 20}),
      efUserName(window, "efUserName", {228, 218, 98, 20}),
      efPassword(window, "efPassword", {397, 218, 98, 20}),
      efPort(window, "efPort", {228, 245, 98, 20}),
      pmSSL(window, "pmSSL", {397, 245, 97, 20}),
      pbHelp1(window, "pbHelp1", {32, 285, 72, 22}, "Help"),
      pbTidewire(window, "pbTidewire", {433, 285, 175, 22}, "Go to Tidewire Website"),
      stTidewire(window, "stTidewire", {114, 284, 310, 29},
                 "Need a Usenet server? We recommend Tidewire -->") {
  MakeHeading(stStep3);
  stStep3Desc.SetTextSize(12);
  stTidewire.SetBold(true);
  stTidewire.SetAlign(Align::kRight);
  efURL.SetAccessibleName("URL of the news server");
  efUserName.SetAccessibleName("Username");
  efPassword.SetAccessibleName("Password");
  efPort.SetAccessibleName("Port");
  stSSL.SetLabels(pmSSL);
  for (const std::string_view entry : SSLMenu()) pmSSL.AddRow(entry);
  pmSSL.SetListIndex(0);
}

TestTab::TestTab(Window& window)
    : stStep31(window, "stStep31", {35, 56, 564, 29}, "Step 2 - Test Your Server Connection"),
      stStep3Desc1(window, "stStep3Desc1", {42, 88, 557, 82}, kTestDesc),
      StaticText3(window, "StaticText3", {52, 172, 547, 20}, "Status"),
      stTest(window, "stTest", {52, 199, 547, 19}, "Ready to test."),
      pbHelp2(window, "pbHelp2", {35, 284, 74, 22}, "Help"),
      pbTest(window, "pbTest", {527, 284, 78, 22}, "Test") {
  MakeHeading(stStep31);
  MakeHeading(StaticText3);
}

AcquireTab::AcquireTab(Window& window)
    : stStep1(window, "stStep1", {35, 56, 564, 29}, "Step 3 - Acquire an NZB File"),
      stStep1Desc(window, "stStep1Desc", {37, 97, 571, 90}, kAcquireDesc),
      pbHelp3(window, "pbHelp3", {280, 215, 74, 22}, "Help") {
  MakeHeading(stStep1);
}

ImportTab::ImportTab(Window& window)
    : stStep2(window, "stStep2", {35, 56, 564, 29}, "Step 4 - Import Your NZB File"),
      stStep2Desc(window, "stStep2Desc", {37, 97, 557, 120}, kImportDesc),
      pbSelect(window, "pbSelect", {250, 223, 123, 22}, "Select NZB File"),
      barParse(window, "barParse", {102, 257, 437, 12}),
      pbHelp4(window, "pbHelp4", {274, 282, 74, 22}, "Help") {
  MakeHeading(stStep2);
  pbSelect.SetHelpTag("You can also drop an NZB file here.");
  pbSelect.AcceptFileDrop("special/any");
  barParse.SetAccessibleName("Import progress");
}

DownloadTab::DownloadTab(Window& window)
    : stStep4(window, "stStep4", {35, 56, 564, 29}, "Step 5 - Download"),
      stStep4Desc(window, "stStep4Desc", {37, 97, 568, 98}, kDownloadDesc),
      gbDownloadProgress(window, "gbDownloadProgress", {37, 205, 394, 99}, "Download Progress"),
      rectProgress(window, "rectProgress", {50, 230, 368, 26}, kReadout),
      rectPercent(window, "rectPercent", {50, 255, 65, 20}, kReadout),
      rectMB(window, "rectMB", {114, 255, 63, 20}, kReadout),
      rectThroughput(window, "rectThroughput", {176, 255, 93, 20}, kReadout),
      rectPeak(window, "rectPeak", {267, 255, 83, 20}, kReadout),
      rectTime(window, "rectTime", {348, 255, 70, 20}, kReadout),
      rectStatus(window, "rectStatus", {50, 274, 368, 20}, kReadout),
      barProgress(window, "barProgress", {59, 234, 350, 12}),
      stPercent(window, "stPercent", {55, 255, 60, 15}, "0.00%"),
      stMB(window, "stMB", {116, 255, 59, 15}, "MB: 0.0"),
      stThroughput(window, "stThroughput", {179, 255, 90, 15}, "Speed:"),
      stPeak(window, "stPeak", {272, 255, 76, 15}, "Peak:"),
      stTime(window, "stTime", {351, 255, 63, 15}, "00:00:00"),
      stStatus(window, "stStatus", {55, 275, 360, 15}, "Starting..."),
      pbStart(window, "pbStart", {505, 207, 100, 22}, "Start"),
      pbShowFiles(window, "pbShowFiles", {505, 244, 100, 22}, "Show Files"),
      pbHelp5(window, "pbHelp5", {505, 282, 100, 22}, "Help") {
  MakeHeading(stStep4);
  pbStart.SetBold(true);
  for (StaticText* readout : {&stPercent, &stMB, &stThroughput, &stPeak, &stTime, &stStatus})
    readout->SetTextSize(kReadoutSize);
  stPercent.SetHelpTag("Percent complete");
  stMB.SetHelpTag("Megabytes Downloaded");
  for (Control* speed : {static_cast<Control*>(&rectThroughput), static_cast<Control*>(&rectPeak),
                         static_cast<Control*>(&stThroughput), static_cast<Control*>(&stPeak)})
    speed->SetHelpTag("Speed in Kbps");
  stTime.SetHelpTag("Time left");
  barProgress.SetAccessibleName("Download progress");
}

DecompressTab::DecompressTab(Window& window)
    : stStep5(window, "stStep5", {35, 50, 564, 29}, "Step 6 - Decompress and Burn"),
      stStep6Desc(window, "stStep6Desc", {37, 80, 566, 195}, kDecompressDesc),
      pbParts(window, "pbParts", {35, 285, 142, 22}, "Open Parts Folder"),
      pbDownloads(window, "pbDownloads", {188, 285, 173, 22}, "Open Downloads Folder"),
      pbFAQ(window, "pbFAQ", {464, 285, 139, 22}, "Go to FAQ Page") {
  MakeHeading(stStep5);
}

MoreTab::MoreTab(Window& window)
    : StaticText1(window, "StaticText1", {35, 56, 564, 29}, "Graduate to Maxlink"),
      stMoreDesc(window, "stMoreDesc", {35, 91, 566, 87}, kMoreDesc),
      pbMaxlink(window, "pbMaxlink", {236, 190, 167, 22}, "Go to Maxlink Page"),
      Separator1(window, "Separator1", {35, 224, 568, 4}),
      StaticText4(window, "StaticText4", {38, 231, 564, 29}, "Need More Security?"),
      StaticText5(window, "StaticText5", {37, 256, 564, 29},
                  "Encrypt *ALL* of your internet traffic with Hushroute!"),
      pbHushroute(window, "pbHushroute", {236, 287, 167, 22}, "Go to Hushroute Website") {
  for (StaticText* heading : {&StaticText1, &StaticText4, &StaticText5}) MakeHeading(*heading);
  stMoreDesc.SetTextSize(11);
}

WizardControls::WizardControls(Window& window)
    : WizardTabs(window),
      IntroductionTab(OnTab(0, window)),
      ServerTab(OnTab(1, window)),
      TestTab(OnTab(2, window)),
      AcquireTab(OnTab(3, window)),
      ImportTab(OnTab(4, window)),
      DownloadTab(OnTab(5, window)),
      DecompressTab(OnTab(6, window)),
      MoreTab(OnTab(7, window)) {
  TabPanel1.EndPages();
}

}  // namespace gravlin
