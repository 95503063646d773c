#include "platform/qt/session_bus.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDBusVirtualObject>
#include <QMetaObject>
#include <QStringList>
#include <QVariantMap>
#include <algorithm>
#include <utility>

#include "platform/managers/log.h"
#include "platform/qt/bus_names.h"
#include "platform/qt/file_uris.h"

namespace tessary {
namespace {

constexpr int kForwardTimeout = 5000;  // milliseconds; the other instance answers immediately

constexpr char kQuittingMessage[] = "The program is quitting.";
constexpr char kNoFileMessage[] = "None of the URIs is a file URI.";

constexpr char kDescription[] = R"(
  <interface name="org.freedesktop.Application">
    <method name="Activate">
      <arg type="a{sv}" name="platform_data" direction="in"/>
    </method>
    <method name="Open">
      <arg type="as" name="uris" direction="in"/>
      <arg type="a{sv}" name="platform_data" direction="in"/>
    </method>
    <method name="ActivateAction">
      <arg type="s" name="action_name" direction="in"/>
      <arg type="av" name="parameter" direction="in"/>
      <arg type="a{sv}" name="platform_data" direction="in"/>
    </method>
  </interface>
  <interface name="org.tessary.Service">
    <method name="Perform">
      <arg type="s" name="message" direction="in"/>
      <arg type="as" name="uris" direction="in"/>
    </method>
  </interface>
)";

std::vector<std::string> ToStrings(const QVariant& argument) {
  std::vector<std::string> texts;
  const QStringList list = argument.toStringList();
  texts.reserve(static_cast<size_t>(list.size()));
  for (const QString& text : list) texts.push_back(text.toStdString());
  return texts;
}

// The caller's activation token, with which the desktop allows the program to come to the front.
std::string TokenOf(const QVariant& platformData) {
  const auto data = qdbus_cast<QVariantMap>(platformData);
  return data.value("activation-token").toString().toStdString();
}

// The request of a call. Returns no function for an unknown method or a wrong signature.
std::function<void()> RequestOf(const QDBusMessage& call, const BusRequests& requests) {
  const QString interface = call.interface();
  const QString method = call.member();
  const QString signature = call.signature();
  const QVariantList arguments = call.arguments();
  const bool isApplication = interface == kApplicationInterface || interface.isEmpty();
  const bool isService = interface == kServiceInterface || interface.isEmpty();
  if (isApplication && method == "Activate" && signature == "a{sv}") {
    return [handler = requests.activate, token = TokenOf(arguments[0])] { handler(token); };
  }
  if (isApplication && method == "Open" && signature == "asa{sv}") {
    return [handler = requests.open, uris = ToStrings(arguments[0]),
            token = TokenOf(arguments[1])] { handler(uris, token); };
  }
  if (isApplication && method == "ActivateAction" && signature == "sava{sv}") {
    return [handler = requests.performAction, action = arguments[0].toString().toStdString()] {
      handler(action);
    };
  }
  if (isService && method == "Perform" && signature == "sas") {
    return [handler = requests.perform, message = arguments[0].toString().toStdString(),
            uris = ToStrings(arguments[1])] { handler(message, uris); };
  }
  return nullptr;
}

// `call` is one that RequestOf accepts.
bool IsServiceWithoutFile(const QDBusMessage& call) {
  if (call.member() != "Perform") return false;
  return std::ranges::none_of(ToStrings(call.arguments()[1]), IsFileUri);
}

QDBusMessage MakeOpenCall(const std::vector<std::string>& uris) {
  QStringList list;
  for (const std::string& uri : uris) list.append(QString::fromStdString(uri));
  QVariantMap platformData;
  const QString token = qEnvironmentVariable("XDG_ACTIVATION_TOKEN");
  if (!token.isEmpty()) platformData.insert("activation-token", token);
  QDBusMessage call = QDBusMessage::createMethodCall(kBusName, kObjectPath, kApplicationInterface,
                                                     list.isEmpty() ? "Activate" : "Open");
  if (!list.isEmpty()) call << list;
  call << platformData;
  return call;
}

}  // namespace

// Answers the calls, in the thread of the SessionBus.
class SessionBus::Endpoint : public QDBusVirtualObject {
 public:
  // `isRefusing` is owned by the caller and must outlive this object.
  Endpoint(BusRequests requests, const std::atomic<bool>* isRefusing)
      : requests_(std::move(requests)), isRefusing_(isRefusing) {}

  QString introspect(const QString& /*path*/) const override { return kDescription; }

  bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
    const std::function<void()> request = RequestOf(message, requests_);
    if (!request) return false;
    if (*isRefusing_) {
      return connection.send(message.createErrorReply(QDBusError::Failed, kQuittingMessage));
    }
    if (IsServiceWithoutFile(message)) {
      return connection.send(message.createErrorReply(QDBusError::InvalidArgs, kNoFileMessage));
    }
    // The reply is sent before the request is performed: a run may take longer than callers wait.
    if (message.isReplyRequired()) connection.send(message.createReply());
    QMetaObject::invokeMethod(QCoreApplication::instance(), request, Qt::QueuedConnection);
    return true;
  }

 private:
  BusRequests requests_;
  const std::atomic<bool>* isRefusing_;
};

SessionBus::SessionBus(BusRequests requests) : requests_(std::move(requests)) {}

SessionBus::~SessionBus() {
  if (endpoint_ != nullptr) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    bus.unregisterObject(kObjectPath);
    bus.unregisterService(kBusName);
  }
  thread_.quit();
  thread_.wait();
}

// Registers the object before the name: otherwise a caller could find the name without the object.
SessionBus::Role SessionBus::ClaimName() {
  QDBusConnection bus = QDBusConnection::sessionBus();
  if (!bus.isConnected()) {
    NSLog("There is no session bus; other programs cannot reach this one.");
    return Role::kUnavailable;
  }
  if (endpoint_ == nullptr) {
    endpoint_ = new Endpoint(requests_, &isRefusing_);
    endpoint_->moveToThread(&thread_);
    QObject::connect(&thread_, &QThread::finished, endpoint_, &QObject::deleteLater);
    thread_.start();
  }
  bus.registerVirtualObject(kObjectPath, endpoint_);
  // Neither queued nor replaceable: exactly one instance answers, and a second one knows at once
  // that it has to forward its arguments.
  const QDBusReply<QDBusConnectionInterface::RegisterServiceReply> reply =
      bus.interface()->registerService(kBusName, QDBusConnectionInterface::DontQueueService,
                                       QDBusConnectionInterface::DontAllowReplacement);
  if (reply.isValid() && reply.value() == QDBusConnectionInterface::ServiceRegistered) {
    return Role::kPrimary;
  }
  bus.unregisterObject(kObjectPath);
  if (reply.isValid()) return Role::kSecondary;
  NSLog("Cannot register the name " + std::string(kBusName) +
        " on the session bus: " + reply.error().message().toStdString());
  return Role::kUnavailable;
}

void SessionBus::RefuseRequests() {
  isRefusing_ = true;
  // Without the name, the next request starts a new instance. Calls that are already on their way
  // get the error reply.
  if (endpoint_ != nullptr) QDBusConnection::sessionBus().unregisterService(kBusName);
}

bool SessionBus::Forward(const std::vector<std::string>& uris) {
  const QDBusMessage answer =
      QDBusConnection::sessionBus().call(MakeOpenCall(uris), QDBus::Block, kForwardTimeout);
  if (answer.type() == QDBusMessage::ReplyMessage) return true;
  NSLog("The running instance does not answer: " + answer.errorMessage().toStdString());
  return false;
}

}  // namespace tessary
