#pragma once

#include <QStringList>

namespace tessary {

// Has what forms and menus say come in the first of these languages, as "de" or "de-AT", that there
// is a translation for; English, which needs none, among them. Where none of them is known
// everything stays English. Qt's own words go by the same language where their translation is
// installed. Called once the application is there, before any form is opened.
void LoadTranslations(const QStringList& languages);

}  // namespace tessary
