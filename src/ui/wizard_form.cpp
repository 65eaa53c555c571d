// The wizard as a form: what its buttons and fields do, and the steps of its opening and closing.
#include "base/code.h"
#include "base/endpoints.h"
#include "nzb/names.h"
#include "platform/desktop.h"
#include "platform/scoped_flag.h"
#include "platform/text.h"
#include "store/database.h"
#include "store/writers.h"
#include "ui/files_window.h"
#include "ui/gravlin.h"
#include "ui/message_window.h"

namespace gravlin {
namespace {

// What the user must put right before the form is saved.
struct CheckedField {
  TextField& field;
  std::string_view name;
};

void OpenOnPush(PushButton& button, const std::string& address) {
  button.Action = [address] { ShowURL(address); };
}

}  // namespace

void Gravlin::WireControls() {
  using endpoints::Vendor;
  OpenOnPush(pbHelp1, Vendor("/usenet/nzb/gravlin/server-setup?Source=Gravlin"));
  OpenOnPush(pbHelp2, Vendor("/usenet/nzb/gravlin/test-server"));
  OpenOnPush(pbHelp3, Vendor("/usenet/nzb/gravlin/find-nzb-files?source=Gravlin"));
  OpenOnPush(pbHelp4, Vendor("/usenet/nzb/gravlin/step-4-import-nzb-file?source=Gravlin"));
  OpenOnPush(pbHelp5, Vendor("/usenet/nzb/gravlin/step-5-download?source=Gravlin"));
  OpenOnPush(pbFAQ, Vendor("/usenet/faq/downloading-from-usenet?source=Gravlin"));
  OpenOnPush(pbMaxlink, Vendor("/usenet/maxlink?source=Gravlin"));
  OpenOnPush(pbTidewire, endpoints::Tidewire());
  OpenOnPush(pbHushroute, endpoints::Hushroute());
  pbParts.Action = [this] { fParts.Launch(); };
  pbDownloads.Action = [this] { fDownloads.Launch(); };
  pbShowFiles.Action = [] { Window::Shared<grvFiles>().Show(); };
  pbSelect.Action = [this] { pbSelect_Action(); };
  pbSelect.DropObject = [this](const DragItem& dropped) { pbSelect_DropObject(dropped); };
  pbTest.Action = [this] { pbTest_Action(); };
  pbStart.Action = [this] { pbStart_Action(); };

  // The form is saved at every keystroke.
  const auto changed = [this] {
    if (!TextLoading && !filling_form_) SaveServerSettings();
  };
  for (TextField* field : {&efURL, &efUserName, &efPassword, &efPort}) field->TextChange = changed;
  pmSSL.Change = changed;
  TabPanel1.Change = [this] {
    // No server field gets the focus by accident.
    if (TabPanel1.Value() == 1) pbHelp1.SetFocus();
  };
}

void Gravlin::SaveServerSettings() {
  const CheckedField fields[] = {
      {efURL, "URL"}, {efUserName, "Username"}, {efPassword, "Password"}, {efPort, "Port"}};
  for (const auto& [field, name] : fields) {
    const std::string bad = Code::BadSQLChar(field.Text());
    if (bad.empty()) continue;
    MsgBox("Sorry, the " + std::string(name) + " cannot contain a " + bad + ". Please remove it.");
    field.SetFocus();
    return;
  }
  Code::SaveToDB({ServerStatement()}, "none");
}

ServerSettings Gravlin::FormServer() const {
  return {.URL = efURL.Text(),
          .Username = efUserName.Text(),
          .Password = efPassword.Text(),
          .Port = ToInt32(Val(efPort.Text())),
          .SSL = Code::SSLStringToCode(SSLColumn(pmSSL.ListIndex()))};
}

// There is one server, so the statement has no condition.
std::string Gravlin::ServerStatement() const {
  return "Update Servers Set URL='" + efURL.Text() + "', " + "Username='" + efUserName.Text() +
         "', " + "Password='" + efPassword.Text() + "', " + "Port='" + efPort.Text() + "', " +
         "SSL='" + std::string(SSLColumn(pmSSL.ListIndex())) + "'";
}

// A half-filled form must not reach the store: a kill or a full disk would leave it there.
void Gravlin::FillServerForm(const RecordSet& server) {
  const std::string before = ServerStatement();
  {
    const ScopedFlag filling(filling_form_, true);
    efURL.SetText(server.Field("URL").StringValue());
    efUserName.SetText(server.Field("Username").StringValue());
    efPassword.SetText(server.Field("Password").StringValue());
    efPort.SetText(server.Field("Port").StringValue());
    pmSSL.SetListIndex(SSLMenuIndex(server.Field("SSL").StringValue()));
  }
  if (ServerStatement() != before && !TextLoading) SaveServerSettings();
}

void Gravlin::pbSelect_Action() {
  const FolderItem chosen = GetOpenFolderItem("nzb");
  if (chosen.IsNil()) return;  // an import that waits for the store still needs the one before
  fNZB = chosen;
  InitNZBFile();
}

// The file's type is not checked: the import reports a file that is no NZB.
void Gravlin::pbSelect_DropObject(const DragItem& dropped) {
  if (!dropped.FolderItemAvailable()) return;
  fNZB = dropped.item;
  InitNZBFile();
}

void Gravlin::Event_Open() {
  OpenStore();
  const auto settings = db->SQLSelect("Select * from Settings_Gravlin");
  const auto place = [&settings](std::string_view column) {
    return settings && !settings->EndOfFile() ? settings->Field(column).IntegerValue() : 0;
  };
  constexpr int kFirstPlace = 82;
  SetTop(place("Top") < 1 ? kFirstPlace : place("Top"));
  SetLeft(place("Left") < 1 ? kFirstPlace : place("Left"));
  // A stored size above the minimum is not applied: the window stays as it was designed.
  if (place("Height") < MinHeight()) SetHeight(MinHeight());
  if (place("Width") < MinWidth()) SetWidth(MinWidth());
  BringIntoView();
  FirstRun = settings && !settings->EndOfFile() && settings->Field("FirstRun").BooleanValue();
  if (FirstRun) {
    Code::SaveToDB({"Update Settings_Gravlin Set FirstRun='False'"}, "none");
  } else if (!Code::GotMessage) {
    Code::GotMessage = true;
    CheckForMessage();
  }
  DoneLoading = false;
  ShowImportBar(-1);
  Resume();
  DoneLoading = true;
}

void Gravlin::Event_Resized() { SaveSize(); }

// Only the position: the window keeps its size.
void Gravlin::SaveSize() {
  if (!DoneLoading || Top() <= 0) return;
  Code::SaveToDB({"Update Settings_Gravlin Set Top=" + Str(Top()) + ", " + "Left=" + Str(Left())},
                 "none");
}

void Gravlin::Event_Close() {
  SaveSize();
  Abandon();
}

}  // namespace gravlin
