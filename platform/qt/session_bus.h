#pragma once

#include <QThread>
#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/managers/status.h"

namespace tessary {

// The handlers for requests of other programs. Called on the main thread.
struct BusRequests {
  // Brings the program to the front. The token is an XDG activation token and may be empty.
  std::function<void(const std::string& token)> activate;

  // Opens the objects that the URIs designate.
  std::function<void(const std::vector<std::string>& uris, const std::string& token)> open;

  // Performs the application's action of that name.
  std::function<void(const std::string& action)> performAction;

  // Performs the service named `message` on the objects that the URIs designate.
  std::function<void(const std::string& message, const std::vector<std::string>& uris)> perform;
};

// The program on the session bus: it owns the name org.tessary.Tessary, which is unique in a
// session, and implements the interfaces org.freedesktop.Application and org.tessary.Service at
// /org/tessary/Tessary. A thread of its own answers every call immediately, so that no caller waits
// for a run or a panel, and queues the request in the main thread's event loop. A request of a
// service must contain a file URI.
class SessionBus {
 public:
  explicit SessionBus(BusRequests requests);
  ~SessionBus();
  SessionBus(const SessionBus&) = delete;
  SessionBus& operator=(const SessionBus&) = delete;

  enum class Role {
    kPrimary,      // this process owns the name and receives requests
    kSecondary,    // another instance owns the name
    kUnavailable,  // there is no bus, or it refuses the name; logged
  };

  // Requests the name on the bus. May be repeated if another instance owns it.
  Role ClaimName();

  // Releases the name, so that another instance can start and serve later requests, and returns an
  // error to every caller that still reaches this one. For a program that is quitting.
  void RefuseRequests();

  // Asks the other instance to open the objects that the URIs designate, or to come to the front if
  // there are none. Returns false if it does not answer or refuses, after a log line.
  static bool Forward(const std::vector<std::string>& uris);

 private:
  class Endpoint;

  BusRequests requests_;
  QThread thread_;
  std::atomic<bool> isRefusing_ = false;
  Endpoint* endpoint_ = nullptr;  // lives in the thread and is deleted when the thread ends
};

}  // namespace tessary
