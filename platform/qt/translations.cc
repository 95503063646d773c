#include "platform/qt/translations.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QString>
#include <QTranslator>
#include <memory>

// The macro must be used outside of any namespace. The call makes the linker take the catalogues
// from the static library.
static void LoadTranslationsResource() { Q_INIT_RESOURCE(translations); }

namespace tessary {
namespace {

bool Install(const QLocale& locale, const QString& catalogue, const QString& folder) {
  auto translator = std::make_unique<QTranslator>();
  if (!translator->load(locale, catalogue, "_", folder)) return false;
  QCoreApplication* application = QCoreApplication::instance();
  translator->setParent(application);
  return QCoreApplication::installTranslator(translator.release());
}

}  // namespace

void LoadTranslations(const QStringList& languages) {
  LoadTranslationsResource();
  for (const QString& language : languages) {
    const QLocale locale(language);
    if (locale.language() == QLocale::English || locale.language() == QLocale::C) return;
    if (!Install(locale, "tessary", ":/i18n")) continue;
    // Without Qt's own translations, standard buttons stay English.
    (void)Install(locale, "qtbase", QLibraryInfo::path(QLibraryInfo::TranslationsPath));
    return;
  }
}

}  // namespace tessary
