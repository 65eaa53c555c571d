// The socket over the toolkit's: a receive buffer of its own, and events that the event loop
// raises.
#include "platform/ssl_socket.h"

#include <QNetworkProxy>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslSocket>
#include <QTcpSocket>
#include <algorithm>
#include <utility>

#include "platform/calls.h"
#include "platform/raise.h"
#include "platform/toolkit_text.h"

namespace gravlin {
namespace {

// Least room for a read, so that a fast server's reply takes few reads.
constexpr std::size_t kRoom = 256 * 1024;
// A buffer of up to this size is kept for the next reply.
constexpr std::size_t kKept = 8 * 1024 * 1024;

}  // namespace

// Each connection is a toolkit socket of its own, so that no late signal of an earlier one arrives.
struct SSLSocket::Native {
  explicit Native(SSLSocket& outer) : owner(outer) {}

  void Start() {
    Drop();
    start = end = 0;
    error.clear();
    reached = secured = overflowed = false;
    if (owner.secure_) {
      auto secure = std::make_unique<QSslSocket>();
      tls = secure.get();
      QObject::connect(tls, &QSslSocket::sslErrors, tls, [this](const QList<QSslError>& errors) {
        if (!errors.isEmpty()) error = errors.first().errorString().toStdString();
      });
      QObject::connect(tls, &QSslSocket::encrypted, tls, [this] { secured = true; });
      socket = std::move(secure);
    } else {
      socket = std::make_unique<QTcpSocket>();
    }
    QTcpSocket* made = socket.get();
    made->setProxy(QNetworkProxy::NoProxy);
    QObject::connect(made, &QTcpSocket::readyRead, made, [this] {
      // Without the toolkit's buffer only a read finds that the other side has closed.
      if (Receive() < 0 && !tls) Fail();
    });
    QObject::connect(made, &QTcpSocket::connected, made, [this] {
      reached = true;
      socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    });
    QObject::connect(made, &QTcpSocket::errorOccurred, made, [this] { Fail(); });
    if (owner.port_ < 1 || owner.port_ > 65535) {
      error = "There is no port " + std::to_string(owner.port_);
      Fail();
      return;
    }
    const QString host = QString::fromStdString(owner.address_);
    const quint16 port = static_cast<quint16>(owner.port_);
    if (tls) {
      tls->setProtocol(QSsl::TlsV1_2OrLater);
      tls->setPeerVerifyMode(QSslSocket::VerifyPeer);
      tls->connectToHostEncrypted(host, port);
    } else {
      // The toolkit's buffer would be one more copy of every byte.
      made->connectToHost(host, port, QIODevice::ReadWrite | QIODevice::Unbuffered);
    }
  }

  bool Connected() const {
    return socket && socket->state() == QAbstractSocket::ConnectedState &&
           (!tls || tls->isEncrypted());
  }

  // The result of the last read: negative when the connection is gone.
  qint64 Receive() {
    if (!socket->isReadable()) return -1;
    const std::size_t before = end;
    qint64 got;
    std::size_t room;
    do {
      MakeRoom();
      room = buffer.size() - end;
      got = socket->read(buffer.data() + end, static_cast<qint64>(room));
      if (got > 0) end += static_cast<std::size_t>(got);
      if (end - start > kReceiveLimit) {
        GiveUp();
        return 0;
      }
    } while (got == static_cast<qint64>(room));
    if (end > before) RaiseData();
    return got;
  }

  // The space of bytes that were dropped from the front is reused once it is at least half.
  void MakeRoom() {
    if (start > 0 && start >= end / 2) {
      buffer.replace(0, end - start, buffer, start, end - start);
      end -= std::exchange(start, 0);
    }
    if (buffer.size() - end < kRoom) buffer.resize(std::max(buffer.capacity(), end + kRoom));
  }

  void RaiseData() {
    if (in_handler) {
      raise_again = true;
    } else if (!std::exchange(raised, true)) {
      CallSoon([alive = std::weak_ptr<int>(life), this] {
        if (!alive.expired()) Deliver(alive);
      });
    }
  }

  void Deliver(const std::weak_ptr<int>& alive) {
    raised = false;
    if (end == start || !owner.DataAvailable) return;
    in_handler = true;
    Raise("data available", owner.DataAvailable);
    if (alive.expired()) return;
    in_handler = false;
    if (std::exchange(raise_again, false) && end > start) RaiseData();
  }

