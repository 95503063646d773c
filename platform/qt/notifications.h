#pragma once

#include <QMap>
#include <QObject>
#include <QString>
#include <QStringList>
#include <functional>

namespace tessary {

// A message that the desktop shows outside of the program's windows.
struct Notification {
  QString summary;
  QString body = {};  // plain text
  QString actionLabel = {};

  // Called when the user chooses the action; none for a notification without an action. `token` is
  // an XDG activation token and may be empty.
  std::function<void(const QString& token)> action = nullptr;

  // Added to the body by a desktop that shows no actions.
  QString hintWithoutAction = {};
};

// Shows notifications through org.freedesktop.Notifications on the session bus. Nothing here waits
// for the service. Without a bus or a service, nothing is shown; that is logged once.
class Notifications final : public QObject {
  Q_OBJECT

 public:
  Notifications();

  void Show(const Notification& notification);

 private Q_SLOTS:
  void HandleAction(uint id, const QString& key);
  void HandleToken(uint id, const QString& token);
  void HandleClosed(uint id, uint reason);

 private:
  using Action = std::function<void(const QString& token)>;

  void Connect();
  void Send(const Notification& notification, const QStringList& capabilities);
  void LogProblemOnce(const QString& problem);

  bool isConnected_ = false;
  bool isProblemLogged_ = false;
  QMap<uint, Action> actions_;  // of the notifications that are shown, by their IDs
  QMap<uint, QString> tokens_;  // by the IDs of notifications whose action is about to follow
};

}  // namespace tessary
