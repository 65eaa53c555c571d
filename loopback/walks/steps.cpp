// The steps of a walk.
#include "steps.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iterator>

#include "base/code.h"
#include "disk.h"
#include "platform/application.h"
#include "postprocess/hand_off.h"
#include "postprocess/par.h"
#include "postprocess/rar.h"
#include "ui/console.h"
#include "ui/file_types_window.h"
#include "ui/files_window.h"
#include "ui/small_windows.h"

namespace gravlin::walks {
namespace {

// --- Time ---

void AMoment(World& world, Random& random) { world.Advance(random.Below(60)); }
void ASecond(World& world, Random& random) { world.Advance(random.Below(2000)); }
void AMinute(World& world, Random& random) { world.Advance(random.Below(70'000)); }
void ClockBack(World& world, Random& random) { world.SetBack(random.Between(-4000, 4000)); }

// --- The user ---

void Start(World& world, Random&) { world.PressStart(); }
void Import(World& world, Random& random) { world.Import(random.Below(3)); }
void ImportTwice(World& world, Random& random) {
  world.Import(random.Below(3));
  world.Import(random.Below(3));
}
void ImportWithParts(World& world, Random& random) {
  const int set = random.Below(3);
  world.LeaveParts(set);
  world.Import(set);
}
void ImportBroken(World& world, Random& random) {
  static constexpr const char* kTexts[] = {
      "", "no nzb",
      "<nzb><file subject=\"&quot;x.rar&quot; (1/1)\"><groups><group>a.b</group></groups>",
      "<nzb><file subject=\"&quot;x.rar&quot; (1/1)\">\n<groups>\n<group>a.b</group>\n</groups>\n"
      "<segments>\n<segment bytes=\"1\" number=\"1\">id</segment>\n",
      "<nzb>\n<file subject=\"nothing that is a name\">\n<groups>\n<group>a.b</group>\n</groups>\n"
      "<segments>\n<segment bytes=\"1\" "
      "number=\"1\">i@d</segment>\n</segments>\n</file>\n</nzb>\n"};
  world.ImportText(kTexts[random.Below(static_cast<int>(std::size(kTexts)))]);
}
void EditForm(World& world, Random& random) {
  Gravlin* const window = world.Window();
  if (!window) return;
  switch (random.Below(4)) {
    case 0:
      window->efUserName.SetText(random.OneIn(2) ? world.server->user : "somebody");
      break;
    case 1:
      window->efPassword.SetText(random.OneIn(3) ? "wrong" : world.server->password);
      break;
    case 2:
      window->efPort.SetText(random.OneIn(3) ? "1" : std::to_string(world.server->Port()));
      break;
    default:
      window->efURL.SetText(random.OneIn(4) ? "it's" : "127.0.0.1");
  }
  world.Advance(random.Below(20));
}
void RepairForm(World& world, Random&) {
  Gravlin* const window = world.Window();
  if (!window) return;
  window->efURL.SetText("127.0.0.1");
  window->efUserName.SetText(world.server->user);
  window->efPassword.SetText(world.server->password);
  window->efPort.SetText(std::to_string(world.server->Port()));
}
void QuickTest(World& world, Random&) {
  if (world.Window()) world.Window()->pbTest.Push();
}
void FilesWindow(World& world, Random&) {
  if (!world.Window()) return;
  if (grvFiles* const open = Window::IfOpen<grvFiles>())
    open->AskToClose();
  else
    world.Window()->pbShowFiles.Push();
}
void Console(World& world, Random& random) {
  TestServer* const open = Window::IfOpen<TestServer>();
  if (!open) {
    world.app->_mTestServer_Action();
    return;
  }
  switch (random.Below(4)) {
    case 0:
      open->pbConnect.Push();
      break;
    case 1:
      open->efCommand.SetText("HELP");
      open->pbSend.Push();
      break;
    case 2:
      open->pbDisconnect.Push();
      break;
    default:
      open->AskToClose();
  }
}
void FileTypes(World& world, Random& random) {
  FileTypesWin* const open = Window::IfOpen<FileTypesWin>();
  if (!open) {
    world.app->_mSetupFileTypes_Action();
    return;
  }
  switch (random.Below(4)) {
    case 0:
      open->TypesList.SetListIndex(random.Below(open->TypesList.ListCount() + 1) - 1);
      break;
    case 1:
      open->efNote.SetText("note");
      open->pbSaveChanges.Push();
      break;
    case 2:
      open->pbMakeNewType.Push();
      break;
    default:
      open->AskToClose();
  }
}
void Menu(World& world, Random& random) {
  switch (random.Below(4)) {
    case 0:
      world.app->_mCompactDataba_Action();
      break;
    case 1:
      world.app->_mDebugMode_Action();
      break;
    case 2:
      world.app->_mAbout_Action();
      break;
    default:
      world.app->_mToolzPAR_Action();
  }
}
void Document(World& world, Random& random) {
  static constexpr const char* kNames[] = {"bset.part1.rar", "it's.par2", "x.nzb"};
  if (random.OneIn(3))
    world.app->Event_OpenDocument(
        Code::AppDataFolder.Child("Downloads").Child(kNames[random.Below(3)]));
  else
    world.OpenDocument();
}
void SecondStart(World& world, Random&) { world.StartTwice(); }
// The tool of a repair or an extraction that is under way says something.
void ToolSays(World& world, Random& random) {
  static constexpr const char* kWords[] = {"All files are correct, repair is not required.\n",
                                           "Repair complete.\n",
                                           "Loading: 9.9%\r",
                                           "Target: \"aset.part1.rar\" - found.\n",
                                           "All OK\n",
                                           "Extracting  x.bin   72%",
                                           "half a l"};
  const FolderItem outputs[] = {Code::AppDataFolder.Child("unPar.txt"),
                                Code::AppDataFolder.Child("unRar.txt")};
  const FolderItem& output = outputs[random.Below(2)];
  if (output.Exists()) std::ofstream(output.NativePath(), std::ios::app) << kWords[random.Below(7)];
  world.Advance(random.Below(1000));
}
void CloseATool(World& world, Random& random) {
  world.LoseDocuments();
  if (random.OneIn(2)) {
    if (Par* const open = Window::IfOpen<Par>()) open->AskToClose();
  } else if (Rar* const open = Window::IfOpen<Rar>()) {
    open->AskToClose();
  }
}
void QuitAndStart(World& world, Random&) {
  world.Quit();
  world.Launch();
}
void KillAndStart(World& world, Random&) {
  world.Kill();
  world.Launch();
}
void LosePowerAndStart(World& world, Random&) {
  world.LosePower();
  world.Launch();
}
// In the middle of whatever the program does to the disk next.
void KillAtAChange(World& world, Random& random) {
  Disk::Get().DieAfter(random.Below(40));
  world.Advance(random.Below(2000));
  world.Kill();
  Disk::Get().Revive();
  if (random.OneIn(2)) world.LosePower();
  world.Launch();
}
void StartWithParts(World& world, Random&) {
  world.Kill();
  world.LeaveParts();
  world.Launch();
}

// --- The server ---

void ServerSlows(World& world, Random& random) {
  world.server->Behave(random.OneIn(4) ? 0 : random.Below(400),
                       random.OneIn(2) ? 0 : random.Between(1, 300), Random(random.Next()));
}
void ServerMisbehaves(World& world, Random& random) {
  static constexpr const char* kRequests[] = {"",        "AUTHINFO", "GROUP",
                                              "ARTICLE", "ARTICLE",  "quit"};
  auto misdeed = static_cast<Misdeed>(random.Between(1, static_cast<int>(Misdeed::kCount) - 1));
  if (misdeed == Misdeed::kFlood && !random.OneIn(8)) misdeed = Misdeed::kCut;
  world.server->Misbehave(kRequests[random.Below(6)], misdeed);
}
void ServerCuts(World& world, Random&) { world.server->CutAll(); }
void ServerFloods(World& world, Random&) { world.server->FloodAll(); }
void ServerGreets(World& world, Random& random) {
  world.server->greeting = random.OneIn(2)   ? "200 ready"
                           : random.OneIn(2) ? "201 no posting"
                                             : "502 closed";
}
void ServerDropsLogOns(World& world, Random&) { world.server->DropLogOns(); }
void ServerRecovers(World& world, Random&) { world.server->BehaveWell(); }

// --- The disk ---

void DiskFails(World&, Random& random) {
  Disk::Get().Fail(
      static_cast<DiskFault>(random.Between(1, static_cast<int>(DiskFault::kCount) - 1)),
      random.Next());
}
void DiskWorks(World&, Random& random) { Disk::Get().Fail(DiskFault::kNone, random.Next()); }
void StoreLocked(World& world, Random& random) { world.LockStore(random.Below(5000)); }
void HelpersSlow(World& world, Random& random) {
  world.offload_delay = random.OneIn(3) ? 0 : random.Below(3000);
}

}  // namespace

const std::vector<StepKind>& AllSteps() {
  static const std::vector<StepKind> steps = {
      {"a moment", 60, AMoment},
      {"a second", 30, ASecond},
      {"a minute", 8, AMinute},
      {"the clock is set", 2, ClockBack},
      {"Start or Stop", 24, Start},
      {"import", 10, Import},
      {"two imports", 2, ImportTwice},
      {"import over parts", 4, ImportWithParts},
      {"import of a broken NZB", 3, ImportBroken},
      {"edit the form", 4, EditForm},
      {"repair the form", 4, RepairForm},
      {"quick test", 3, QuickTest},
      {"Files window", 2, FilesWindow},
      {"console", 3, Console},
      {"file types", 3, FileTypes},
      {"menu", 3, Menu},
      {"document", 5, Document},
      {"the tool says something", 6, ToolSays},
      {"close a tool's window", 1, CloseATool},
      {"a second start", 1, SecondStart},
      {"quit and start", 2, QuitAndStart},
      {"kill and start", 2, KillAndStart},
      {"power cut and start", 2, LosePowerAndStart},
      {"kill at a change of the disk", 4, KillAtAChange},
      {"start with parts of an earlier run", 3, StartWithParts},
      {"the server slows down", 6, ServerSlows},
      {"the server misbehaves", 8, ServerMisbehaves},
      {"the server cuts", 3, ServerCuts},
      {"the server floods unasked", 1, ServerFloods},
      {"the server greets", 1, ServerGreets},
      {"the server drops log-ons", 1, ServerDropsLogOns},
      {"the server recovers", 4, ServerRecovers},
      {"the disk fails", 3, DiskFails},
      {"the disk works", 5, DiskWorks},
      {"the store is locked", 2, StoreLocked},
      {"helpers are slow", 4, HelpersSlow},
  };
  return steps;
}

std::vector<Step> PlanWalk(std::uint64_t seed) {
  Random random(seed ^ 0x77616c6b);
  int all = 0;
  for (const StepKind& kind : AllSteps()) all += kind.weight;
  std::vector<Step> steps;
  for (int left = random.Between(30, 200); left > 0; --left) {
    int at = random.Below(all);
    std::size_t kind = 0;
    while (at >= AllSteps()[kind].weight) at -= AllSteps()[kind++].weight;
    steps.push_back({kind, random.Next()});
  }
  return steps;
}

std::string LineOf(std::uint64_t seed, const std::vector<Step>& steps) {
  std::string line = std::to_string(seed) + ":";
  for (const Step& step : steps)
    line += " " + std::string(AllSteps()[step.kind].name) + "@" + std::to_string(step.seed) + ";";
  return line;
}

bool ReadLine(const std::string& line, std::uint64_t& seed, std::vector<Step>& steps) {
  seed = std::strtoull(line.c_str(), nullptr, 10);
  for (std::size_t at = line.find(": ") + 2, end; (end = line.find(';', at)) != line.npos;
       at = end + 2) {
    const std::size_t mark = line.rfind('@', end);
    const std::string_view name = std::string_view(line).substr(at, mark - at);
    const auto kind = std::find_if(AllSteps().begin(), AllSteps().end(),
                                   [name](const StepKind& each) { return each.name == name; });
    if (kind == AllSteps().end()) return false;
    steps.push_back({static_cast<std::size_t>(kind - AllSteps().begin()),
                     std::strtoull(line.c_str() + mark + 1, nullptr, 10)});
  }
  return true;
}

std::string Walk(std::uint64_t seed, const std::vector<Step>& steps, const std::string& folder,
                 bool aloud) {
  World world(folder, seed);
  world.server->aloud = aloud;
  int number = 0;
  for (const Step& step : steps) {
    const StepKind& kind = AllSteps()[step.kind];
    ++number;
    world.Draw(step.seed);
    Random random(step.seed + 1);
    if (!world.Window()) world.Kill(), world.Launch();
    if (aloud) {
      const Gravlin* const window = world.Window();
      std::printf("%3d %-24s", number, std::string(kind.name).c_str());
      std::fflush(stdout);
      kind.act(world, random);
      std::printf(" | %s | %s | %s\n",
                  window == world.Window() && window ? window->State().c_str() : "-",
                  window == world.Window() && window ? window->pbStart.Caption().c_str() : "-",
                  window == world.Window() && window ? window->stStatus.Text().c_str() : "-");
    } else {
      kind.act(world, random);
    }
    world.Advance(0);
    world.Check();
    if (!world.Failure().empty())
      return "step " + std::to_string(number) + " (" + std::string(kind.name) +
             "): " + world.Failure();
  }
  world.Draw(seed);
  world.Finish();
  world.Check();
  return world.Failure().empty() ? "" : "at the end: " + world.Failure();
}

}  // namespace gravlin::walks
