// A news server on the thread of the program itself: it answers only when it is given a turn, at
// times of a clock that the walk sets, so that a walk is the same each time.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <optional>
#include <string>
#include <string_view>

#include "random.h"

namespace gravlin::walks {

// What one answer does that it should not.
enum class Misdeed {
  kNone,
  kCut,      // the connection ends in the middle
  kStall,    // nothing more comes
  kSilence,  // no answer at all
  kRefuse,   // 430, 411, 502 or 999
  kRepeat,   // a line comes twice
  kFlood,    // more than the program keeps
  kCount
};

class Server {
 public:
  // Gives the text of an article as it was posted; nothing if there is none.
  using Source = std::function<std::optional<std::string>(std::string_view id)>;

  Server(Source source, std::function<std::int64_t()> clock);
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  int Port() const { return port_; }
  // Accepts, reads, answers what is due.  True if there was anything.
  bool Turn();
  // Milliseconds of the clock at which the next bytes are due; -1 if none are.
  std::int64_t NextDue() const;
  void CutAll();
  // Sends more than a client keeps, unasked.
  void FloodAll();

  // From now on replies take up to `latency` milliseconds, come in pieces of up to `piece` bytes
  // (0: whole), and numbers are drawn from `random`.
  void Behave(int latency, int piece, const Random& random);
  // The next reply to a request that begins with `prefix` misbehaves; "" is the greeting.
  void Misbehave(std::string_view prefix, Misdeed misdeed);
  void BehaveWell();
  void DropLogOns() { drop_log_ons_ = true; }

  std::string user, password;  // empty: no log-on is required
  bool aloud = false;          // prints what is asked and answered
  std::string greeting = "200 ready";
  // Called for each article that is requested.
  std::function<void(const std::string& id)> requested;
  // What no client may do; empty if none did.
  const std::string& Complaint() const { return complaint_; }

 private:
  struct Piece {
    std::int64_t due;
    std::string bytes;
    std::size_t sent = 0;
  };
  struct Connection {
    int descriptor;
    std::string received, request, user;
    std::deque<Piece> out;
    std::size_t must_come = 0;  // bytes of the reply under way that a client has to await
    bool logged_on = false, downloads = false, confused = false, stalled = false, ends = false,
         over = false;
  };

  bool Accept();
  bool Read(Connection& connection);
  bool Write(Connection& connection);
  void Answer(Connection& connection, const std::string& request);
  std::string Reply(Connection& connection, const std::string& request);
  void Send(Connection& connection, std::string reply, Misdeed misdeed);
  Misdeed MisdeedFor(std::string_view request);

  const Source source_;
  const std::function<std::int64_t()> clock_;
  int listener_ = -1, port_ = 0;
  std::list<Connection> connections_;
  int latency_ = 0, piece_ = 0;
  Random random_{0};
  struct Plan {
    std::string prefix;
    Misdeed misdeed;
  };
  std::list<Plan> plans_;
  bool drop_log_ons_ = false;
  std::string complaint_;
};

// The article as the reply to ARTICLE, as bytes on the wire.
std::string WireForm(std::string_view id, std::string_view text);

}  // namespace gravlin::walks
