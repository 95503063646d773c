#pragma once

#include <QStringList>

namespace tessary {

// Translates forms and menus into the first of the languages ("de", "de-AT") for which there is a
// translation; English counts as one. If none is known, the texts stay English. Qt's own texts use
// the same language if its translation is installed. Call it after the application object is
// created and before any form is.
void LoadTranslations(const QStringList& languages);

}  // namespace tessary
