// The server's side of the exchange, and the faults that are asked of it.
#include "loopback/news_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <signal.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <stdexcept>

namespace gravlin::loopback {
namespace {

bool BeginsWith(std::string_view text, std::string_view prefix) {
  return text.size() >= prefix.size() &&
         strncasecmp(text.data(), prefix.data(), prefix.size()) == 0;
}

// The message id of an ARTICLE request.
std::string IdIn(const std::string& request) { return request.substr(9, request.size() - 10); }

Reply Line(std::string_view text) {
  Reply reply;
  reply.bytes.append(text).append("\r\n");
  return reply;
}

Change EndAfter(std::size_t count, Reply::Then then) {
  return [count, then](Reply reply) {
    reply.bytes.resize(std::min(count, reply.bytes.size()));
    reply.then = then;
    return reply;
  };
}

}  // namespace

Change Answer(std::string line) {
  return [line = std::move(line)](const Reply&) { return Line(line); };
}

Change Silence() {
  return [](const Reply&) { return Reply(); };
}

Change CutAfter(std::size_t count) { return EndAfter(count, Reply::Then::kClose); }
Change StallAfter(std::size_t count) { return EndAfter(count, Reply::Then::kStall); }

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

// One accepted connection.
class NewsServer::Connection {
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

  // The next line without its end; nothing if the client has gone.
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
  void Shut() { shutdown(descriptor_, SHUT_RDWR); }

  Time free_from;  // when all that was sent has left, at the requested rate
  std::string user;
  bool logged_on = false;

 private:
  struct FreeTls {
    void operator()(SSL* tls) const { SSL_free(tls); }
  };
  int descriptor_;
  std::unique_ptr<SSL, FreeTls> tls_;
  std::string received_;
};

NewsServer::NewsServer(Options options) : options_(std::move(options)) {
  if (options_.tls) certificates_.emplace(options_.identity);
  if (!options_.request_log.empty()) log_.open(options_.request_log, std::ios::app);
  Listen();
  accepting_ = std::thread([this] { AcceptAll(); });
}

NewsServer::~NewsServer() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  shutdown(listener_, SHUT_RDWR);
  accepting_.join();  // from now on no connection is added
  std::unique_lock lock(mutex_);
  for (Connection& connection : open_) connection.Shut();
  changed_.notify_all();
  changed_.wait(lock, [this] { return open_.empty(); });
  close(listener_);
}

