// A notification service for tests: implements org.freedesktop.Notifications on the session bus as
// far as programs use it. Prints a line for each notification, "ID SUMMARY | BODY | ACTIONS", and
// then invokes the action with the key that is given, as if the user had chosen it.
//   notification_server CAPABILITIES KEY
// CAPABILITIES is a list separated by commas.

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QStringList>
#include <QTimer>
#include <cstdio>

namespace tessary::test {
namespace {

constexpr char kName[] = "org.freedesktop.Notifications";
constexpr char kPath[] = "/org/freedesktop/Notifications";
constexpr int kDelayOfUser = 300;  // milliseconds

class NotificationServer : public QDBusVirtualObject {
 public:
  NotificationServer(QStringList capabilities, QString key)
      : capabilities_(std::move(capabilities)), key_(std::move(key)) {}

  QString introspect(const QString& /*path*/) const override { return {}; }

  bool handleMessage(const QDBusMessage& message, const QDBusConnection& bus) override {
    if (message.member() == "GetCapabilities") {
      return bus.send(message.createReply(capabilities_));
    }
    if (message.member() != "Notify" || message.signature() != "susssasa{sv}i") return false;
    bus.send(message.createReply(++lastID_));
    const QStringList actions = message.arguments()[5].toStringList();
    printf("%u %s | %s | %s\n", lastID_, qPrintable(message.arguments()[3].toString()),
           qPrintable(message.arguments()[4].toString()), qPrintable(actions.join(',')));
    fflush(stdout);
    if (actions.contains(key_)) {
      QTimer::singleShot(kDelayOfUser, this, [this, bus, id = lastID_] { Invoke(bus, id); });
    }
    return true;
  }

 private:
  static void Signal(const QDBusConnection& bus, const char* name, uint id,
                     const QVariant& argument) {
    QDBusMessage signal = QDBusMessage::createSignal(kPath, kName, name);
    signal << id << argument;
    bus.send(signal);
  }

  void Invoke(const QDBusConnection& bus, uint id) const {
    Signal(bus, "ActivationToken", id, QString("token"));
    Signal(bus, "ActionInvoked", id, key_);
    constexpr uint kDismissed = 2;
    Signal(bus, "NotificationClosed", id, kDismissed);
  }

  QStringList capabilities_;
  QString key_;
  uint lastID_ = 0;
};

int Run(const QStringList& arguments) {
  if (arguments.size() != 3) return 2;
  NotificationServer server(arguments[1].split(','), arguments[2]);
  QDBusConnection bus = QDBusConnection::sessionBus();
  if (!bus.registerVirtualObject(kPath, &server) || !bus.registerService(kName)) return 1;
  printf("ready\n");
  fflush(stdout);
  return QCoreApplication::exec();
}

}  // namespace
}  // namespace tessary::test

int main(int argc, char** argv) {
  const QCoreApplication application(argc, argv);
  return tessary::test::Run(QCoreApplication::arguments());
}
