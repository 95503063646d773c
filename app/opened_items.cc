#include "app/opened_items.h"

#include <vector>

#include "app/run_hooks.h"
#include "engine/application_source.h"
#include "platform/managers/aliases.h"
#include "platform/managers/apple_event_handlers.h"
#include "platform/managers/text.h"
#include "platform/managers/urls.h"
#include "platform/managers/window_system.h"
#include "platform/strings.h"

namespace tessary {

AEDesc gPendingDocuments;

namespace {

constexpr double kPendingSourcesDelay = 0.001;  // seconds
constexpr int32_t kHiliteInset = 2;             // pixels

// Whether the current drag was acceptable when it entered. Written by TrackDrag only.
bool gIsDragAccepted = false;

bool IsItemAcceptable(const Drag& drag, size_t item) {
  HFSFlavor flavor;
  FSRef ref;
  return drag.HasFlavor(item, kDragFlavorTypeHFS) && drag.GetFlavorData(item, &flavor) == noErr &&
         FSpMakeFSRef(flavor.fileSpec, &ref) == noErr;
}

void ShowHilite(WindowRef window) {
  if (!gIsDragAccepted) return;
  Rect bounds = window->GetContentBounds();
  bounds.left += kHiliteInset;
  bounds.top += kHiliteInset;
  bounds.right -= kHiliteInset;
  bounds.bottom -= kHiliteInset;
  window->ShowDragHilite(bounds);
}

// Appends the alias of `spec` to the list. The first item that succeeds creates `*alias`, the
// others update it.
Status PutAlias(const FSSpec& spec, AliasHandle* alias, AEDesc* list) {
  bool wasChanged = false;
  Status status =
      *alias == nullptr ? NewAlias(spec, alias) : UpdateAlias(spec, alias->get(), &wasChanged);
  if (status != noErr) return status;
  size_t count = 0;
  status = AECountItems(*list, &count);
  if (status != noErr) return status;
  return AEPutPtr(list, count + 1, typeAlias, (*alias)->data(), (*alias)->size());
}

// Returns the status of the last item. The other items may have failed: they are left out.
Status MakeAliasList(size_t count, const FSSpec* specs, AEDesc* list) {
  Status status = AECreateList(false, list);
  if (status != noErr) return status;
  AliasHandle alias;
  for (size_t i = 0; i < count; ++i) status = PutAlias(specs[i], &alias, list);
  return status;
}

Status MakeEventToSelf(AppleEvent* event) {
  constexpr ProcessSerialNumber kSelf = {.highLongOfPSN = 0, .lowLongOfPSN = kCurrentProcess};
  AEDesc address;
  const Status status = AECreateDesc(typeProcessSerialNumber, &kSelf, sizeof(kSelf), &address);
  if (status != noErr) return status;
  return AECreateAppleEvent(kCoreEventClass, kAEOpenDocuments, address, kAutoGenerateReturnID,
                            kAnyTransactionID, event);
}

bool IsAggregateRequest(const std::string& name) {
  return CFStringLowercase(Utf16FromUtf8(name)) == u"aggregate";
}

}  // namespace

bool IsDragAcceptable(const Drag& drag) {
  size_t count = 0;
  if (drag.CountDragItems(&count) != noErr) return false;
  for (size_t item = 1; item <= count; ++item) {
    if (IsItemAcceptable(drag, item)) return true;
  }
  return false;
}

Status TrackDrag(DragTrackingMessage message, WindowRef window, const Drag& drag) {
  switch (message) {
    case DragTrackingMessage::kEnterHandler:
      gIsDragAccepted = IsDragAcceptable(drag);
      return gIsDragAccepted ? noErr : dragNotAcceptedErr;
    case DragTrackingMessage::kEnterWindow:
      ShowHilite(window);
      return noErr;
    case DragTrackingMessage::kLeaveWindow:
      if (gIsDragAccepted) window->HideDragHilite();
      return noErr;
    case DragTrackingMessage::kLeaveHandler:
      return noErr;
    default:
      return paramErr;
  }
}

Status ReceiveDrag(WindowRef, const Drag& drag) {
  if (!IsDragAcceptable(drag)) return dragNotAcceptedErr;
  size_t count = 0;
  Status status = drag.CountDragItems(&count);
  if (status != noErr) return status;
  std::vector<FSSpec> specs(count);
  for (size_t item = 1; item <= count; ++item) {
    if (!drag.HasFlavor(item, kDragFlavorTypeHFS)) continue;
    HFSFlavor flavor;
    status = drag.GetFlavorData(item, &flavor);
    if (status != noErr) return status;
    specs[item - 1] = flavor.fileSpec;
  }
  status = SendOpenDocumentsToSelf(specs.size(), specs.data());
  if (status != noErr) gWindowSystem->Beep();
  return status;
}

Status SendOpenDocumentsToSelf(size_t count, const FSSpec* specs) {
  if (count == 0 || specs == nullptr) return paramErr;
  AppleEvent event;
  Status status = MakeEventToSelf(&event);
  if (status != noErr) return status;
  AEDesc list;
  status = MakeAliasList(count, specs, &list);
  if (status == noErr) status = AEPutParamDesc(&event, keyDirectObject, list);
  if (status != noErr) return status;
  AppleEvent reply;
  return AESend(event, &reply, AESendMode::kAENoReply, AESendPriority::kAENormalPriority,
                kAEDefaultTimeout, nullptr, nullptr);
}

Status HandleOpenDocuments(const AppleEvent& event, AppleEvent*, int32_t) {
  gWindowSystem->BringApplicationToFront();
  const Status status = AEGetParamDesc(event, keyDirectObject, typeAEList, &gPendingDocuments);
  if (status != noErr) return status;
  InstallPendingSourcesTimer(std::nullopt);
  return noErr;
}

void InstallPendingSourcesTimer(const std::optional<std::string>& path) {
  // Without a timer the sources are not run, but the event has been answered.
  (void)gWindowSystem->InstallEventLoopTimer(kPendingSourcesDelay,
                                             [path] { ProcessPendingSources(path); });
}

void ProcessPendingSources(const std::optional<std::string>& path) {
  FSRef source;
  const RunHooks& hooks = GetRunHooks();
  if (path) {
    if (hooks.beginSource) hooks.beginSource(1, 1);
    if (GetFSRef(*path, &source)) {
      ResolveRunSource(source);
    } else {
      ReportRefusedSource(*path, fnfErr);
    }
    return;
  }
  size_t count = 0;
  if (AECountItems(gPendingDocuments, &count) != noErr) return;
  for (size_t index = 1; index <= count; ++index) {
    const Status status = AEGetNthPtr(gPendingDocuments, index, typeFSRef, nullptr, nullptr,
                                      &source, sizeof(source), nullptr);
    if (hooks.beginSource) hooks.beginSource(index, count);
    if (status == noErr) {
      ResolveRunSource(source);
    } else {
      ReportRefusedSource("", status);
    }
  }
}

Status HandleService(const Event& event) {
  gWindowSystem->BringApplicationToFront();
  std::string name;
  if (GetEventParameter(event, kEventParamServiceMessageName, &name) != noErr) {
    return eventNotHandledErr;
  }
  PasteboardRef pasteboard;
  if (GetEventParameter(event, kEventParamPasteboardRef, &pasteboard) != noErr ||
      !IsAggregateRequest(name)) {
    return eventNotHandledErr;
  }
  FSRef source;
  if (PasteboardToFSRef(pasteboard, &source)) ResolveRunSource(source);
  return eventNotHandledErr;
}

bool PasteboardToFSRef(const PasteboardRef& pasteboard, FSRef* ref) {
  if (pasteboard == nullptr || ref == nullptr) return false;
  for (const Pasteboard::Item& item : pasteboard->items) {
    const auto flavor = item.find(kUTTypeFileURL);
    if (flavor == item.end()) continue;
    const std::optional<CFURL> url = CFURLCreateWithBytes(flavor->second);
    return url && CFURLGetFSRef(*url, ref);
  }
  return false;
}

}  // namespace tessary
