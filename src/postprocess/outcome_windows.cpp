// The windows that say how a repair or an extraction ended.
#include "postprocess/outcome_windows.h"

#include "base/code.h"
#include "base/endpoints.h"
#include "platform/desktop.h"
#include "platform/text.h"
#include "store/writers.h"

namespace gravlin {
namespace {

WindowStyle Style(std::string_view title, int width, int height, bool centred = true) {
  return {.title = std::string(title),
          .width = width,
          .height = height,
          .resizable = true,
          .centred = centred};
}

constexpr Anchors kAllEdges{.left = true, .top = true, .right = true, .bottom = true};
constexpr Anchors kBottomLeft{.left = true, .top = false, .right = false, .bottom = true};

constexpr std::string_view kParFailedText =
    "If Gravlin is unable to process a set of PAR files, you can download a free program that may "
    "work better. Click the button below for instructions.";
constexpr std::string_view kRarFailedText =
    "If Gravlin is unable to process a set of RAR files, you can download a free program that may "
    "work better. Click the button below for instructions.";
constexpr std::string_view kAfterRarText =
    "A RAR archive may contain any sort of file. Sometimes you can simply double-click the "
    "extracted file and start using it. Other times, you need to take further steps. For example, "
    "if the RAR contains an IMG file, you can burn it to a DVD or CD, or convert it to a format "
    "you can use directly on your computer.\r\r"
    "Click the button below to go to the FAQ section of our web site where you will find links to "
    "pages that explain all the different types of files, how to handle them, and links to free "
    "software that you may need.\r\r"
    "Look at the file extension(s) of the file(s) you have, and then find the corresponding link "
    "in the \"Buzzwords\" section at the top of the FAQ page.";

}  // namespace

ParFailed::ParFailed()
    : Window(Style("PAR Options", 473, 138)),
      StaticText1(*this, "StaticText1", {21, 18, 431, 48}, kParFailedText),
      pbGo(*this, "pbGo", {184, 78, 105, 22}, "Instructions") {
  pbGo.Action = [this] { pbGo_Action(); };
}

void ParFailed::pbGo_Action() { ShowURL(endpoints::Vendor("/usenet/faq/quickpar?Source=Gravlin")); }

RarFailed::RarFailed()
    : Window(Style("RAR Options", 473, 138)),
      StaticText1(*this, "StaticText1", {20, 14, 431, 55}, kRarFailedText),
      pbGo(*this, "pbGo", {183, 74, 105, 22}, "Instructions") {
  pbGo.Action = [this] { pbGo_Action(); };
}

void RarFailed::pbGo_Action() { ShowURL(endpoints::Vendor("/usenet/faq/winrar?Source=Gravlin")); }

// Not in the middle of the screen, where the advice at the end of the run would cover it.
RarNotes::RarNotes()
    : Window(Style("Rar Archive Comments", 362, 317, /*centred=*/false)),
      efComment(*this, "efComment", {16, 15, 329, 287}) {
  efComment.SetAccessibleName("Comment of the archive");
  efComment.SetAnchors(kAllEdges);
}

AfterRAR::AfterRAR()
    : Window(Style("After RAR", 405, 335)),
      StaticText1(*this, "StaticText1", {20, 14, 365, 217}, kAfterRarText),
      pbGo(*this, "pbGo", {136, 256, 132, 22}, "Go to FAQ Page"),
      boxShow(*this, "boxShow", {121, 295, 232, 20}, "Don't show this any more.") {
  StaticText1.SetAnchors(kAllEdges);
  pbGo.SetAnchors(kBottomLeft);
  boxShow.SetAnchors(kBottomLeft);
  pbGo.Action = [this] { pbGo_Action(); };
}

void AfterRAR::Event_Open() {
  db = std::make_unique<Database>(Code::fGlobalDB);
  if (!db->Connect()) MsgBox("Can't open Gravlin.rsd database file.");
  boxShow.SetLeft(boxShow.Left() - 16);
  SetHeight(Height() + 30);
}

void AfterRAR::pbGo_Action() {
  ShowURL(endpoints::Vendor("/usenet/faq/downloading-from-usenet?source=Gravlin"));
}

void AfterRAR::Event_Close() {
  if (boxShow.Value()) Code::SaveToDB({"Update Settings Set Future2='n'"}, "none");
}

}  // namespace gravlin
