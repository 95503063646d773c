#pragma once

#include <QString>

// What the panels remember from one use to the next, in the program's state file
// "$XDG_STATE_HOME/tessary/panels.ini", which is not part of the settings. The name of a panel is
// its title.
namespace tessary {

// Returns the folder in which the panel's last choice was made, or an empty text if there was none
// or the folder does not exist any more.
QString LastFolderOfPanel(const QString& panel);

// Stores the folder. Logs a failure.
void StoreLastFolderOfPanel(const QString& panel, const QString& folder);

}  // namespace tessary
