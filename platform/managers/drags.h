#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "platform/managers/events.h"
#include "platform/managers/file_manager.h"
#include "platform/managers/status.h"

// Drags of items over a window.
namespace tessary {

inline constexpr OSType kDragFlavorTypeHFS = FourCharCode("hfs ");

// The data of the flavor 'hfs '.
struct HFSFlavor {
  OSType fileType = 0;
  OSType fileCreator = 0;
  uint16_t fdFlags = 0;
  FSSpec fileSpec;
};

// A drag that is over a window or has been dropped on it. Items are counted from 1. They are valid
// only while a handler of the drag runs.
class Drag {
 public:
  virtual ~Drag() = default;

  // Counts the dragged items. Returns noErr, or the status with which the drag's contents could not
  // be read. `*count` is written on success only.
  virtual Status CountDragItems(size_t* count) const = 0;

  // Returns true if the item has the flavor. It has 'hfs ' if it is a file or folder on this
  // machine.
  virtual bool HasFlavor(size_t item, OSType flavor) const = 0;

  // Reads the flavor 'hfs ' of the item. Returns noErr; badDragFlavorErr (no such item, or it does
  // not have the flavor). `*flavor` is written on success only.
  virtual Status GetFlavorData(size_t item, HFSFlavor* flavor) const = 0;
};

// The messages to a tracking handler. A drag that enters the window sends kEnterHandler. If the
// handler returns noErr, it receives kEnterWindow, then kInWindow on each movement, then
// kLeaveWindow and kLeaveHandler. A drop sends the last two as well, and then calls the receive
// handler.
enum class DragTrackingMessage : int16_t {
  kEnterHandler = 1,
  kEnterWindow = 2,
  kInWindow = 3,
  kLeaveWindow = 4,
  kLeaveHandler = 5,
};

// A rectangle in a window's own coordinates, in logical pixels.
struct Rect {
  int32_t left = 0;
  int32_t top = 0;
  int32_t right = 0;
  int32_t bottom = 0;

  bool operator==(const Rect&) const = default;
};

class Window;

// The handlers return noErr to accept the drag or the drop; any other status rejects it.
using DragTrackingHandler = std::function<Status(DragTrackingMessage, Window*, const Drag&)>;
using DragReceiveHandler = std::function<Status(Window*, const Drag&)>;

}  // namespace tessary
