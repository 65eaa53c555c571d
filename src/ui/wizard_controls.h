// The controls of the wizard, as members of the main window.
#pragma once

#include "platform/controls.h"

namespace gravlin {

// Places, sizes and texts stand in ui/wizard_layout.cpp.
struct WizardControls {
  explicit WizardControls(Window& window);

  TabPanel TabPanel1;

  // Introduction
  StaticText stIntro, stIntroDesc;

  // Step 1
  StaticText stStep3, stStep3Desc;
  GroupBox GroupBox2;
  StaticText stURL, stUsername, stPassword, stPort, stSSL;
  TextField efURL, efUserName, efPassword, efPort;
  PopupMenu pmSSL;
  PushButton pbHelp1, pbTidewire;
  StaticText stTidewire;

  // Step 2
  StaticText stStep31, stStep3Desc1, StaticText3, stTest;
  PushButton pbHelp2, pbTest;

  // Step 3
  StaticText stStep1, stStep1Desc;
  PushButton pbHelp3;

  // Step 4
  StaticText stStep2, stStep2Desc;
  PushButton pbSelect;
  ProgressBar barParse;
  PushButton pbHelp4;

  // Step 5
  StaticText stStep4, stStep4Desc;
  GroupBox gbDownloadProgress;
  Rectangle rectProgress, rectPercent, rectMB, rectThroughput, rectPeak, rectTime, rectStatus;
  ProgressBar barProgress;
  StaticText stPercent, stMB, stThroughput, stPeak, stTime, stStatus;
  PushButton pbStart, pbShowFiles, pbHelp5;

  // Step 6
  StaticText stStep5, stStep6Desc;
  PushButton pbParts, pbDownloads, pbFAQ;

  // More
  StaticText StaticText1, stMoreDesc;
  PushButton pbMaxlink;
  Separator Separator1;
  StaticText StaticText4, StaticText5;
  PushButton pbHushroute;
};

}  // namespace gravlin
