#pragma once

#include <memory>
#include <string>

#include "platform/managers/controls.h"
#include "platform/managers/drags.h"
#include "platform/managers/events.h"
#include "platform/managers/file_manager.h"
#include "platform/managers/status.h"

namespace tessary {

// A window made from a form. Owned by whoever made it; disposing of it is dropping it.
class Window {
 public:
  virtual ~Window() = default;

  // The window's control of that identifier, owned by the window. Answers noErr,
  // errUnknownControl, paramErr (no out-argument). Written on success only.
  virtual Status GetControlByID(const ControlID& id, ControlRef* control) = 0;

  // What the window's controls send their commands to first.
  virtual EventTarget GetEventTarget() = 0;

  // Showing the main window returns when it is on the screen.
  virtual void Show() = 0;
  virtual void Hide() = 0;
  virtual void BringToFront() = 0;

  virtual void SetTitle(const std::string& title) = 0;
  virtual void SetProxy(const FSSpec& spec) = 0;
  virtual void SetModified(bool isModified) = 0;

  // Shows this window as a sheet of `parent`, which takes no input meanwhile; and hides it again.
  virtual Status ShowAsSheetOf(Window* parent) = 0;
  virtual Status HideSheet() = 0;

  // Fades the window out and hides it.
  virtual void FadeOut() = 0;

  // The bounds of the content, in the window's own coordinates.
  virtual Rect GetContentBounds() const = 0;

  // Shows that a drop would be taken, inside of `bounds`; and stops showing it.
  virtual void ShowDragHilite(const Rect& bounds) = 0;
  virtual void HideDragHilite() = 0;

  // One handler of each kind; installing a second one answers duplicateHandlerErr. Removing what is
  // not there answers handlerNotFoundErr.
  virtual Status InstallTrackingHandler(DragTrackingHandler handler) = 0;
  virtual Status RemoveTrackingHandler() = 0;
  virtual Status InstallReceiveHandler(DragReceiveHandler handler) = 0;
};

using WindowRef = Window*;

// A menu into which items can be put.
class Menu {
 public:
  virtual ~Menu() = default;

  // Inserts an item behind the item of that number, counted from 1; 0 puts it first. Choosing it
  // sends the command to the menu's target, and on to the application's where that does not handle
  // it. Answers noErr.
  virtual Status InsertItem(const std::string& text, uint16_t afterItem, OSType commandID) = 0;

  virtual EventTarget GetEventTarget() = 0;
};

using MenuRef = Menu*;

// The forms of a program, opened by name.
class Nib {
 public:
  virtual ~Nib() = default;

  // Makes the menu bar of that name and puts it in place at SetMenuBar. Answers noErr or why not.
  virtual Status CreateMenuBar(const std::string& name) = 0;

  // Makes a window, hidden. Answers noErr or why not; `*window` is written on success only.
  virtual Status CreateWindow(const std::string& name, std::unique_ptr<Window>* window) = 0;
};

}  // namespace tessary
