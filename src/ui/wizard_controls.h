// The controls of the wizard, as members of the main window.
#pragma once

#include "platform/controls.h"

namespace gravlin {

// Places, sizes and texts are in ui/wizard_layout.cpp.
struct WizardTabs {
  explicit WizardTabs(Window& window);
  Window& OnTab(int tab, Window& window);

  TabPanel TabPanel1;
};

// Introduction.
struct IntroductionTab {
  explicit IntroductionTab(Window& window);

  StaticText stIntro, stIntroDesc;
};

// Step 1.
struct ServerTab {
  explicit ServerTab(Window& window);

  StaticText stStep3, stStep3Desc;
  GroupBox GroupBox2;
  StaticText stURL, stUsername, stPassword, stPort, stSSL;
  TextField efURL, efUserName, efPassword, efPort;
  PopupMenu pmSSL;
  PushButton pbHelp1, pbTidewire;
  StaticText stTidewire;
};

// Step 2.
struct TestTab {
  explicit TestTab(Window& window);

  StaticText stStep31, stStep3Desc1, StaticText3, stTest;
  PushButton pbHelp2, pbTest;
};

// Step 3.
struct AcquireTab {
  explicit AcquireTab(Window& window);

  StaticText stStep1, stStep1Desc;
  PushButton pbHelp3;
};

// Step 4.
struct ImportTab {
  explicit ImportTab(Window& window);

  StaticText stStep2, stStep2Desc;
  PushButton pbSelect;
  ProgressBar barParse;
  PushButton pbHelp4;
};

// Step 5.
struct DownloadTab {
  explicit DownloadTab(Window& window);

  StaticText stStep4, stStep4Desc;
  GroupBox gbDownloadProgress;
  Rectangle rectProgress, rectPercent, rectMB, rectThroughput, rectPeak, rectTime, rectStatus;
  ProgressBar barProgress;
  StaticText stPercent, stMB, stThroughput, stPeak, stTime, stStatus;
  PushButton pbStart, pbShowFiles, pbHelp5;
};

// Step 6.
struct DecompressTab {
  explicit DecompressTab(Window& window);

  StaticText stStep5, stStep6Desc;
  PushButton pbParts, pbDownloads, pbFAQ;
};

// More.
struct MoreTab {
  explicit MoreTab(Window& window);

  StaticText StaticText1, stMoreDesc;
  PushButton pbMaxlink;
  Separator Separator1;
  StaticText StaticText4, StaticText5;
  PushButton pbHushroute;
};

// In the order of the tabs, in which the Tab key walks them.
struct WizardControls : WizardTabs,
                        IntroductionTab,
                        ServerTab,
                        TestTab,
                        AcquireTab,
                        ImportTab,
                        DownloadTab,
                        DecompressTab,
                        MoreTab {
  explicit WizardControls(Window& window);
};

}  // namespace gravlin
