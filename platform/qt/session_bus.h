#pragma once

#include <QThread>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/managers/status.h"

namespace tessary {

// What other programs ask of this one. Called on the main thread.
struct BusRequests {
  // Come to the front. The token, which may be empty, is what the desktop allows that with.
  std::function<void(const std::string& token)> activate;

  // Open what the URIs name.
  std::function<void(const std::vector<std::string>& uris, const std::string& token)> open;

  // Do what one of the actions of the program's desktop entry names.
  std::function<void(const std::string& action)> performAction;

  // Perform a service of that name on what the URIs name.
  std::function<void(const std::string& message, const std::vector<std::string>& uris)> perform;
};

// The program's place on the session bus: the name org.tessary.Tessary, of which there is one in a
// session, and at /org/tessary/Tessary the interfaces org.freedesktop.Application and
// org.tessary.Service. Every call is answered at once, from a thread of its own, so that no caller
// waits for a run or a panel; what was asked then comes to the main thread's event loop.
class SessionBus {
 public:
  // `requests` are kept.
  explicit SessionBus(BusRequests requests);
  ~SessionBus();
  SessionBus(const SessionBus&) = delete;
  SessionBus& operator=(const SessionBus&) = delete;

  enum class Role {
    kPrimary,      // the name is ours, and requests come in
    kSecondary,    // another instance has the name
    kUnavailable,  // there is no bus, or it does not give out the name; a log line says so
  };

  // Takes the name unless another instance has it.
  Role ClaimName();

  // Has the other instance open what the URIs name or, without any, come to the front. False where
  // it did not answer.
  static bool Forward(const std::vector<std::string>& uris);

 private:
  class Endpoint;

  BusRequests requests_;
  QThread thread_;
  Endpoint* endpoint_ = nullptr;  // lives in the thread and is deleted when that ends
};

}  // namespace tessary