void NewsServer::Listen() {
  listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int on = 1;
  setsockopt(listener_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* const plain = reinterpret_cast<sockaddr*>(&address);
  if (bind(listener_, plain, size) != 0 || listen(listener_, 16) != 0 ||
      getsockname(listener_, plain, &size) != 0) {
    throw std::runtime_error("news server: cannot listen");
  }
  port_ = ntohs(address.sin_port);
}

void NewsServer::AcceptAll() {
  sigset_t broken_pipe;  // a lost client shows as a failed write, on later threads too
  sigemptyset(&broken_pipe);
  sigaddset(&broken_pipe, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &broken_pipe, nullptr);
  for (;;) {
    const int descriptor = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    const std::lock_guard lock(mutex_);
    if (descriptor < 0 || stopping_) {
      if (descriptor >= 0) close(descriptor);
      return;
    }
    ++accepted_;
    const auto connection = open_.emplace(open_.end(), descriptor);
    std::thread([this, connection] {
      Serve(*connection);
      const std::lock_guard over(mutex_);
      open_.erase(connection);
      ++ended_;
      changed_.notify_all();
    }).detach();
  }
}

void NewsServer::Serve(Connection& connection) {
  if (certificates_ && !connection.StartTls(certificates_->ServerContext())) return;
  bool going_on = Send(connection, Changed(kGreeting, Line("200 News server ready")));
  while (going_on) going_on = Converse(connection);
}

// One request and its answer.
bool NewsServer::Converse(Connection& connection) {
  const auto request = connection.ReadLine();
  if (!request) return false;
  Note(*request);
  if (options_.delay_milliseconds > 0 &&
      !Pause(std::chrono::steady_clock::now() +
             std::chrono::milliseconds(options_.delay_milliseconds))) {
    return false;
  }
  const std::string* ready = nullptr;
  if (BeginsWith(*request, "ARTICLE <") && (connection.logged_on || options_.user.empty())) {
    const std::lock_guard lock(mutex_);
    const auto found = wires_.find(IdIn(*request));
    if (rules_.empty() && found != wires_.end()) ready = &found->second;
  }
  if (ready) return SendPaced(connection, *ready);  // sent without a copy
  return Send(connection, Changed(*request, Respond(connection, *request)));
}

Reply NewsServer::Respond(Connection& connection, const std::string& request) {
  if (BeginsWith(request, "QUIT")) {
    Reply reply = Line("205 Goodbye");
    reply.then = Reply::Then::kClose;
    return reply;
  }
  if (BeginsWith(request, "AUTHINFO ")) return LogOn(connection, request);
  if (!options_.user.empty() && !connection.logged_on) return Line("480 Log on first");
  if (BeginsWith(request, "GROUP ")) return Line("211 1000 1 1000 " + request.substr(6));
  if (BeginsWith(request, "ARTICLE <")) return RespondToArticle(IdIn(request));
  return Line("500 Command not understood");
}

Reply NewsServer::RespondToArticle(const std::string& id) {
  Reply reply;
  Source ask;
  {
    const std::lock_guard lock(mutex_);
    if (const auto found = wires_.find(id); found != wires_.end()) {
      reply.bytes = found->second;
      return reply;
    }
    ask = source_;
  }
  const auto text = ask ? ask(id) : std::nullopt;
  if (!text) return Line("430 No such article");
  reply.bytes = ArticleReply(id, *text);
  return reply;
}

Reply NewsServer::LogOn(Connection& connection, const std::string& request) {
  if (BeginsWith(request, "AUTHINFO USER ")) {
    connection.user = request.substr(14);
    return Line("381 Password please");
  }
  if (!BeginsWith(request, "AUTHINFO PASS ")) return Line("501 Only USER and PASS");
  connection.logged_on = options_.user.empty() || (connection.user == options_.user &&
                                                   request.substr(14) == options_.password);
  return Line(connection.logged_on ? "281 Welcome" : "481 Wrong name or password");
}

Reply NewsServer::Changed(std::string_view request, Reply reply) {
  Change change;
  {
    const std::lock_guard lock(mutex_);
    for (auto rule = rules_.rbegin(); rule != rules_.rend() && !change; ++rule) {
      if (rule->times == 0 || !BeginsWith(request, rule->prefix)) continue;
      if (rule->times > 0) --rule->times;
      change = rule->change;
    }
  }
  return change ? change(std::move(reply)) : reply;
}

void NewsServer::Note(const std::string& request) {
  const std::lock_guard lock(mutex_);
  requests_.push_back(request);
  if (log_.is_open()) log_ << request << std::endl;
}

bool NewsServer::Send(Connection& connection, const Reply& reply) {
  const std::string_view bytes = reply.bytes;
  std::size_t from = 0;
  for (const std::size_t border : reply.borders) {
    if (border <= from || border >= bytes.size()) continue;
    if (!SendPaced(connection, bytes.substr(from, border - from))) return false;
    if (reply.held && !AwaitRelease()) return false;
    from = border;
  }
  if (!SendPaced(connection, bytes.substr(from))) return false;
  if (reply.then == Reply::Then::kStall) AwaitEnd(connection);
  return reply.then == Reply::Then::kGoOn;
}

bool NewsServer::SendPaced(Connection& connection, std::string_view bytes) {
  const std::size_t piece = options_.bytes_per_second > 0 ? 16384 : std::size_t{1} << 24;
  while (!bytes.empty()) {
    const auto now = bytes.substr(0, piece);
    if (!connection.Write(now)) return false;
    bytes.remove_prefix(now.size());
    if (options_.bytes_per_second <= 0) continue;
    const auto taken = std::chrono::duration_cast<std::chrono::steady_clock::duration>(
        std::chrono::duration<double>(static_cast<double>(now.size()) / options_.bytes_per_second));
    connection.free_from = std::max(connection.free_from, std::chrono::steady_clock::now()) + taken;
    if (!Pause(connection.free_from)) return false;
  }
  return true;
}

bool NewsServer::AwaitRelease() {
  std::unique_lock lock(mutex_);
  ++held_;
  changed_.wait(lock, [this, before = releases_] { return stopping_ || releases_ != before; });
  --held_;
  return !stopping_;
}

void NewsServer::AwaitEnd(Connection& connection) {
  const auto add_held = [this](int count) {
    const std::lock_guard lock(mutex_);
    held_ += count;
  };
  add_held(1);
  while (connection.ReadLine()) continue;
  add_held(-1);
}

bool NewsServer::Pause(Time until) {
  std::unique_lock lock(mutex_);
  while (!stopping_ && std::chrono::steady_clock::now() < until) changed_.wait_until(lock, until);
  return !stopping_;
}

void NewsServer::WriteAuthority(const std::filesystem::path& file) const {
  certificates_.value().WriteAuthority(file);
}

void NewsServer::Add(std::string_view id, std::string_view text) {
  const std::lock_guard lock(mutex_);
  wires_.emplace(id, ArticleReply(id, text));
}

void NewsServer::SetSource(Source source) {
  const std::lock_guard lock(mutex_);
  source_ = std::move(source);
}

void NewsServer::On(std::string_view prefix, Change change, int times) {
  const std::lock_guard lock(mutex_);
  rules_.push_back({std::string(prefix), std::move(change), times});
}

void NewsServer::ClearRules() {
  const std::lock_guard lock(mutex_);
  rules_.clear();
}

void NewsServer::Release() {
  const std::lock_guard lock(mutex_);
  ++releases_;
  changed_.notify_all();
}

int NewsServer::ArticleCount(const std::string& id) const {
  const std::lock_guard lock(mutex_);
  return static_cast<int>(std::ranges::count(requests_, "ARTICLE <" + id + ">"));
}

}  // namespace gravlin::loopback
