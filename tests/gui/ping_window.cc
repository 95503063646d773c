// Pings a window with _NET_WM_PING, as a window manager does. Prints "answered" if its program
// answers within some seconds, and "silent" otherwise.
//   ping_window WINDOW

#include <poll.h>
#include <xcb/xcb.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

constexpr int kTimeout = 10000;  // milliseconds
constexpr uint32_t kTimestamp = 4242;

struct Free {
  void operator()(void* memory) const { std::free(memory); }
};

xcb_atom_t AtomOf(xcb_connection_t* connection, const char* name) {
  const auto cookie =
      xcb_intern_atom(connection, 0, static_cast<uint16_t>(std::strlen(name)), name);
  const std::unique_ptr<xcb_intern_atom_reply_t, Free> reply(
      xcb_intern_atom_reply(connection, cookie, nullptr));
  return reply == nullptr ? xcb_atom_t{XCB_ATOM_NONE} : reply->atom;
}

bool IsAnswer(const xcb_generic_event_t& event, xcb_window_t root, xcb_atom_t ping) {
  constexpr unsigned kTypeMask = 0x7F;  // without the mark of a sent event
  if ((event.response_type & kTypeMask) != XCB_CLIENT_MESSAGE) return false;
  const auto& message = reinterpret_cast<const xcb_client_message_event_t&>(event);
  return message.window == root && message.data.data32[0] == ping &&
         message.data.data32[1] == kTimestamp;
}

// The answer is a message to the root window.
bool WaitForAnswer(xcb_connection_t* connection, xcb_window_t root, xcb_atom_t ping) {
  pollfd waiting = {.fd = xcb_get_file_descriptor(connection), .events = POLLIN, .revents = 0};
  while (poll(&waiting, 1, kTimeout) > 0) {
    while (xcb_generic_event_t* next = xcb_poll_for_event(connection)) {
      const std::unique_ptr<xcb_generic_event_t, Free> event(next);
      if (IsAnswer(*event, root, ping)) return true;
    }
    if (xcb_connection_has_error(connection) != 0) return false;
  }
  return false;
}

bool Ping(xcb_connection_t* connection, xcb_window_t window) {
  const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
  // Qt sends its answer to those who select the second one, others to those who select the first.
  const uint32_t mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
  xcb_change_window_attributes(connection, root, XCB_CW_EVENT_MASK, &mask);
  const xcb_atom_t ping = AtomOf(connection, "_NET_WM_PING");
  xcb_client_message_event_t message = {};
  message.response_type = XCB_CLIENT_MESSAGE;
  message.format = 32;
  message.window = window;
  message.type = AtomOf(connection, "WM_PROTOCOLS");
  message.data.data32[0] = ping;
  message.data.data32[1] = kTimestamp;
  message.data.data32[2] = window;
  xcb_send_event(connection, 0, window, XCB_EVENT_MASK_NO_EVENT,
                 reinterpret_cast<const char*>(&message));
  xcb_flush(connection);
  return WaitForAnswer(connection, root, ping);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
  const bool isAnswered =
      Ping(connection, static_cast<xcb_window_t>(std::strtoul(argv[1], nullptr, 0)));
  xcb_disconnect(connection);
  std::puts(isAnswered ? "answered" : "silent");
  return 0;
}
