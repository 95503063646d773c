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

// The ways in which sources reach the program: drops on the window, documents to open, the service
// "aggregate" and the choose-source command. All end in ResolveRunSource. Drops take the road of
// documents to open, by an Apple event to this process, and all but the service's sources are run
// from a timer, when the event that brought them has been answered.
namespace tessary {

// The list of what was to be opened last. Only the open-documents handler writes it: a list that
// has not been run when the next one comes is not run at all.
extern AEDesc gPendingDocuments;

// True when the drag has an item that is a file or folder here. Whether it can be aggregated is
// found out when it is dropped.
bool IsDragAcceptable(const Drag& drag);

// The window's drag tracking routine: asks for the drag when it enters and shows that it would be
// taken. Answers noErr, dragNotAcceptedErr (nothing in it can be taken), paramErr (another message
// than those of entering and leaving).
Status TrackDrag(DragTrackingMessage message, WindowRef window, const Drag& drag);

// The window's drag receive routine: has the dragged items opened. Answers noErr,
// dragNotAcceptedErr, the failure of reading an item, or, after a beep, that of sending them.
Status ReceiveDrag(WindowRef window, const Drag& drag);

// Sends this process the event to open `count` items. An item that designates nothing is left out;
// where the last one is such, nothing is sent and its status answered. Answers noErr, paramErr (no
// items), or the failure of making or sending the event.
Status SendOpenDocumentsToSelf(size_t count, const FSSpec* specs);

// The open-documents handler: keeps the event's items for ProcessPendingSources, which a timer then
// runs. Answers noErr, or why the event has no list of items.
Status HandleOpenDocuments(const AppleEvent& event, AppleEvent* reply, int32_t refcon);

// Has ProcessPendingSources run, with the path, when the present event has been answered.
void InstallPendingSourcesTimer(const std::optional<std::string>& path);

// Takes the source at the path or, without one, every item of gPendingDocuments in turn, to
// ResolveRunSource. What is not there any more is passed over.
void ProcessPendingSources(const std::optional<std::string>& path);

// The service handler: runs the first file of a request named "aggregate", in any case, at once.
// Answers eventNotHandledErr always.
Status HandleService(const Event& event);

// Makes the reference of the pasteboard's first file URL. True when that worked; `*ref` is written
// then only.
bool PasteboardToFSRef(const PasteboardRef& pasteboard, FSRef* ref);

}  // namespace tessary
