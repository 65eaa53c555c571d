// The limit of a download: one connection, one command at a time, the group before each file, each
// reply written to a file as it is.  It uses no code of the program, so that the program is
// measured against something else. Usage: gravlin-blocking-loop NZB PORT FOLDER [AUTHORITY] prints
// the seconds from connect to the last file.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

void Require(bool good, const char* what) {
  if (!good) throw std::runtime_error(what);
}

// The ids of each file.
std::vector<std::vector<std::string>> MessageIds(const char* nzb) {
  std::ifstream in(nzb, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(in), {}};
  std::vector<std::vector<std::string>> files;
  std::size_t next_file = text.find("<file ");
  for (std::size_t at = 0; (at = text.find("<segment ", at)) != std::string::npos;) {
    if (at > next_file) {
      files.emplace_back();
      next_file = text.find("<file ", at);
    }
    const std::size_t from = text.find('>', at) + 1;
    at = text.find('<', from);
    std::string id = text.substr(from, at - from);
    for (std::size_t amp = 0; (amp = id.find("&amp;", amp)) != std::string::npos; ++amp) {
      id.erase(amp + 1, 4);
    }
    files.back().push_back(std::move(id));
  }
  return files;
}

class Link {
 public:
  Link(int port, const char* authority) : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    Require(connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0,
            "cannot connect");
    const int on = 1;
    setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    if (!authority) return;
    SSL_CTX* const context = SSL_CTX_new(TLS_client_method());
    SSL_CTX_set_verify(context, SSL_VERIFY_PEER, nullptr);
    Require(SSL_CTX_load_verify_file(context, authority) == 1, "cannot read the authority");
    tls_ = SSL_new(context);
    SSL_set1_host(tls_, "localhost");
    SSL_set_tlsext_host_name(tls_, "localhost");
    SSL_set_fd(tls_, socket_);
    Require(SSL_connect(tls_) == 1, "no TLS");
  }

  void Send(const std::string& command) {
    const std::string line = command + "\r\n";
    const int size = static_cast<int>(line.size());
    Require((tls_ ? SSL_write(tls_, line.data(), size)
                  : static_cast<int>(write(socket_, line.data(), line.size()))) == size,
            "cannot send");
  }

  // The reply up to and including `end`; valid until the next call.
  std::string_view Reply(std::string_view end) {
    std::size_t size = 0;
    while (!std::string_view(buffer_.data(), size).ends_with(end)) {
      if (size == buffer_.size()) buffer_.resize(buffer_.size() * 2);
      const std::size_t room = buffer_.size() - size;
      const auto got = tls_ ? SSL_read(tls_, buffer_.data() + size, static_cast<int>(room))
                            : read(socket_, buffer_.data() + size, room);
      Require(got > 0, "the server has gone");
      size += static_cast<std::size_t>(got);
    }
    return {buffer_.data(), size};
  }

 private:
  int socket_;
  SSL* tls_ = nullptr;
  std::vector<char> buffer_ = std::vector<char>(std::size_t{1} << 20);
};

void Save(const std::string& path, std::string_view reply) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  Require(file >= 0 && write(file, reply.data(), reply.size()) == ssize_t(reply.size()) &&
              close(file) == 0,
          "cannot write");
}

void Run(const char* nzb, int port, const std::string& folder, const char* authority) {
  const auto files = MessageIds(nzb);
  const auto began = std::chrono::steady_clock::now();
  Link link(port, authority);
  link.Reply("\r\n");
  int number = 0;
  for (const auto& ids : files) {
    link.Send("GROUP alt.binaries.test");
    link.Reply("\r\n");
    for (const std::string& id : ids) {
      link.Send("ARTICLE <" + id + ">");
      Save(folder + "/" + std::to_string(++number), link.Reply("\r\n.\r\n"));
    }
  }
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - began;
  std::printf("%.3f\n", taken.count());
}

}  // namespace

int main(int argc, char** argv) {
  try {
    Require(argc >= 4, "usage: gravlin-blocking-loop NZB PORT FOLDER [AUTHORITY]");
    Run(argv[1], std::stoi(argv[2]), argv[3], argc > 4 ? argv[4] : nullptr);
    return 0;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "gravlin-blocking-loop: %s\n", failure.what());
    return 1;
  }
}
