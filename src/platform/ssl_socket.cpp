#include "platform/ssl_socket.h"

#include <QNetworkProxy>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslSocket>
#include <algorithm>
#include <utility>

#include "platform/scheduler.h"

namespace gravlin {

// Each connection is a toolkit socket of its own, so that no late signal of an earlier one arrives.
struct SSLSocket::Native {
  explicit Native(SSLSocket& outer) : owner(outer) {}

  void Start() {
    Drop();
    buffer.clear();
    start = 0;
    error.clear();
    socket = std::make_unique<QSslSocket>();
    QSslSocket* made = socket.get();
    made->setProxy(QNetworkProxy::NoProxy);
    QObject::connect(made, &QSslSocket::readyRead, made, [this] { Receive(); });
    QObject::connect(made, &QSslSocket::connected, made,
                     [this] { socket->setSocketOption(QAbstractSocket::LowDelayOption, 1); });
    QObject::connect(made, &QSslSocket::sslErrors, made, [this](const QList<QSslError>& errors) {
      if (!errors.isEmpty()) error = errors.first().errorString().toStdString();
    });
    QObject::connect(made, &QSslSocket::errorOccurred, made, [this] { Fail(); });
    const QString host = QString::fromStdString(owner.address_);
    const quint16 port = static_cast<quint16>(owner.port_);
    if (owner.secure_) {
      made->setProtocol(QSsl::TlsV1_2OrLater);
      made->setPeerVerifyMode(QSslSocket::VerifyPeer);
      made->connectToHostEncrypted(host, port);
    } else {
      made->connectToHost(host, port);
    }
  }

  bool Connected() const {
    return socket && socket->state() == QAbstractSocket::ConnectedState &&
           (!owner.secure_ || socket->isEncrypted());
  }

  void Receive() {
    const qint64 available = socket->bytesAvailable();
    if (available <= 0) return;
    Compact();
    const std::size_t old = buffer.size();
    buffer.resize(old + static_cast<std::size_t>(available));
    const qint64 got = socket->read(buffer.data() + old, available);
    buffer.resize(old + static_cast<std::size_t>(std::max<qint64>(got, 0)));
    Raise();
  }

  // The space of bytes that were dropped from the front is used again once it is the greater part.
  void Compact() {
    if (start == 0 || start < buffer.size() / 2) return;
    buffer.erase(0, start);
    start = 0;
  }

  void Raise() {
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
    if (buffer.size() == start || !owner.DataAvailable) return;
    in_handler = true;
    Dispatch("data available", owner.DataAvailable);
    if (alive.expired()) return;
    in_handler = false;
    if (std::exchange(raise_again, false) && buffer.size() > start) Raise();
  }

  void Fail() {
    if (error.empty()) error = socket->errorString().toStdString();
    CallSoon([alive = std::weak_ptr<int>(life), this] {
      if (!alive.expired() && owner.Error) Dispatch("socket error", owner.Error);
    });
  }

  void Drop() {
    if (!socket) return;
    socket->disconnect();
    socket->abort();
    // It may be the sender of the signal that led here.
    socket.release()->deleteLater();
  }

  SSLSocket& owner;
  std::unique_ptr<QSslSocket> socket;
  std::string buffer;
  std::size_t start = 0;  // index of the first unread byte
  std::string error;
  bool raised = false;
  bool in_handler = false;
  bool raise_again = false;
  std::shared_ptr<int> life = std::make_shared<int>(0);
};

SSLSocket::SSLSocket() : native_(std::make_unique<Native>(*this)) {}

SSLSocket::~SSLSocket() { native_->Drop(); }

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
  return std::string_view(native_->buffer).substr(native_->start);
}

std::string SSLSocket::ReadAll() {
  std::string all = std::move(native_->buffer);
  all.erase(0, std::exchange(native_->start, 0));
  native_->buffer.clear();
  return all;
}

void SSLSocket::Discard(std::size_t count) {
  native_->start = std::min(native_->start + count, native_->buffer.size());
}

void SSLSocket::Disconnect() {
  if (native_->socket) native_->Receive();
  native_->Drop();
}

void SSLSocket::Close() { native_->Drop(); }

void SSLSocket::RaiseDataAvailable() {
  if (!Lookahead().empty()) native_->Raise();
}

const std::string& SSLSocket::ErrorText() const { return native_->error; }

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
