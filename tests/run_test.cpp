// One whole run as a user and a server see it, line by line: the status, the log, and what the
// server receives.  A refused article, a lost connection, a Stop, and the way to the repair.
#include <gtest/gtest.h>

#include <cctype>
#include <fstream>
#include <map>
#include <set>

#include "platform/text.h"
#include "support/engine_fixture.h"
#include "support/lines.h"
#include "support/page.h"

namespace gravlin::testing {
namespace {

class RunTest : public ProgramTest {
 protected:
  // Times, ports and folders differ from run to run, and so does the number of reports of a long
  // wait.
  void Note(const std::string& who, std::string text) {
    for (const char* before : {"reconnect in ", "on port "})
      if (const std::size_t at = text.find(before); at != std::string::npos) {
        const std::size_t number = at + std::string_view(before).size();
        text.replace(number, text.find(' ', number) - number, "N");
      }
    for (std::size_t i = 0; i + 8 <= text.size(); ++i)
      if (text[i + 2] == ':' && text[i + 5] == ':' && std::isdigit(text[i]) &&
          std::isdigit(text[i + 7]))
        text.replace(i, 8, "TIME");
    text = ReplaceAll(text, FolderItem::FromPath(data.Path().string()).AbsolutePath(), "~:");
    const std::string line = who + ReplaceAll(text, "\r\n", " | ") + "\n";
    if (InStr(text, "Receiving post") > 0 || pages_[who].ends_with(line)) return;
    pages_[who] += line;
  }
  // A line of the log that differs from an earlier one only in its names and numbers says nothing
  // new.
  void NoteLog() {
    for (const std::string& line : LinesOf(ReadFile(data / "Gravlin/Gravlin_Debug..txt")))
      if (seen_.insert(WithoutNames(line)).second) Note("log: ", line);
  }
  // "a.rar" to "d.par2", and numbers.
  static std::string WithoutNames(const std::string& line) {
    const auto is_lower = [&](std::size_t i) { return i < line.size() && std::islower(line[i]); };
    std::string rest;
    for (std::size_t i = 0; i < line.size(); ++i) {
      if (line[i] >= 'a' && line[i] <= 'd' && line.substr(i + 1, 1) == "." && is_lower(i + 2))
        for (i += 2; is_lower(i + 1);) ++i;
      else if (!std::isdigit(line[i]))
        rest += line[i];
    }
    return rest;
  }
  std::set<std::string> seen_;
  std::map<std::string, std::string> pages_;
};

TEST_F(RunTest, SaysAndSendsWhatIsRecorded) {
  posted.Add("b.avi", 6000, 2000, Coding::kYenc, "body.avi");
  Post({"a.rar", "c.rar", "d.par2"}, 3, WithLogOn());
  const auto article = [this](int file, int part) {
    return "ARTICLE <" + posted.Files()[file].ids[part - 1];
  };
  server->On(article(1, 2), Answer("430 no such article"), 1);
  server->On(article(0, 2), StallAfter(900), 1);
  server->On(article(2, 2), StallAfter(900), 1);
  // An earlier version made a log that others may read.
  const auto log = data / "Gravlin/Gravlin_Debug..txt";
  std::ofstream(log) << "an earlier run";
  std::filesystem::permissions(log, std::filesystem::perms(0644));
  Code::DebugOn = true;
  window->stStatus.TextChange = [&] {
    Note("status: ", window->pbStart.Caption() + (window->pbStart.Enabled() ? "  " : "- ") +
                         window->stStatus.Text());
  };
  Start();
  ASSERT_TRUE(RunToState("receiving article"));
  clock.Advance(61'000);
  ASSERT_TRUE(clock.RunUntil([&] { return server->ArticleCount(posted.Files()[2].ids[1]) == 1; }));
  ASSERT_TRUE(RunToState("receiving article"));
  Start();
  clock.Advance(32'000);  // the server no longer answers
  ASSERT_TRUE(RunToEnd());
  NoteLog();
  Start();
  ASSERT_TRUE(RunToEnd());
  NoteLog();
  window->stStatus.TextChange = nullptr;
  Code::DebugOn = false;
  EXPECT_EQ(std::filesystem::status(log).permissions(), std::filesystem::perms(0600));
  for (const std::string& request : server->Requests()) Note("sent: ", request);
  std::string page;
  for (const auto& [who, lines] : pages_) page += lines;
  ExpectPage("run", page);
}

}  // namespace
}  // namespace gravlin::testing
