// A news server on the loopback interface, over real TCP or TLS, that can also misbehave.
//
// It runs on threads of its own, so that the test's main thread stays with the event loop.  A fault
// is a rule: a prefix of the request and a change to the server's own answer.  Answers that are cut
// into pieces wait at each border until the test calls Release, so that no test depends on time.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/certificates.h"

namespace gravlin::testing {

// What the server sends for one request, as bytes on the wire.
struct Reply {
  enum class Then { kGoOn, kClose, kStall };
  std::string bytes;
  std::vector<std::size_t> borders;  // rising positions in `bytes` where the sending pauses
  bool held = false;        // a pause lasts until Release; otherwise each piece is sent by itself
  Then then = Then::kGoOn;  // kStall: says nothing more on this connection, and keeps it open
};
using Change = std::function<Reply(Reply)>;

// Changes for NewsServer::On.
Change Answer(std::string line);                   // another answer, CR LF added
Change Silence();                                  // no answer; later requests are answered again
Change CutAfter(std::size_t count);                // closes the connection after so many bytes
Change StallAfter(std::size_t count);              // nothing more after so many bytes
Change SplitAt(std::vector<std::size_t> borders);  // held pieces
Change SplitEvery(std::size_t count);              // small sendings, not held
Change FlipByteAt(std::size_t position);           // damages one byte

// An article's text (headers, blank line, body) as the reply to ARTICLE: status line, stuffed dots,
// end line.
std::string ArticleReply(std::string_view id, std::string_view text);

class NewsServer {
 public:
  // Rules with this prefix apply to the greeting of a new connection.
  static constexpr std::string_view kGreeting = "(greeting)";

  struct Options {
    int port = 0;  // 0: any free port
    bool tls = false;
    Identity identity = Identity::kGood;
    std::string user, password;  // without a user no log-on is asked
    std::string greeting = "200 News server ready";
    int delay_milliseconds = 0;         // before each answer
    double bytes_per_second = 0;        // 0: as fast as it goes
    std::filesystem::path request_log;  // one request a line
  };
  using Source = std::function<std::optional<std::string>(std::string_view id)>;

  NewsServer();  // plain, open to all
  explicit NewsServer(Options options);
  ~NewsServer();
  NewsServer(const NewsServer&) = delete;
  NewsServer& operator=(const NewsServer&) = delete;

  int Port() const;
  // The authority that clients of a TLS server are to trust.
  void WriteAuthority(const std::filesystem::path& file) const;

  // Keeps an article, ready to be sent as it is.
  void Add(std::string_view id, std::string_view text);
  // Asked for the text of articles that were not added.  Called on the server's threads.
  void SetSource(Source source);

  // From now on the answer to requests that begin with `prefix` (case ignored) goes through
  // `change`; `times` limits how often.  Of several rules that fit, the one set last acts.
  void On(std::string_view prefix, Change change, int times = -1);
  void ClearRules();
  // Called on the server's thread for each request before it is answered; `number` counts from 1.
  void OnRequest(std::function<void(const std::string& request, int number)> observer);

  // Lets each held piece go on, or only so many of them.
  void Release(int pieces = 1 << 30);
  // Connections that wait at a border or are stalled.
  int Held() const;
  // Ends all connections without a word.  New ones are taken.
  void DropConnections();

  // What clients have sent so far, without line ends, and how often one article was asked for.
  std::vector<std::string> Requests() const;
  int ArticleCount(std::string_view id) const;
  // Since the start: connections taken, and those of them that have ended.
  int Connections() const;
  int Ended() const;
  std::int64_t BytesSent() const;
  // Waits until `reached` is true, which is tried again whenever something happens at the server.
  // False after 30 s.
  bool WaitFor(const std::function<bool()>& reached) const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace gravlin::testing
