// The server's side of the exchange, and the faults that it shows on demand.
#include "support/news_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <signal.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <fstream>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>
#include <unordered_map>

namespace gravlin::testing {
namespace {

using SteadyTime = std::chrono::steady_clock::time_point;

bool BeginsWith(std::string_view text, std::string_view prefix) {
  return text.size() >= prefix.size() &&
         strncasecmp(text.data(), prefix.data(), prefix.size()) == 0;
}

std::string_view Argument(std::string_view request, std::string_view command) {
  return request.substr(std::min(request.size(), command.size()));
}

// One accepted connection.
class Connection {
 public:
  explicit Connection(int descriptor) : descriptor_(descriptor) {
    const int on = 1;
    setsockopt(descriptor_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  }
  ~Connection() {
    tls_.reset();
    close(descriptor_);
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  bool StartTls(SSL_CTX* context) {
    tls_.reset(SSL_new(context));
    SSL_set_fd(tls_.get(), descriptor_);
    return SSL_accept(tls_.get()) == 1;
  }

  // The next line without its end; nothing when the client has gone.
  std::optional<std::string> ReadLine() {
    for (;;) {
      if (const auto end = received_.find('\n'); end != std::string::npos) {
        std::string line = received_.substr(0, end);
        received_.erase(0, end + 1);
        if (!line.empty() && line.back() == '\r') line.pop_back();
        return line;
      }
      char bytes[4096];
      const auto count = tls_ ? SSL_read(tls_.get(), bytes, sizeof bytes)
                              : recv(descriptor_, bytes, sizeof bytes, 0);
      if (count <= 0) return std::nullopt;
      received_.append(bytes, static_cast<std::size_t>(count));
    }
  }

  bool Write(std::string_view bytes) {
    while (!bytes.empty()) {
      const auto count = tls_ ? SSL_write(tls_.get(), bytes.data(), static_cast<int>(bytes.size()))
                              : send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (count <= 0) return false;
      bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
  }

  // Callable from any thread: reads and writes fail from now on.
  void Shut() {
    shut = true;
    shutdown(descriptor_, SHUT_RDWR);
  }

  std::atomic<bool> shut = false;
  SteadyTime free_from;  // when the line has carried all that was sent, at the rate asked for
  bool knows_user = false, logged_on = false;

 private:
  struct FreeTls {
    void operator()(SSL* tls) const { SSL_free(tls); }
  };
  int descriptor_;
  std::unique_ptr<SSL, FreeTls> tls_;
  std::string received_;
};

Reply Line(std::string_view text) {
  Reply reply;
  reply.bytes.append(text).append("\r\n");
  return reply;
}

}  // namespace

Change Answer(std::string line) {
  return [line = std::move(line)](const Reply&) { return Line(line); };
}

Change Silence() {
  return [](const Reply&) { return Reply(); };
}

Change CutAfter(std::size_t count) {
  return [count](Reply reply) {
    reply.bytes.resize(std::min(count, reply.bytes.size()));
    reply.then = Reply::Then::kClose;
    return reply;
  };
}

Change StallAfter(std::size_t count) {
  return [count](Reply reply) {
    reply.bytes.resize(std::min(count, reply.bytes.size()));
    reply.then = Reply::Then::kStall;
    return reply;
  };
}

Change SplitAt(std::vector<std::size_t> borders) {
  return [borders = std::move(borders)](Reply reply) {
    reply.borders = borders;
    reply.held = true;
    return reply;
  };
}

Change SplitEvery(std::size_t count) {
  return [count](Reply reply) {
    for (std::size_t at = count; at < reply.bytes.size(); at += count) reply.borders.push_back(at);
    return reply;
  };
}

Change FlipByteAt(std::size_t position) {
  return [position](Reply reply) {
    reply.bytes.at(position) = static_cast<char>(reply.bytes.at(position) ^ 0x10);
    return reply;
  };
}

std::string ArticleReply(std::string_view id, std::string_view text) {
  std::string wire = "220 0 <";
  wire.reserve(text.size() + text.size() / 100 + id.size() + 32);
  wire.append(id).append("> article\r\n");
  std::size_t from = 0;
  while (from < text.size()) {
    if (text[from] == '.') wire += '.';
    const std::size_t end = std::min(text.find('\n', from), text.size() - 1) + 1;
    wire.append(text, from, end - from);
    from = end;
  }
  if (!wire.ends_with("\r\n")) wire += "\r\n";
  return wire += ".\r\n";
}

struct NewsServer::State {
  struct Rule {
    std::string prefix;
    Change change;
    int times;
  };

  explicit State(Options given) : options(std::move(given)) {
    if (options.tls) certificates.emplace(options.identity);
    if (!options.request_log.empty()) log.open(options.request_log, std::ios::app);
    Listen();
    accepting = std::thread([this] { AcceptAll(); });
  }
  ~State();

  void Listen();
  void AcceptAll();
  void Serve(Connection& connection);
  bool Converse(Connection& connection);
  // The server's own answer.
  Reply Respond(Connection& connection, const std::string& request);
  Reply RespondToArticle(std::string_view id);
  Reply LogOn(Connection& connection, const std::string& request);
  bool Changed(std::string_view request, Reply& reply);
  void Note(const std::string& request);
  bool Send(Connection& connection, const Reply& reply);
  bool SendPaced(Connection& connection, std::string_view bytes);
  bool AwaitRelease(Connection& connection);
  void AwaitEnd(Connection& connection);
  bool Pause(Connection& connection, SteadyTime until);
  void DropAll();

  const Options options;
  std::optional<Certificates> certificates;
  int listener = -1, port = 0;

  mutable std::mutex mutex;
  mutable std::condition_variable changed;
  bool stopping = false;
  std::thread accepting;
  int serving = 0;  // threads of connections; detached, so that none is left of those that ended
  std::set<Connection*> open;
  std::vector<Rule> rules;
  std::unordered_map<std::string, std::string> wires;  // ready replies by message id
  Source source;
  std::function<void(const std::string&, int)> observer;
  int permits = 0, held = 0, accepted = 0, ended = 0;
  std::vector<std::string> requests;
  std::unordered_map<std::string, int> article_counts;
  std::ofstream log;
  std::atomic<std::int64_t> bytes_sent = 0;
};

NewsServer::State::~State() {
  {
    const std::lock_guard lock(mutex);
    stopping = true;
  }
  shutdown(listener, SHUT_RDWR);
  DropAll();
  accepting.join();  // from here on no connection is added
  DropAll();
  std::unique_lock lock(mutex);
  changed.wait(lock, [this] { return serving == 0; });
  close(listener);
}

void NewsServer::State::Listen() {
  listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int on = 1;
  setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(options.port));
  socklen_t size = sizeof address;
  auto* const plain = reinterpret_cast<sockaddr*>(&address);
  if (bind(listener, plain, size) != 0 || listen(listener, 16) != 0 ||
      getsockname(listener, plain, &size) != 0) {
    throw std::runtime_error("news server: cannot listen");
  }
  port = ntohs(address.sin_port);
}

void NewsServer::State::AcceptAll() {
  for (;;) {
    const int descriptor = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    const std::lock_guard lock(mutex);
    if (descriptor < 0 || stopping) {
      if (descriptor >= 0) close(descriptor);
      return;
    }
    ++accepted;
    ++serving;
    std::thread([this, descriptor] {
      sigset_t broken_pipe;  // a client that has gone shows as a failed write
      sigemptyset(&broken_pipe);
      sigaddset(&broken_pipe, SIGPIPE);
      pthread_sigmask(SIG_BLOCK, &broken_pipe, nullptr);
      {
        Connection connection(descriptor);
        Serve(connection);
      }
      const std::lock_guard over(mutex);
      --serving;
      changed.notify_all();
    }).detach();
  }
}

void NewsServer::State::Serve(Connection& connection) {
  {
    const std::lock_guard lock(mutex);
    if (stopping) return;
    open.insert(&connection);
  }
  if (!certificates || connection.StartTls(certificates->ServerContext())) {
    Reply greeting = Line(options.greeting);
    Changed(kGreeting, greeting);
    if (Send(connection, greeting)) {
      while (Converse(connection)) continue;
    }
  }
  const std::lock_guard lock(mutex);
  open.erase(&connection);
  ++ended;
  changed.notify_all();
}

// One request and its answer; false when the connection is over.
bool NewsServer::State::Converse(Connection& connection) {
  const auto request = connection.ReadLine();
  if (!request) return false;
  Note(*request);
  if (options.delay_milliseconds > 0 &&
      !Pause(connection, std::chrono::steady_clock::now() +
                             std::chrono::milliseconds(options.delay_milliseconds))) {
    return false;
  }
  const std::string* ready = nullptr;
  if (BeginsWith(*request, "ARTICLE <") && (connection.logged_on || options.user.empty())) {
    const std::lock_guard lock(mutex);
    const auto found = wires.find(request->substr(9, request->size() - 10));
    if (rules.empty() && found != wires.end()) ready = &found->second;
  }
  if (ready) return SendPaced(connection, *ready);  // nothing is copied on the fast road
  Reply reply = Respond(connection, *request);
  Changed(*request, reply);
  return Send(connection, reply);
}

Reply NewsServer::State::Respond(Connection& connection, const std::string& request) {
  if (BeginsWith(request, "QUIT")) {
    Reply reply = Line("205 Goodbye");
    reply.then = Reply::Then::kClose;
    return reply;
  }
  if (BeginsWith(request, "AUTHINFO ")) return LogOn(connection, request);
  if (!options.user.empty() && !connection.logged_on) return Line("480 Log on first");
  if (BeginsWith(request, "GROUP ")) {
    return Line("211 1000 1 1000 " + std::string(Argument(request, "GROUP ")));
  }
  if (BeginsWith(request, "ARTICLE <") && request.ends_with('>')) {
    return RespondToArticle(std::string_view(request).substr(9, request.size() - 10));
  }
  if (BeginsWith(request, "ARTICLE")) return Line("423 No such article number");
  return Line("500 Command not understood");
}

Reply NewsServer::State::RespondToArticle(std::string_view id) {
  Reply reply;
  Source ask;
  {
    const std::lock_guard lock(mutex);
    if (const auto found = wires.find(std::string(id)); found != wires.end()) {
      reply.bytes = found->second;
      return reply;
    }
    ask = source;
  }
  const auto text = ask ? ask(id) : std::nullopt;
  if (!text) return Line("430 No such article");
  reply.bytes = ArticleReply(id, *text);
  return reply;
}

Reply NewsServer::State::LogOn(Connection& connection, const std::string& request) {
  if (BeginsWith(request, "AUTHINFO USER ")) {
    connection.knows_user =
        options.user.empty() || Argument(request, "AUTHINFO USER ") == options.user;
    return Line("381 Password please");
  }
  if (!BeginsWith(request, "AUTHINFO PASS ")) return Line("501 Only USER and PASS");
  connection.logged_on =
      connection.knows_user &&
      (options.user.empty() || Argument(request, "AUTHINFO PASS ") == options.password);
  return Line(connection.logged_on ? "281 Welcome" : "481 Wrong name or password");
}

bool NewsServer::State::Changed(std::string_view request, Reply& reply) {
  Change change;
  {
    const std::lock_guard lock(mutex);
    for (auto rule = rules.rbegin(); rule != rules.rend() && !change; ++rule) {
      if (rule->times == 0 || !BeginsWith(request, rule->prefix)) continue;
      if (rule->times > 0) --rule->times;
      change = rule->change;
    }
  }
  if (change) reply = change(std::move(reply));
  return static_cast<bool>(change);
}

void NewsServer::State::Note(const std::string& request) {
  std::function<void(const std::string&, int)> tell;
  int number = 0;
  {
    const std::lock_guard lock(mutex);
    requests.push_back(request);
    number = static_cast<int>(requests.size());
    if (BeginsWith(request, "ARTICLE <")) ++article_counts[request.substr(9, request.size() - 10)];
    if (log.is_open()) log << request << std::endl;
    tell = observer;
    changed.notify_all();
  }
  if (tell) tell(request, number);
}

bool NewsServer::State::Send(Connection& connection, const Reply& reply) {
  std::size_t from = 0;
  for (const std::size_t border : reply.borders) {
    if (border <= from || border >= reply.bytes.size()) continue;
    if (!SendPaced(connection, std::string_view(reply.bytes).substr(from, border - from))) {
      return false;
    }
    if (reply.held && !AwaitRelease(connection)) return false;
    from = border;
  }
  if (!SendPaced(connection, std::string_view(reply.bytes).substr(from))) return false;
  if (reply.then == Reply::Then::kStall) AwaitEnd(connection);
  return reply.then == Reply::Then::kGoOn;
}

bool NewsServer::State::SendPaced(Connection& connection, std::string_view bytes) {
  const std::size_t piece = options.bytes_per_second > 0 ? 16384 : std::size_t{1} << 24;
  while (!bytes.empty()) {
    const auto now = bytes.substr(0, piece);
    if (!connection.Write(now)) return false;
    bytes.remove_prefix(now.size());
    bytes_sent += static_cast<std::int64_t>(now.size());
    if (options.bytes_per_second <= 0) continue;
    const auto taken = std::chrono::duration_cast<std::chrono::steady_clock::duration>(
        std::chrono::duration<double>(static_cast<double>(now.size()) / options.bytes_per_second));
    connection.free_from = std::max(connection.free_from, std::chrono::steady_clock::now()) + taken;
    if (!Pause(connection, connection.free_from)) return false;
  }
  const std::lock_guard lock(mutex);
  changed.notify_all();
  return true;
}

bool NewsServer::State::AwaitRelease(Connection& connection) {
  std::unique_lock lock(mutex);
  ++held;
  changed.notify_all();
  changed.wait(lock, [&] { return stopping || connection.shut || permits > 0; });
  --held;
  if (permits > 0) --permits;
  return !stopping && !connection.shut;
}

void NewsServer::State::AwaitEnd(Connection& connection) {
  {
    const std::lock_guard lock(mutex);
    ++held;
    changed.notify_all();
  }
  while (connection.ReadLine()) continue;
  const std::lock_guard lock(mutex);
  --held;
}

bool NewsServer::State::Pause(Connection& connection, SteadyTime until) {
  std::unique_lock lock(mutex);
  while (!stopping && !connection.shut && std::chrono::steady_clock::now() < until) {
    changed.wait_until(lock, until);
  }
  return !stopping && !connection.shut;
}

void NewsServer::State::DropAll() {
  const std::lock_guard lock(mutex);
  for (Connection* connection : open) connection->Shut();
  changed.notify_all();
}

NewsServer::NewsServer() : NewsServer(Options()) {}
NewsServer::NewsServer(Options options) : state_(std::make_unique<State>(std::move(options))) {}
NewsServer::~NewsServer() = default;

int NewsServer::Port() const { return state_->port; }

void NewsServer::WriteAuthority(const std::filesystem::path& file) const {
  state_->certificates.value().WriteAuthority(file);
}

void NewsServer::Add(std::string_view id, std::string_view text) {
  const std::lock_guard lock(state_->mutex);
  state_->wires.emplace(id, ArticleReply(id, text));
}

void NewsServer::SetSource(Source source) {
  const std::lock_guard lock(state_->mutex);
  state_->source = std::move(source);
}

void NewsServer::On(std::string_view prefix, Change change, int times) {
  const std::lock_guard lock(state_->mutex);
  state_->rules.push_back({std::string(prefix), std::move(change), times});
}

void NewsServer::ClearRules() {
  const std::lock_guard lock(state_->mutex);
  state_->rules.clear();
}

void NewsServer::OnRequest(std::function<void(const std::string&, int)> observer) {
  const std::lock_guard lock(state_->mutex);
  state_->observer = std::move(observer);
}

void NewsServer::Release(int pieces) {
  const std::lock_guard lock(state_->mutex);
  state_->permits += std::min(pieces, (1 << 30) - state_->permits);
  state_->changed.notify_all();
}

int NewsServer::Held() const {
  const std::lock_guard lock(state_->mutex);
  return state_->held;
}

void NewsServer::DropConnections() { state_->DropAll(); }

std::vector<std::string> NewsServer::Requests() const {
  const std::lock_guard lock(state_->mutex);
  return state_->requests;
}

int NewsServer::ArticleCount(std::string_view id) const {
  const std::lock_guard lock(state_->mutex);
  const auto found = state_->article_counts.find(std::string(id));
  return found == state_->article_counts.end() ? 0 : found->second;
}

int NewsServer::Connections() const {
  const std::lock_guard lock(state_->mutex);
  return state_->accepted;
}

int NewsServer::Ended() const {
  const std::lock_guard lock(state_->mutex);
  return state_->ended;
}

std::int64_t NewsServer::BytesSent() const { return state_->bytes_sent; }

bool NewsServer::WaitFor(const std::function<bool()>& reached) const {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!reached()) {
    if (std::chrono::steady_clock::now() > limit) return false;
    // `reached` asks the server, so it is tried outside the lock; a change in between costs one
    // short wait.
    std::unique_lock lock(state_->mutex);
    state_->changed.wait_for(lock, std::chrono::milliseconds(20));
  }
  return true;
}

}  // namespace gravlin::testing
