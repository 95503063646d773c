// Replaces the desktop program on the session bus while a command runs.
//
//   service_stub FILE COMMAND [ARGUMENT]...
//
// Writes each call that it receives as lines into FILE: "INTERFACE.METHOD(SIGNATURE)", the
// message's name, then each URI. Exits with the command's exit status, or 125 if it cannot start.

#include <sys/wait.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QFile>
#include <QMetaObject>
#include <QStringList>
#include <thread>

namespace {

constexpr int kCannotStart = 125;

class Recorder : public QDBusVirtualObject {
 public:
  QString introspect(const QString& /*path*/) const override { return {}; }

  bool handleMessage(const QDBusMessage& message, const QDBusConnection& bus) override {
    lines_ << message.interface() + "." + message.member() + "(" + message.signature() + ")";
    const QVariantList arguments = message.arguments();
    for (const QVariant& argument : arguments) lines_ << argument.toStringList();
    return bus.send(message.createReply());
  }

  bool WriteTo(const QString& path) const {
    QFile file(path);
    const QByteArray text = lines_.join("\n").toUtf8();
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
  }

 private:
  QStringList lines_;
};

int StatusOf(pid_t child) {
  int status = 0;
  if (waitpid(child, &status, 0) != child) return kCannotStart;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return kCannotStart;
  // The arguments are bytes, which Qt would decode as text.
  char** command = argv + 2;
  const QCoreApplication application(argc, argv);
  QDBusConnection bus = QDBusConnection::sessionBus();
  Recorder recorder;
  if (!bus.registerVirtualObject("/org/tessary/Tessary", &recorder) ||
      !bus.registerService("org.tessary.Tessary")) {
    return kCannotStart;
  }
  const pid_t child = fork();
  if (child < 0) return kCannotStart;
  if (child == 0) {
    execvp(command[0], command);
    _exit(kCannotStart);
  }
  // Queued, because the command may end before the loop below starts.
  std::thread waiter([child] {
    const int status = StatusOf(child);
    QMetaObject::invokeMethod(
        QCoreApplication::instance(), [status] { QCoreApplication::exit(status); },
        Qt::QueuedConnection);
  });
  const int status = QCoreApplication::exec();
  waiter.join();
  return recorder.WriteTo(argv[1]) ? status : kCannotStart;
}
