#pragma once

#include <memory>
#include <string>

#include "platform/managers/controls.h"
#include "platform/managers/drags.h"
#include "platform/managers/events.h"
#include "platform/managers/file_manager.h"
#include "platform/managers/status.h"

namespace tessary {

// A window made from a form. Nib::CreateWindow gives its caller ownership; destroying the object
// closes the window.
class Window {
 public:
  virtual ~Window() = default;

  // Finds a control, which the window owns. Returns noErr; errUnknownControl (no such control);
  // paramErr (no out-argument). `*control` is written on success only.
  virtual Status GetControlByID(const ControlID& id, ControlRef* control) = 0;

  // Returns the target that receives the commands of the window's controls first.
  virtual EventTarget GetEventTarget() = 0;

  // Shows the window, and returns when it is on the screen.
  virtual void Show() = 0;
  virtual void Hide() = 0;
  virtual void BringToFront() = 0;

  virtual void SetTitle(const std::string& title) = 0;
  virtual void SetProxy(const FSSpec& spec) = 0;
  virtual void SetModified(bool isModified) = 0;

  // Shows this window as a sheet of `parent`, which accepts no input until HideSheet. Both return
  // noErr; ShowAsSheetOf returns paramErr if there is no parent window.
  virtual Status ShowAsSheetOf(Window* parent) = 0;
  virtual Status HideSheet() = 0;

  // Fades the window out and hides it.
  virtual void FadeOut() = 0;

  // Returns the bounds of the content, in the window's own coordinates.
  virtual Rect GetContentBounds() const = 0;

  // Highlights `bounds` to show that a drop would be accepted; and removes the highlight.
  virtual void ShowDragHilite(const Rect& bounds) = 0;
  virtual void HideDragHilite() = 0;

  // A window has at most one handler of each kind. Installing returns noErr; paramErr (an empty
  // handler); duplicateHandlerErr (one is installed). Removing returns noErr; handlerNotFoundErr
  // (none is installed).
  virtual Status InstallTrackingHandler(DragTrackingHandler handler) = 0;
  virtual Status RemoveTrackingHandler() = 0;
  virtual Status InstallReceiveHandler(DragReceiveHandler handler) = 0;
};

using WindowRef = Window*;

// A menu that can be extended with items.
class Menu {
 public:
  virtual ~Menu() = default;

  // Inserts an item after the item numbered `afterItem`, counted from 1; 0 inserts it first. When
  // the user chooses it, the command goes to the menu's target, and then to the application's
  // target if the first does not handle it. Returns noErr; paramErr (the menu no longer exists).
  virtual Status InsertItem(const std::string& text, uint16_t afterItem, OSType commandID) = 0;

  virtual EventTarget GetEventTarget() = 0;
};

using MenuRef = Menu*;

// The forms of the program, opened by WindowSystem::CreateNibReference.
class Nib {
 public:
  virtual ~Nib() = default;

  // Creates the menu bar named `name`, which SetMenuBar installs. Returns noErr; fnfErr (no such
  // menu bar).
  virtual Status CreateMenuBar(const std::string& name) = 0;

  // Creates the window named `name`, hidden. Returns noErr; fnfErr (no such window); paramErr (no
  // out-argument). `*window` is written on success only.
  virtual Status CreateWindow(const std::string& name, std::unique_ptr<Window>* window) = 0;
};

}  // namespace tessary
