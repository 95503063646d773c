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

// The contents of the flavor 'hfs ', 80 bytes.
struct HFSFlavor {
  OSType fileType = 0;
  OSType fileCreator = 0;
  uint16_t fdFlags = 0;
  FSSpec fileSpec;
};

// A drag that is over a window or has been dropped on it. Items are counted from 1 and live as long
// as the drag's handlers run.
class Drag {
 public:
  virtual ~Drag() = default;

  // Answers noErr, or the failure to tell what is dragged. Written on success only.
  virtual Status CountDragItems(size_t* count) const = 0;

  // True when the item has the flavor: it is a file or folder on this machine.
  virtual bool HasFlavor(size_t item, OSType flavor) const = 0;

  // Reads the flavor 'hfs ' of the item. Answers noErr, badDragFlavorErr (the item has none, or
  // there is no such item). Written on success only.
  virtual Status GetFlavorData(size_t item, HFSFlavor* flavor) const = 0;
};

// A drag that comes over the window sends kEnterHandler; where that is answered with noErr,
// kEnterWindow, kInWindow as it moves, and kLeaveWindow and kLeaveHandler when it goes. A drop
// sends the last two as well, and then asks the receive handler.
enum class DragTrackingMessage : int16_t {
  kEnterHandler = 1,
  kEnterWindow = 2,
  kInWindow = 3,
  kLeaveWindow = 4,
  kLeaveHandler = 5,
};

// A rectangle in a window's own coordinates, in its units.
struct Rect {
  int32_t left = 0;
  int32_t top = 0;
  int32_t right = 0;
  int32_t bottom = 0;

  bool operator==(const Rect&) const = default;
};

class Window;

using DragTrackingHandler = std::function<Status(DragTrackingMessage, Window*, const Drag&)>;
using DragReceiveHandler = std::function<Status(Window*, const Drag&)>;

}  // namespace tessary
