#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "platform/managers/apple_events.h"
#include "platform/managers/drags.h"
#include "platform/managers/events.h"
#include "platform/managers/file_manager.h"
#include "platform/managers/pasteboard.h"
#include "platform/managers/status.h"
#include "platform/managers/windows.h"

// The ways by which a source reaches the program: drops on the window, documents to open, the
// service "aggregate" and the choose-source command. All end in ResolveRunSource. A drop sends an
// open-documents Apple event to this process. All runs but the service's are started by a timer, so
// that the event that requested them is answered before the run, which is long.
namespace tessary {

// The items of the last open-documents event. Written by the handler only. An event that arrives
// before the timer of the previous one replaces the previous list, which is then never run.
extern AEDesc gPendingDocuments;

// Returns true if at least one item of the drag is an existing file or folder. Files are accepted
// too: whether an item can be a source is decided when it is run.
bool IsDragAcceptable(const Drag& drag);

// The window's drag tracking routine. Decides when the drag enters whether it is acceptable, and
// highlights the window while an acceptable drag is over it. Returns noErr, dragNotAcceptedErr
// (the drag is not acceptable), paramErr (any message other than entering and leaving).
Status TrackDrag(DragTrackingMessage message, WindowRef window, const Drag& drag);

// The window's drag receive routine. Sends the dragged items to this process as documents to open.
// Returns noErr, dragNotAcceptedErr, the status of reading an item, or, after a beep, the status of
// sending the event.
Status ReceiveDrag(WindowRef window, const Drag& drag);

// Sends this process an open-documents event with `count` items. An item that cannot be added is
// left out; but if the last one cannot be added, nothing is sent and its status is returned.
// Returns noErr, paramErr (no items), or the status of making or sending the event.
Status SendOpenDocumentsToSelf(size_t count, const FSSpec* specs);

// The open-documents handler. Stores the event's items in gPendingDocuments and installs the timer
// that runs them. Returns noErr, or the status of reading the list of items.
Status HandleOpenDocuments(const AppleEvent& event, AppleEvent* reply, int32_t refcon);

// Installs a timer that calls ProcessPendingSources with `path` once the current event has been
// answered.
void InstallPendingSourcesTimer(const std::optional<std::string>& path);

// Calls ResolveRunSource for the source at `path`; without a path, for each item of
// gPendingDocuments in order. Skips an item that does not exist any more.
void ProcessPendingSources(const std::optional<std::string>& path);

// The service handler. If the name of the request is "aggregate", in any case, calls
// ResolveRunSource for the first file URL of its pasteboard before returning. Always returns
// eventNotHandledErr.
Status HandleService(const Event& event);

// Converts the pasteboard's first file URL to a reference. Returns true on success; `*ref` is
// written only then.
bool PasteboardToFSRef(const PasteboardRef& pasteboard, FSRef* ref);

}  // namespace tessary
