// What the desktop offers over the session's message bus (D-Bus).  Nothing here ever waits: a bus
// that does not answer is never used.  Private to platform/, and to tests.
#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <QSocketNotifier>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace gravlin {

// For the start, before the toolkit, which would wait without end in its first window: a bus that
// does not answer within that time is taken out of the environment.
void LeaveMuteBus(int milliseconds = 2000);

// The toolkit's own way to the bus waits until the bus has answered, however long that takes.
// So the bus is tried first, with a socket that does not wait.
class SessionBus {
 public:
  SessionBus() = default;
  ~SessionBus();
  SessionBus(const SessionBus&) = delete;
  SessionBus& operator=(const SessionBus&) = delete;

  // Calls `use` when the bus has answered, with nullptr if there is none.  A bus that accepts and
  // never answers has it never called.
  using Use = std::function<void(QDBusConnection* bus)>;
  void Ask(Use use);
  // Sends, and calls `answered` with the reply or the error.
  void Call(const QDBusConnection& bus, const QDBusMessage& message,
            std::function<void(const QDBusMessage& reply)> answered);

 private:
  void Try();
  void Answered(QSocketNotifier& notifier);
  void Settle(QDBusConnection* bus);

  std::vector<Use> waiting_;
  int socket_ = -1;
  QObject awaits_;  // owns what waits for an answer
};

// Keeps the computer from going to sleep by itself; the screen may go dark, and the user may still
// choose to suspend.
//
// Two calls are made, and whichever is taken holds.  The portal is there on GNOME, KDE, Cinnamon
// and in sandboxes, but on other desktops it may take the call and do nothing.  Those (Xfce, MATE,
// LXQt) have the older PowerManagement, which GNOME has given up.  login1 was left out: its lock
// against sleep also refuses the user's own suspend, and its lock against idling is not looked at
// by all. Both end with our connection to the bus, so that a crash holds nothing.
class SleepBlock {
 public:
  explicit SleepBlock(SessionBus& bus);
  void Hold(bool wanted);

 private:
  struct Service {
    const char *name, *path, *interface;
    QVariantList arguments;
    // The call that gives back what `reply` has given.
    std::function<QDBusMessage(const QVariant& reply)> release;
  };
  struct Lock {
    Service service;
    bool asked = false;    // its reply has not come
    QDBusMessage release;  // once it holds
  };
  void Update(Lock& lock);
  void Taken(Lock& lock, const QDBusMessage& reply);

  SessionBus& bus_;
  std::vector<Lock> locks_;
  bool wanted_ = false;
};

// One notification at a time; a later one takes the place of the one before.
class Notification : public QObject {
  Q_OBJECT
 public:
  explicit Notification(SessionBus& bus) : bus_(bus) {}
  void Show(const QString& text, std::function<void()> clicked);

 private slots:
  void Invoked(uint id, const QString& action);
  void TokenGiven(uint id, const QString& token);

 private:
  SessionBus& bus_;
  bool listening_ = false;
  uint id_ = 0;
  std::function<void()> clicked_;
};

}  // namespace gravlin
