// The bus is tried without waiting, then used through the toolkit.
#include "platform/session_bus.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <QDBusObjectPath>
#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>
#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

#include "platform/calls.h"
#include "platform/native.h"

namespace gravlin {
namespace {

constexpr char kConnection[] = "gravlin";

constexpr char kPortal[] = "org.freedesktop.portal.Desktop";
constexpr char kPower[] = "org.freedesktop.PowerManagement";
constexpr char kPowerPath[] = "/org/freedesktop/PowerManagement/Inhibit";
constexpr char kPowerInterface[] = "org.freedesktop.PowerManagement.Inhibit";
constexpr char kReason[] = "A download, a repair or an extraction is under way.";
constexpr uint kSuspend = 4;  // of the portal's flags

constexpr char kNotifications[] = "org.freedesktop.Notifications";
constexpr char kNotificationsPath[] = "/org/freedesktop/Notifications";

// Where the bus of this session listens: of several addresses the first that is a local socket.
QString BusAddress() {
  const QString all = qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS");
  for (const QString& address : all.split(';'))
    if (address.startsWith("unix:path=") || address.startsWith("unix:abstract=")) return address;
  const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
  return all.isEmpty() && !runtime.isEmpty() ? "unix:path=" + runtime + "/bus" : QString();
}

int ConnectTo(const QString& address) {
  // "unix:path=/run/user/1000/bus,guid=..." with %-escapes; an abstract name begins with NUL.
  QByteArray path = address.section('=', 1).section(',', 0, 0).toLatin1();
  path = QByteArray::fromPercentEncoding(path);
  if (address.startsWith("unix:abstract=")) path.prepend('\0');
  sockaddr_un to{};
  to.sun_family = AF_UNIX;
  if (path.isEmpty() || path.size() >= static_cast<qsizetype>(sizeof to.sun_path)) return -1;
  std::copy(path.begin(), path.end(), to.sun_path);
  const int made = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
  // In the form for a user who is known by the number alone, written as hexadecimal digits.
  const QByteArray hello =
      QByteArray("\0AUTH EXTERNAL ", 15) + QByteArray::number(::getuid()).toHex() + "\r\n";
  if (made < 0 || ::connect(made, reinterpret_cast<const sockaddr*>(&to), size) != 0 ||
      ::send(made, hello.data(), static_cast<std::size_t>(hello.size()), MSG_NOSIGNAL) !=
          hello.size()) {
    if (made >= 0) ::close(made);
    return -1;
  }
  return made;
}

bool SaysOk(int socket) {
  char answer[3];
  return ::recv(socket, answer, sizeof answer, 0) == sizeof answer &&
         std::string_view(answer, sizeof answer) == "OK ";
}

}  // namespace

void LeaveMuteBus(int milliseconds) {
  const int tried = ConnectTo(BusAddress());
  if (tried < 0) return;
  pollfd answer{.fd = tried, .events = POLLIN, .revents = 0};
  if (::poll(&answer, 1, milliseconds) <= 0 || !SaysOk(tried))
    qputenv("DBUS_SESSION_BUS_ADDRESS", "disabled:");
  ::close(tried);
}

SessionBus::~SessionBus() {
  if (socket_ >= 0) ::close(socket_);
  QDBusConnection::disconnectFromBus(kConnection);
}

void SessionBus::Ask(Use use) {
  QDBusConnection bus(kConnection);
  if (bus.isConnected()) {
    use(&bus);
    return;
  }
  waiting_.push_back(std::move(use));
  if (socket_ < 0) Try();
}

void SessionBus::Try() {
  socket_ = ConnectTo(BusAddress());
  if (socket_ < 0) {
    Settle(nullptr);
    return;
  }
  auto* const notifier = new QSocketNotifier(socket_, QSocketNotifier::Read, &awaits_);
  QObject::connect(notifier, &QSocketNotifier::activated, notifier,
                   [this, notifier] { Answered(*notifier); });
}

void SessionBus::Answered(QSocketNotifier& notifier) {
  const bool taken = SaysOk(socket_);
  notifier.setEnabled(false);
  notifier.deleteLater();
  ::close(std::exchange(socket_, -1));
  QDBusConnection::disconnectFromBus(kConnection);  // of a bus that has gone
  if (!taken) {
    Settle(nullptr);
    return;
  }
  QDBusConnection bus = QDBusConnection::connectToBus(BusAddress(), kConnection);
  Settle(bus.isConnected() ? &bus : nullptr);
}

void SessionBus::Settle(QDBusConnection* bus) {
  for (const Use& use : std::exchange(waiting_, {})) use(bus);
}

void SessionBus::Call(const QDBusConnection& bus, const QDBusMessage& message,
                      std::function<void(const QDBusMessage& reply)> answered) {
  auto* const watcher = new QDBusPendingCallWatcher(bus.asyncCall(message), &awaits_);
  QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher,
                   [watcher, answered = std::move(answered)] {
                     answered(watcher->reply());
                     watcher->deleteLater();
                   });
}

