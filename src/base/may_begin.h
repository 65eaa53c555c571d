// What may begin now.  Pure: no window, no clock, no store.  Most serious faults of this program
// were two activities that met, so whoever begins something, or continues after events have run,
// asks here.
//
// Who writes what a Situation is made of; each flag is written in one file:
//   step          EngineStep, for its scope
//   running       SetRunning (session.cpp): on at LogOn; off at Stop, Finish and the program's end
//   logged_on     session.cpp: on at LoggedOn; off when a connection or a sign-off begins, and
//                 outside a run
//   signing_off   session.cpp: on at StopScanning; off at Stop, and when a run begins
//   thread_flag   decode/assembly.cpp: on when the last assembly ends; off when the tick takes it
//                 or another assembly starts
//   assembling, decoding
//                 decode/assembly.cpp: on during these two steps; a failure leaves one of them on
//                 until the tick takes thread_flag
//   joining       decode/assembly.cpp: on while a grvConcat works
//   assemblies    decode/assembly.cpp: the grvConcats that exist
//   loading_list  import_side.cpp: on while LoadListAnew runs
//   quitting      Application::Quit
// Engine::State is written by EnterState (session.cpp).  The flag of a tool's job is written by
// ToolRight (postprocess/tool_run.h), and a tool's phase by ToolRun.  The right to write to the
// store is taken and given back in store/writers.cpp, and kept by nzb/grv_parse.cpp, which also
// counts the imports that live.
#pragma once

namespace gravlin {

struct Situation {
  bool step = false;       // a step of the engine, further up the stack, lets events run
  bool running = false;    // the tick comes: from Start to the sign-off's end, or to the last file
  bool logged_on = false;  // commands may go out
  bool signing_off = false;  // the user's Stop has sent "Quit"
  bool thread_flag = false;  // an assembly has ended, and no tick has taken that yet
  bool assembling = false, decoding = false;
  bool joining = false;  // an assembly is at work
  int assemblies = 0;    // threads of assemblies that have not ended, those that wait included
  bool loading_list = false;
  bool quitting = false;
};

// Of a repair or an extraction window.
enum class ToolPhase {
  kReady,      // no run, or its end
  kWaiting,    // its file waits for another window's run
  kClearing,   // the output of an earlier run goes away
  kFollowing,  // the tool was started
};

// Of an import.
struct ImportSituation {
  bool oldest = true;      // no import that began before it is alive
  bool others = false;     // another one is alive, and waits
  bool store_free = true;  // Code::DBFree
};

struct WriteSituation {
  int pending = 0;    // background writes that have not ended
  bool kept = false;  // Code::DBKept: an import keeps the right to write, perhaps until the end
};

struct ToolSituation {
  ToolPhase phase = ToolPhase::kReady;
  bool job_running = false;  // Code::ParJobRunning or Code::RarJobRunning
};

namespace may {

// One run of a tool in the whole program.  A job flag that a failure has left set stops all later
// runs, as long as the program runs.
constexpr bool BeginTool(const ToolSituation& now) {
  const bool free = now.phase == ToolPhase::kReady || now.phase == ToolPhase::kWaiting;
  return free && !now.job_running;
}

// Begin with a file that was just chosen.  Otherwise it waits in the window's queue.
constexpr bool BeginFile(const ToolSituation& now) { return now.phase == ToolPhase::kReady; }

// One after the other, up to the end of the list that the one before shows: it gives the right to
// write back before that.
constexpr bool BeginImport(const ImportSituation& now) { return now.oldest && now.store_free; }

// Show or empty the list after a failed import.  One that waits does both itself, and would have
// its rows deleted by a late write.
constexpr bool SettleList(const ImportSituation& now) { return !now.others; }

constexpr bool AwaitWrites(const WriteSituation& now) { return now.pending > 0 && !now.kept; }

// A quit loses no write that can still end.
constexpr bool Quit(const WriteSituation& now) { return !AwaitWrites(now); }

// Half a reply must not be judged by the state that a step is about to leave.
constexpr bool TakeData(const Situation& now) { return !now.step; }

// Inside a step only the clock goes on: a reconnect would mix two exchanges.
constexpr bool Tick(const Situation& now) { return !now.step; }

// After a log-on, and when an assembly has ended.  Both come together where a file was complete at
// launch; going on twice would leave out a file and mix the replies of two commands.
constexpr bool BeginNextFile(const Situation& now) {
  return now.logged_on && !now.thread_flag && now.assemblies == 0;
}

// The line is idle during an assembly, however long that takes.
constexpr bool WatchSilence(const Situation& now) { return !now.assembling && !now.decoding; }

// Start would take the rows that are there already for all.  A quit may come while its box is open.
constexpr bool Start(const Situation& now) { return !now.loading_list && !now.quitting; }

// Parts of another list, before an import's commit.  A step that counts the parts of a file, and an
// assembly, would go on with a part less.
constexpr bool DropParts(const Situation& now) { return !now.step && now.assemblies == 0; }

// Allow or forbid Start.  In a run the button is Stop, and a sign-off keeps it disabled.
constexpr bool ChangeStart(const Situation& now) { return !now.running; }

// After LogOn has waited for the store: a Stop or a quit may have come.
constexpr bool Connect(const Situation& now) { return !now.quitting && !now.signing_off; }

// A server that floods the log-on waits for the watchdog's pause.
constexpr bool CallAgainAtOnce(const Situation& now) { return now.logged_on; }

// One at a time: the joined file and the decoded one have fixed names, and so have the fields of
// the run that it fills.
constexpr bool Assemble(const Situation& now) { return !now.joining; }

// A run has a file of its own in the fields that an assembly outside a run would set.
constexpr bool AssembleOutsideRun(const Situation& now) { return !now.running; }

// The sign-off, the opened folder and the repair at the end of a run.
constexpr bool Finish(const Situation& now) { return !now.quitting; }

}  // namespace may
}  // namespace gravlin
