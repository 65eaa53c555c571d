// A news server on the loopback interface, over real TCP or TLS, that can also misbehave.
//
// It runs on threads of its own, so that the test's main thread can run the event loop.  A fault is
// a rule: a prefix of the request and a change to the server's own answer.  Answers that are cut
// into pieces wait at each border until the test calls Release, so that no test depends on time.
#pragma once

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <functional>
#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <vector>

#include "loopback/certificates.h"

namespace gravlin::loopback {

// What the server sends for one request, as bytes on the wire.
struct Reply {
  enum class Then { kGoOn, kClose, kStall };
  std::string bytes;
  std::vector<std::size_t> borders;  // rising positions in `bytes` where sending pauses
  bool held = false;        // a pause lasts until Release; otherwise pieces are just separate
  Then then = Then::kGoOn;  // kStall: sends nothing more on this connection, and keeps it open
};
using Change = std::function<Reply(Reply)>;

// Changes to an answer, for NewsServer::On.
Change Answer(std::string line);          // another answer, CR LF is appended
Change Silence();                         // no answer; later requests are answered again
Change CutAfter(std::size_t count);       // closes the connection after that many bytes
Change StallAfter(std::size_t count);     // nothing more after that many bytes
Change SplitEvery(std::size_t count);     // small pieces, not held
Change FlipByteAt(std::size_t position);  // damages one byte

// An article's text (headers, blank line, body) as the reply to ARTICLE: status line, stuffed dots,
// end line.
std::string ArticleReply(std::string_view id, std::string_view text);

class NewsServer {
 public:
  // Rules with this prefix apply to the greeting of a new connection.
  static constexpr std::string_view kGreeting = "(greeting)";

  struct Options {
    bool tls = false;
    Identity identity = Identity::kGood;
    std::string user, password;         // without a user no log-on is required
    int delay_milliseconds = 0;         // before each answer
    double bytes_per_second = 0;        // 0: without limit
    std::filesystem::path request_log;  // one request a line
  };
  using Source = std::function<std::optional<std::string>(std::string_view id)>;

  NewsServer() : NewsServer(Options()) {}  // no TLS, no log-on
  explicit NewsServer(Options options);
  ~NewsServer();
  NewsServer(const NewsServer&) = delete;
  NewsServer& operator=(const NewsServer&) = delete;

  int Port() const { return port_; }
  // The authority that clients of a TLS server are to trust.
  void WriteAuthority(const std::filesystem::path& file) const;

  // Keeps an article, ready to be sent as it is.
  void Add(std::string_view id, std::string_view text);
  // Called for the text of articles that were not added, on the server's threads.
  void SetSource(Source source);

  // From now on the answer to requests that begin with `prefix` (case ignored) goes through
  // `change`, on the server's threads; `times` limits how often.  Of several matching rules the
  // newest applies.
  void On(std::string_view prefix, Change change, int times = -1);
  void ClearRules();

  // Lets each piece that is held now be sent.
  void Release();
  // Connections that wait at a border or are stalled.
  int Held() const { return Locked(held_); }

  // What clients have sent so far, without line ends, and how often one article was requested.
  std::vector<std::string> Requests() const { return Locked(requests_); }
  int ArticleCount(const std::string& id) const;
  // Since the start: connections taken, and those of them that have ended.
  int Connections() const { return Locked(accepted_); }
  int Ended() const { return Locked(ended_); }

 private:
  class Connection;
  struct Rule {
    std::string prefix;
    Change change;
    int times;
  };
  using Time = std::chrono::steady_clock::time_point;

  template <class T>
  T Locked(const T& member) const {
    const std::lock_guard lock(mutex_);
    return member;
  }
  void Listen();
  void AcceptAll();
  void Serve(Connection& connection);
  bool Converse(Connection& connection);
  // The server's own answer.
  Reply Respond(Connection& connection, const std::string& request);
  Reply RespondToArticle(const std::string& id);
  Reply LogOn(Connection& connection, const std::string& request);
  // The answer after the rules.
  Reply Changed(std::string_view request, Reply reply);
  void Note(const std::string& request);
  // Send and wait; false if the connection is over.
  bool Send(Connection& connection, const Reply& reply);
  bool SendPaced(Connection& connection, std::string_view bytes);
  bool AwaitRelease();
  void AwaitEnd(Connection& connection);
  bool Pause(Time until);

  const Options options_;
  std::optional<Certificates> certificates_;
  int listener_ = -1, port_ = 0;

  mutable std::mutex mutex_;  // of all members below
  std::condition_variable changed_;
  bool stopping_ = false;
  std::list<Connection> open_;  // each with a detached thread, so that none accumulates
  std::vector<Rule> rules_;
  std::unordered_map<std::string, std::string> wires_;  // ready replies by message id
  Source source_;
  int releases_ = 0, held_ = 0, accepted_ = 0, ended_ = 0;
  std::vector<std::string> requests_;
  std::ofstream log_;
  std::thread accepting_;
};

}  // namespace gravlin::loopback