  void Fail() {
    if (error.empty()) error = socket->errorString().toStdString();
    CallSoon([alive = std::weak_ptr<int>(life), failed = socket.get(), this] {
      if (!alive.expired() && socket.get() == failed) Raise("socket error", owner.Error);
    });
  }

  // An endless reply must not fill the memory.
  void GiveUp() {
    Drop();
    buffer = std::string();
    start = end = 0;
    overflowed = true;
    error = "more than " + std::to_string(kReceiveLimit >> 20) + " MiB came without an end";
    CallSoon([alive = std::weak_ptr<int>(life), this] {
      if (!alive.expired()) Raise("socket overflow", owner.Overflow);
    });
  }

  void Drop() {
    if (!socket) return;
    tls = nullptr;
    socket->disconnect();
    socket->abort();
    // It may be the sender of the signal that led here.
    socket.release()->deleteLater();
  }

  SSLSocket& owner;
  std::unique_ptr<QTcpSocket> socket;
  QSslSocket* tls = nullptr;  // the same socket, if it is a secure one
  std::string buffer;         // its size includes the free room
  std::size_t start = 0;      // index of the first unread byte
  std::size_t end = 0;        // index after the last one
  std::string error;
  bool reached = false;     // the peer accepted the connection
  bool secured = false;     // the handshake is done
  bool overflowed = false;  // kReceiveLimit was passed
  bool raised = false;
  bool in_handler = false;
  bool raise_again = false;
  std::shared_ptr<int> life = std::make_shared<int>(0);
};

SSLSocket::SSLSocket() : native_(std::make_unique<Native>(*this)) {}

SSLSocket::~SSLSocket() { native_->Drop(); }

void SSLSocket::SetAddress(std::string_view host) {
  constexpr std::string_view kBlanks = " \t\r\n";
  host.remove_prefix(std::min(host.find_first_not_of(kBlanks), host.size()));
  address_ = host.substr(0, host.find_last_not_of(kBlanks) + 1);
}

void SSLSocket::Connect() { native_->Start(); }

bool SSLSocket::IsConnected() const { return native_->Connected(); }

bool SSLSocket::Write(std::string_view bytes) {
  if (!native_->Connected()) return false;
  const qint64 size = static_cast<qint64>(bytes.size());
  const bool taken = native_->socket->write(bytes.data(), size) == size;
  native_->socket->flush();
  return taken;
}

std::string_view SSLSocket::Lookahead() const {
  return {native_->buffer.data() + native_->start, native_->end - native_->start};
}

std::string SSLSocket::ReadAll() {
  const std::string all(Lookahead());
  Discard(all.size());
  return all;
}

void SSLSocket::ReadAll(std::string& to) {
  std::swap(to, native_->buffer);
  to.resize(std::exchange(native_->end, 0));
  to.erase(0, std::exchange(native_->start, 0));
  if (native_->buffer.capacity() > kKept) native_->buffer = std::string();
}

void SSLSocket::Discard(std::size_t count) {
  native_->start = std::min(native_->start + count, native_->end);
  if (native_->start == native_->end) native_->start = native_->end = 0;
}

void SSLSocket::Disconnect() {
  if (native_->socket) native_->Receive();
  native_->Drop();
}

void SSLSocket::Close() { native_->Drop(); }

void SSLSocket::RaiseDataAvailable() {
  if (!Lookahead().empty()) native_->RaiseData();
}

const std::string& SSLSocket::ErrorText() const { return native_->error; }

bool SSLSocket::HandshakeFailed() const {
  return secure_ && native_->reached && !native_->secured && !native_->error.empty();
}

bool SSLSocket::NotReached() const { return !native_->reached && !native_->error.empty(); }

bool SSLSocket::TakeOverflow() { return std::exchange(native_->overflowed, false); }

bool SSLSocket::TrustCertificates(const FolderItem& file) {
  const QList<QSslCertificate> found =
      QSslCertificate::fromPath(QString::fromStdString(file.NativePath()), QSsl::Pem);
  if (found.isEmpty()) return false;
  QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
  configuration.addCaCertificates(found);
  QSslConfiguration::setDefaultConfiguration(configuration);
  return true;
}

}  // namespace gravlin
