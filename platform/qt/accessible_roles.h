#pragma once

namespace tessary {

// Gives the program's own widgets their roles for assistive programs: BusyIndicator is a progress
// bar without a value, ArtworkView a label. Further calls have no effect.
void InstallAccessibleRoles();

}  // namespace tessary