SleepBlock::SleepBlock(SessionBus& bus) : bus_(bus) {
  const auto close_request = [](const QVariant& handle) {
    return QDBusMessage::createMethodCall(kPortal, handle.value<QDBusObjectPath>().path(),
                                          "org.freedesktop.portal.Request", "Close");
  };
  const auto give_back = [](const QVariant& cookie) {
    return QDBusMessage::createMethodCall(kPower, kPowerPath, kPowerInterface, "UnInhibit")
           << cookie;
  };
  locks_.push_back({{kPortal,
                     "/org/freedesktop/portal/desktop",
                     "org.freedesktop.portal.Inhibit",
                     {QString(), kSuspend, QVariantMap{{"reason", QString(kReason)}}},
                     close_request}});
  locks_.push_back({{kPower, kPowerPath, kPowerInterface, {"Gravlin", kReason}, give_back}});
}

void SleepBlock::Hold(bool wanted) {
  wanted_ = wanted;
  for (Lock& lock : locks_) Update(lock);
}

void SleepBlock::Update(Lock& lock) {
  const bool held = lock.release.type() == QDBusMessage::MethodCallMessage;
  if (lock.asked || held == wanted_) return;
  if (held) {
    bus_.Ask([give_back = std::exchange(lock.release, {})](QDBusConnection* bus) {
      if (bus) bus->send(give_back);
    });
    return;
  }
  lock.asked = true;
  bus_.Ask([this, &lock](QDBusConnection* bus) {
    if (!bus || !wanted_) {
      lock.asked = false;
      return;
    }
    const Service& service = lock.service;
    QDBusMessage call =
        QDBusMessage::createMethodCall(service.name, service.path, service.interface, "Inhibit");
    call.setArguments(service.arguments);
    bus_.Call(*bus, call, [this, &lock](const QDBusMessage& reply) { Taken(lock, reply); });
  });
}

// The work may have ended before the reply came.
void SleepBlock::Taken(Lock& lock, const QDBusMessage& reply) {
  lock.asked = false;
  if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) return;
  lock.release = lock.service.release(reply.arguments().constFirst());
  Update(lock);
}

void Notification::Show(const QString& text, std::function<void()> clicked) {
  bus_.Ask([this, text, clicked = std::move(clicked)](QDBusConnection* bus) {
    if (!bus) return;
    if (!std::exchange(listening_, true)) {
      // From any sender: to name one, the toolkit would ask the bus who that is, and wait.
      bus->connect({}, kNotificationsPath, kNotifications, "ActionInvoked", this,
                   SLOT(Invoked(uint, QString)));
      bus->connect({}, kNotificationsPath, kNotifications, "ActivationToken", this,
                   SLOT(TokenGiven(uint, QString)));
    }
    QDBusMessage call = QDBusMessage::createMethodCall(kNotifications, kNotificationsPath,
                                                       kNotifications, "Notify");
    // The body may hold markup, and the text names of strangers.
    call << "Gravlin" << id_ << "gravlin"
         << "Gravlin" << text.toHtmlEscaped() << QStringList{"default", "Open"}
         << QVariantMap{{"desktop-entry", "gravlin"}} << -1;
    clicked_ = clicked;
    bus_.Call(*bus, call, [this](const QDBusMessage& reply) {
      if (reply.type() == QDBusMessage::ReplyMessage) id_ = reply.arguments().value(0).toUInt();
    });
  });
}

void Notification::Invoked(uint id, const QString& action) {
  if (id != id_ || action != "default" || !clicked_) return;
  Dispatch("notification", std::function(clicked_));
  qunsetenv("XDG_ACTIVATION_TOKEN");
}

// With it a window may come to the front under Wayland; it comes before the action.
void Notification::TokenGiven(uint id, const QString& token) {
  if (id == id_) qputenv("XDG_ACTIVATION_TOKEN", token.toUtf8());
}

}  // namespace gravlin
