#include "platform/qt/notifications.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QVariantMap>

#include "platform/managers/log.h"
#include "platform/qt/bus_names.h"

namespace tessary {
namespace {

constexpr char kService[] = "org.freedesktop.Notifications";
constexpr char kPath[] = "/org/freedesktop/Notifications";
// The key of the action that a click on the notification itself invokes, and that of the button.
constexpr char kDefaultAction[] = "default";
constexpr char kButtonAction[] = "show";
constexpr int kDefaultTimeout = -1;  // that of the service

QDBusMessage MakeCall(const char* method) {
  return QDBusMessage::createMethodCall(kService, kPath, kService, method);
}

QString BodyOf(const Notification& notification, bool hasActions, bool isMarkup) {
  QString body = notification.body;
  if (!hasActions && !notification.hintWithoutAction.isEmpty()) {
    body += (body.isEmpty() ? "" : "\n") + notification.hintWithoutAction;
  }
  // A file name must not be taken for markup.
  return isMarkup ? body.toHtmlEscaped() : body;
}

}  // namespace

Notifications::Notifications() = default;

// Asks for the capabilities each time: another service may have replaced the previous one.
void Notifications::Show(const Notification& notification) {
  if (!QDBusConnection::sessionBus().isConnected()) {
    LogProblemOnce("there is no session bus");
    return;
  }
  Connect();
  auto* watcher = new QDBusPendingCallWatcher(
      QDBusConnection::sessionBus().asyncCall(MakeCall("GetCapabilities")), this);
  connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, notification] {
    const QDBusPendingReply<QStringList> reply = *watcher;
    watcher->deleteLater();
    if (reply.isError()) {
      LogProblemOnce(reply.error().message());
    } else {
      Send(notification, reply.value());
    }
  });
}

void Notifications::HandleAction(uint id, const QString& /*key*/) {
  const Action action = actions_.take(id);
  const QString token = tokens_.take(id);
  if (action) action(token);
}

void Notifications::HandleToken(uint id, const QString& token) {
  if (actions_.contains(id)) tokens_[id] = token;
}

void Notifications::HandleClosed(uint id, uint /*reason*/) {
  actions_.remove(id);
  tokens_.remove(id);
}

// Signals whose signature differs from that of the slot are not delivered.
void Notifications::Connect() {
  if (isConnected_) return;
  QDBusConnection bus = QDBusConnection::sessionBus();
  isConnected_ = bus.connect(kService, kPath, kService, "ActionInvoked", this,
                             SLOT(HandleAction(uint, QString))) &&
                 bus.connect(kService, kPath, kService, "ActivationToken", this,
                             SLOT(HandleToken(uint, QString))) &&
                 bus.connect(kService, kPath, kService, "NotificationClosed", this,
                             SLOT(HandleClosed(uint, uint)));
  if (!isConnected_) LogProblemOnce("the service's signals cannot be received");
}

void Notifications::Send(const Notification& notification, const QStringList& capabilities) {
  const bool hasActions = notification.action && capabilities.contains("actions");
  QStringList actions;
  if (hasActions) {
    actions = {kDefaultAction, notification.actionLabel, kButtonAction, notification.actionLabel};
  }
  const QVariantMap hints = {{"desktop-entry", QString(kBusName)}};
  QDBusMessage call = MakeCall("Notify");
  call << QString("Tessary") << uint{0} << QString(kBusName) << notification.summary
       << BodyOf(notification, hasActions, capabilities.contains("body-markup")) << actions << hints
       << kDefaultTimeout;
  auto* watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call), this);
  connect(watcher, &QDBusPendingCallWatcher::finished, this,
          [this, watcher, hasActions, action = notification.action] {
            const QDBusPendingReply<uint> reply = *watcher;
            watcher->deleteLater();
            if (reply.isError()) {
              LogProblemOnce(reply.error().message());
            } else if (hasActions) {
              actions_[reply.value()] = action;
            }
          });
}

void Notifications::LogProblemOnce(const QString& problem) {
  if (isProblemLogged_) return;
  isProblemLogged_ = true;
  NSLog("Notifications cannot be shown on this desktop: " + problem.toStdString());
}

}  // namespace tessary
