// A session bus of the test's own, with services that write down what they are asked.
#pragma once

#include <gtest/gtest.h>

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusServiceWatcher>
#include <QDBusVirtualObject>
#include <QProcess>
#include <algorithm>
#include <string>
#include <vector>

#include "support/temp_folder.h"

namespace gravlin::testing {

inline constexpr char kPortal[] = "org.freedesktop.portal.Desktop";
inline constexpr char kPower[] = "org.freedesktop.PowerManagement";
inline constexpr char kNotifications[] = "org.freedesktop.Notifications";

class TestBus : public QDBusVirtualObject {
 public:
  explicit TestBus(const QStringList& services = {kPortal, kPower, kNotifications}) {
    const FolderItem config = folder_.Write(
        "bus.conf",
        "<busconfig><type>session</type><listen>unix:path=" + (folder_ / "bus").string() +
            "</listen><policy context=\"default\"><allow send_destination=\"*\"/>"
            "<allow receive_sender=\"*\"/><allow own=\"*\"/></policy></busconfig>");
    daemon.start("dbus-daemon", {"--nofork", "--print-address", "--config-file",
                                 QString::fromStdString(config.NativePath())});
    EXPECT_TRUE(daemon.waitForReadyRead());
    const QString address = QString::fromLatin1(daemon.readLine().trimmed());
    qputenv("DBUS_SESSION_BUS_ADDRESS", address.toLatin1());
    bus_ = QDBusConnection::connectToBus(address, kName);
    bus_.registerVirtualObject("/", this, QDBusConnection::SubPath);
    for (const QString& service : services) EXPECT_TRUE(bus_.registerService(service));
    watcher_.setConnection(bus_);
    watcher_.setWatchMode(QDBusServiceWatcher::WatchForUnregistration);
    connect(&watcher_, &QDBusServiceWatcher::serviceUnregistered, this,
            [this](const QString& name) {
              std::erase_if(held, [&](const Held& lock) { return lock.owner == name; });
            });
  }
  ~TestBus() override {
    QDBusConnection::disconnectFromBus(kName);
    daemon.kill();
    daemon.waitForFinished();
    qunsetenv("DBUS_SESSION_BUS_ADDRESS");
  }

  struct Held {
    QString owner, key;
  };
  std::vector<Held> held;           // locks against sleep
  std::vector<std::string> locked;  // the interface of each Inhibit
  std::vector<QList<QVariant>> notified;
  bool slow = false;                       // keeps the replies to Inhibit
  std::vector<QDBusMessage> kept_replies;  // until they are sent
  QProcess daemon;

  void SendKept() {
    for (const QDBusMessage& reply : std::exchange(kept_replies, {})) bus_.send(reply);
  }
  void Click(uint id) {
    QDBusMessage click = QDBusMessage::createSignal("/org/freedesktop/Notifications",
                                                    kNotifications, "ActionInvoked");
    bus_.send(click << id << "default");
  }

  bool handleMessage(const QDBusMessage& call, const QDBusConnection& bus) override {
    const QString what = call.member();
    if (what == "Inhibit") {
      const bool portal = call.interface() == "org.freedesktop.portal.Inhibit";
      // Against sleep alone: the screen may go dark.
      EXPECT_EQ(call.signature(), portal ? "sua{sv}" : "ss");
      EXPECT_TRUE(!portal || call.arguments().at(1).toUInt() == 4);
      const QString key = portal ? "/request/1" : "42";
      watcher_.addWatchedService(call.service());
      if (!bus.interface()->isServiceRegistered(call.service())) return true;  // it has ended
      held.push_back({call.service(), key});
      locked.push_back(call.interface().toStdString());
      const QDBusMessage reply = portal
                                     ? call.createReply(QVariant::fromValue(QDBusObjectPath(key)))
                                     : call.createReply(key.toUInt());
      if (slow)
        kept_replies.push_back(reply);
      else
        bus.send(reply);
    } else if (what == "Close" || what == "UnInhibit") {
      const QString key = what == "Close" ? call.path() : call.arguments().at(0).toString();
      EXPECT_EQ(std::erase_if(held, [&](const Held& lock) { return lock.key == key; }), 1u);
    } else if (what == "Notify") {
      EXPECT_EQ(call.signature(), "susssasa{sv}i");
      notified.push_back(call.arguments());
      bus.send(call.createReply(7u));
    } else {
      return false;
    }
    return true;
  }
  QString introspect(const QString&) const override { return {}; }

 private:
  static constexpr char kName[] = "the services of a test";
  const TempFolder folder_;
  QDBusConnection bus_{kName};
  QDBusServiceWatcher watcher_;
};

}  // namespace gravlin::testing
