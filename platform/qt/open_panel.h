#pragma once

#include <QFileDialog>
#include <QString>
#include <QWidget>
#include <optional>
#include <string>

#include "platform/managers/window_system.h"

namespace tessary {

// The source whose destination a panel asks for.
struct PanelSource {
  std::string path;
  size_t number = 1;  // counted from 1, of `count` sources that arrived together
  size_t count = 1;
};

// A panel in which the user chooses a folder: the desktop's file chooser, or Qt's if the desktop
// has none. Shows the panel's message and, for a destination, the source. Opens where the panel's
// last choice was made, for the first time in the parent of the source, or in the home folder.
//
// No chooser on Linux selects both files and folders. A panel that asks for both selects folders,
// including packages.
class FolderPanel final : public QFileDialog {
 public:
  FolderPanel(const NSOpenPanel& panel, const std::optional<PanelSource>& source, QWidget* parent);

  // Ignores the Return key if nothing is selected or typed, which would choose the folder that is
  // listed. The button chooses it.
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void ShowTexts(const QString& message, const QString& source);
  bool IsNameEmpty() const;
};

// Runs the panel over `parent` (may be null) until the user closes it. Returns the chosen path with
// links resolved. Returns no value if the user cancels, or, after a log line, if the chosen path
// does not exist.
std::optional<std::string> RunFolderPanel(const NSOpenPanel& panel,
                                          const std::optional<PanelSource>& source,
                                          QWidget* parent);

}  // namespace tessary
