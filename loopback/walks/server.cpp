// The server's side of the exchange.
#include "server.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <stdexcept>
#include <utility>

#include "platform/ssl_socket.h"

namespace gravlin::walks {
namespace {

bool BeginsWith(std::string_view text, std::string_view prefix) {
  return text.size() >= prefix.size() &&
         strncasecmp(text.data(), prefix.data(), prefix.size()) == 0;
}

bool IsArticle(std::string_view reply) {
  return reply.starts_with("220 ") && reply.ends_with("\r\n.\r\n");
}

}  // namespace

std::string WireForm(std::string_view id, std::string_view text) {
  std::string wire = "220 0 <" + std::string(id) + "> article\r\n";
  for (std::size_t from = 0; from < text.size();) {
    if (text[from] == '.') wire += '.';
    const std::size_t end = std::min(text.find('\n', from), text.size() - 1) + 1;
    wire.append(text, from, end - from);
    from = end;
  }
  return wire += ".\r\n";
}

Server::Server(Source source, std::function<std::int64_t()> clock)
    : source_(std::move(source)), clock_(std::move(clock)) {
  listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* const plain = reinterpret_cast<sockaddr*>(&address);
  if (bind(listener_, plain, size) != 0 || listen(listener_, 16) != 0 ||
      getsockname(listener_, plain, &size) != 0)
    throw std::runtime_error("server: cannot listen");
  port_ = ntohs(address.sin_port);
}

Server::~Server() {
  CutAll();
  close(listener_);
}

void Server::CutAll() {
  for (const Connection& connection : connections_) close(connection.descriptor);
  connections_.clear();
}

void Server::FloodAll() {
  for (Connection& connection : connections_) {
    if (connection.stalled) continue;
    const std::size_t must_come = connection.must_come;
    Send(connection, {}, Misdeed::kFlood);
    connection.must_come = must_come;  // it answers nothing
  }
}

void Server::Behave(int latency, int piece, const Random& random) {
  latency_ = latency;
  piece_ = piece;
  random_ = random;
}

void Server::Misbehave(std::string_view prefix, Misdeed misdeed) {
  plans_.push_back({std::string(prefix), misdeed});
}

void Server::BehaveWell() {
  plans_.clear();
  drop_log_ons_ = false;
  latency_ = piece_ = 0;
  greeting = "200 ready";
  for (Connection& connection : connections_)
    if (connection.stalled) connection.over = true;
}

std::int64_t Server::NextDue() const {
  std::int64_t next = -1;
  for (const Connection& connection : connections_)
    if (!connection.out.empty() && (next < 0 || connection.out.front().due < next))
      next = connection.out.front().due;
  return next;
}

bool Server::Turn() {
  bool busy = Accept();
  for (auto connection = connections_.begin(); connection != connections_.end();) {
    busy = Read(*connection) || busy;
    busy = Write(*connection) || busy;
    if (connection->over) {
      close(connection->descriptor);
      connection = connections_.erase(connection);
      busy = true;
    } else {
      ++connection;
    }
  }
  return busy;
}

bool Server::Accept() {
  pollfd listening{listener_, POLLIN, 0};
  if (poll(&listening, 1, 0) != 1) return false;
  const int descriptor = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
  if (descriptor < 0) return false;
  const int on = 1;
  setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  Connection& connection = connections_.emplace_back();
  connection.descriptor = descriptor;
  Send(connection, greeting + "\r\n", MisdeedFor(""));
  return true;
}

bool Server::Read(Connection& connection) {
  char bytes[4096];
  const ssize_t count = recv(connection.descriptor, bytes, sizeof bytes, 0);
  if (count == 0) connection.over = true;
  if (count < 0 && errno != EAGAIN) connection.over = true;
  if (count <= 0) return false;
  connection.received.append(bytes, static_cast<std::size_t>(count));
  for (std::size_t end; (end = connection.received.find('\n')) != std::string::npos;) {
    std::string line = connection.received.substr(0, end);
    connection.received.erase(0, end + 1);
    if (line.ends_with('\r')) line.pop_back();
    // A sign-off may come at any time, the quick test takes the first bytes for the answer, and
    // who gets a reply twice can only take the second for the next one.
    if (connection.must_come > 0 && !connection.confused &&
        (BeginsWith(line, "GROUP") || BeginsWith(line, "ARTICLE")))
      complaint_ = "\"" + line + "\" came before the answer to the command before it";
    if (!connection.stalled) Answer(connection, line);
  }
  return true;
}

void Server::Answer(Connection& connection, const std::string& request) {
  if (BeginsWith(request, "ARTICLE <") && requested)
    requested(request.substr(9, request.size() - 10));
  connection.request = request;
  std::string reply = Reply(connection, request);
  if (BeginsWith(request, "quit")) connection.ends = true;
  Send(connection, std::move(reply), MisdeedFor(request));
}

std::string Server::Reply(Connection& connection, const std::string& request) {
  if (BeginsWith(request, "quit")) return "205 bye\r\n";
  if (BeginsWith(request, "AUTHINFO USER ")) {
    connection.user = request.substr(14);
    return "381 password\r\n";
  }
  if (BeginsWith(request, "AUTHINFO PASS ")) {
    connection.logged_on =
        !drop_log_ons_ && connection.user == user && request.substr(14) == password;
    return connection.logged_on ? "281 welcome\r\n" : "481 wrong\r\n";
  }
  if (!user.empty() && !connection.logged_on) return "480 log on first\r\n";
  if (BeginsWith(request, "GROUP ")) connection.downloads = true;
  if (BeginsWith(request, "GROUP ")) return "211 1 1 1 " + request.substr(6) + "\r\n";
  if (BeginsWith(request, "ARTICLE <")) {
    const std::string id = request.substr(9, request.size() - 10);
    const auto text = source_(id);
    return text ? WireForm(id, *text) : "430 no such article\r\n";
  }
  return "500 what\r\n";
}

Misdeed Server::MisdeedFor(std::string_view request) {
  const auto plan = std::find_if(plans_.begin(), plans_.end(), [&](const Plan& each) {
    return each.prefix.empty() ? request.empty() : BeginsWith(request, each.prefix);
  });
  if (plan == plans_.end()) return Misdeed::kNone;
  const Misdeed misdeed = plan->misdeed;
  plans_.erase(plan);
  return misdeed;
}

void Server::Send(Connection& connection, std::string reply, Misdeed misdeed) {
  static constexpr const char* kRefusals[] = {"430 none\r\n", "411 none\r\n", "502 none\r\n",
                                              "999 none\r\n"};
  const bool article = IsArticle(reply);
  if (misdeed == Misdeed::kRefuse) reply = kRefusals[random_.Below(4)];
  if (misdeed == Misdeed::kRepeat && !article) {
    reply += reply;
    connection.confused = true;
  }
  // The download throws a flood away; the console and the quick test show it.
  if (misdeed == Misdeed::kFlood)
    reply = "220 0\r\n" +
            std::string(connection.downloads ? SSLSocket::kReceiveLimit + 1000 : 100'000, 'x');
  if (misdeed == Misdeed::kSilence) reply.clear();
  if ((misdeed == Misdeed::kCut || misdeed == Misdeed::kStall) && !reply.empty())
    reply.resize(static_cast<std::size_t>(random_.Below(static_cast<int>(reply.size()))));
  const bool cut = misdeed == Misdeed::kCut;
  const bool stall = misdeed == Misdeed::kStall || misdeed == Misdeed::kFlood;
  // A request that comes after half a reply gets no answer.
  connection.stalled = connection.stalled || stall || cut;
  connection.ends = connection.ends || cut;
  // A client may act on three bytes of a line, and on an article whose last LF is on its way.
  connection.must_come = IsArticle(reply) ? reply.size() - 1 : 3;
  if (aloud) {
    std::printf("    %s > %.*s%s\n", connection.request.c_str(),
                static_cast<int>(std::min<std::size_t>(reply.find('\r'), 60)), reply.c_str(),
                misdeed == Misdeed::kNone ? "" : ", misbehaving");
  }
  std::int64_t due = clock_() + (latency_ > 0 ? random_.Below(latency_) : 0);
  while (!reply.empty() || connection.ends) {
    const std::size_t size =
        piece_ > 0 && !stall
            ? std::min(reply.size(), static_cast<std::size_t>(random_.Between(1, piece_)))
            : reply.size();
    connection.out.push_back({due, reply.substr(0, size)});
    reply.erase(0, size);
    due += latency_ > 0 && random_.OneIn(4) ? random_.Below(latency_) : 0;
    if (reply.empty()) break;
  }
}

bool Server::Write(Connection& connection) {
  bool busy = false;
  while (!connection.over && !connection.out.empty() && connection.out.front().due <= clock_()) {
    Piece& piece = connection.out.front();
    while (piece.sent < piece.bytes.size()) {
      const ssize_t count = send(connection.descriptor, piece.bytes.data() + piece.sent,
                                 piece.bytes.size() - piece.sent, MSG_NOSIGNAL);
      if (count < 0 && errno == EAGAIN) return busy;
      if (count < 0) {
        connection.over = true;
        return true;
      }
      const auto sent = static_cast<std::size_t>(count);
      connection.must_come -= std::min(connection.must_come, sent);
      piece.sent += sent;
      busy = true;
    }
    connection.out.pop_front();
    busy = true;
  }
  if (connection.ends && connection.out.empty()) connection.over = true;
  return busy;
}

}  // namespace gravlin::walks

// Of the names of hosts nobody is asked: the sample server of a new store is one.
extern "C" int getaddrinfo(const char*, const char*, const addrinfo*, addrinfo**) {
  return EAI_NONAME;
}
