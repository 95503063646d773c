#include "platform/qt/translations.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QLocale>
#include <QMenu>
#include <QMenuBar>
#include <QProcess>
#include <QTranslator>
#include <QXmlStreamReader>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/qt/elided_label.h"
#include "platform/qt/nib.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Texts = std::vector<std::string>;

const QStringList& Languages() {
  static const QStringList kLanguages = {"de", "es", "fr", "ja"};
  return kLanguages;
}

QString CatalogueOf(const QString& language) {
  return TESSARY_SOURCE_DIR "/i18n/tessary_" + language + ".ts";
}

// A message of a catalogue.
struct Message {
  QString context = {};
  QString source = {};
  QString translation = {};
  QString type = {};  // set by lupdate: "unfinished", "vanished", "obsolete" or empty
};

std::vector<Message> ReadCatalogue(const QString& path) {
  QFile file(path);
  EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
  QXmlStreamReader reader(&file);
  std::vector<Message> messages;
  QString context;
  while (!reader.atEnd()) {
    if (reader.readNext() != QXmlStreamReader::StartElement) continue;
    if (reader.name() == QLatin1String("name")) context = reader.readElementText();
    if (reader.name() == QLatin1String("message")) messages.push_back({.context = context});
    if (reader.name() == QLatin1String("source")) messages.back().source = reader.readElementText();
    if (reader.name() == QLatin1String("translation")) {
      messages.back().type = reader.attributes().value("type").toString();
      messages.back().translation = reader.readElementText();
    }
  }
  EXPECT_FALSE(reader.hasError()) << reader.errorString().toStdString();
  return messages;
}

void UnloadTranslations() {
  qDeleteAll(QCoreApplication::instance()->findChildren<QTranslator*>());
}

// The forms, in the language that was loaded last.
class Forms {
 public:
  Forms() {
    QtNib nib(&ui_);
    EXPECT_EQ(noErr, nib.CreateMenuBar("MenuBar"));
    ui_.menuBar = std::move(ui_.newMenuBar);
    // The items that start-up inserts.
    QtMenu* help = ui_.menuBar->HelpMenu();
    const auto afterItem = static_cast<uint16_t>(help->FirstFreeItem() - 1);
    for (const char* item : {"Tessary Web Page", "View in Mac App Store..."}) {
      EXPECT_EQ(noErr, help->InsertItem(item, afterItem, 0));
    }
    EXPECT_EQ(noErr, nib.CreateWindow("MainWindow", &mainWindow_));
    EXPECT_EQ(noErr, nib.CreateWindow("PreferencesWindow", &preferences_));
  }

  // Deletes the windows now. The event loop would do it later, and WindowOf would find them until
  // then.
  ~Forms() {
    preferences_ = nullptr;
    mainWindow_ = nullptr;
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  }
  Forms(const Forms&) = delete;
  Forms& operator=(const Forms&) = delete;

  Texts MenuTitles() const {
    Texts titles;
    for (const QAction* action : MenuBar()->actions()) titles.push_back(TextOf(action->text()));
    return titles;
  }

  Texts Items(int menu) const {
    Texts items;
    for (const QAction* action : MenuBar()->actions()[menu]->menu()->actions()) {
      if (!action->isSeparator()) items.push_back(TextOf(action->text()));
    }
    return items;
  }

  Texts PreferencesTexts() const {
    Texts texts;
    const QWidget* sheet = WindowOf("PreferencesWindow");
    texts.push_back(TextOf(sheet->windowTitle()));
    for (const auto* box : sheet->findChildren<QCheckBox*>()) texts.push_back(TextOf(box->text()));
    const auto* kinds = sheet->findChild<QComboBox*>();
    for (int i = 0; i < kinds->count(); ++i) texts.push_back(TextOf(kinds->itemText(i)));
    return texts;
  }

  // The status text of a new window.
  static std::string StatusText() {
    auto* label = WindowOf("MainWindow")->findChild<QWidget*>("statusText");
    return TextOf(dynamic_cast<const ElidedLabel&>(*label).Text());
  }

 private:
  static std::string TextOf(const QString& text) { return text.toStdString(); }

  static const QWidget* WindowOf(const QString& name) {
    for (const QWidget* widget : QApplication::topLevelWidgets()) {
      if (widget->objectName() == name) return widget;
    }
    ADD_FAILURE() << name.toStdString();
    return nullptr;
  }

  static QMenuBar* MenuBar() { return WindowOf("MainWindow")->findChild<QMenuBar*>(); }

  QtUiState ui_;
  std::unique_ptr<Window> mainWindow_;
  std::unique_ptr<Window> preferences_;
};

// Updates a copy of each catalogue from the sources: nothing is new, unfinished or obsolete.
TEST(Catalogues, AreComplete) {
  const TemporaryFolder folder;
  for (const QString& language : Languages()) {
    const QString copy = QString::fromStdString(folder / "copy.ts");
    QFile::remove(copy);
    ASSERT_TRUE(QFile::copy(CatalogueOf(language), copy));
    QProcess lupdate;
    const QString sources = TESSARY_SOURCE_DIR "/platform/qt";
    lupdate.start(TESSARY_LUPDATE, {"-silent", "-locations", "none", sources, "-ts", copy});
    ASSERT_TRUE(lupdate.waitForFinished()) << lupdate.errorString().toStdString();
    ASSERT_EQ(0, lupdate.exitCode()) << lupdate.readAll().toStdString();
    const std::vector<Message> messages = ReadCatalogue(copy);
    EXPECT_EQ(ReadCatalogue(CatalogueOf(language)).size(), messages.size());
    EXPECT_LT(20U, messages.size());
    for (const Message& message : messages) {
      const std::string text = language.toStdString() + ": " + message.source.toStdString();
      EXPECT_EQ("", message.type.toStdString()) << text;
      EXPECT_FALSE(message.translation.trimmed().isEmpty()) << text;
      EXPECT_EQ(message.source.count('&'), message.translation.count('&')) << text;
      EXPECT_EQ(message.source.endsWith(u'…'), message.translation.endsWith(u'…')) << text;
    }
  }
}

TEST(Catalogues, OmitFixedTexts) {
  for (const QString& language : Languages()) {
    for (const Message& message : ReadCatalogue(CatalogueOf(language))) {
      for (const char* text : {"Drop a folder", "Elapsed time", "View in Mac App Store", "Choose D",
                               "Choose S", "Tessary"}) {
        const bool isMenuItem = message.source.startsWith("Tessary ");
        EXPECT_TRUE(isMenuItem || !message.source.startsWith(text)) << message.source.toStdString();
      }
    }
  }
}

TEST(Catalogues, AccessKeysAreUnique) {
  for (const QString& language : Languages()) {
    std::map<QString, QString> sourcesByKey;
    for (const Message& message : ReadCatalogue(CatalogueOf(language))) {
      const qsizetype at = message.translation.indexOf('&');
      if (at < 0) continue;
      // Keys are unique among the titles of menus, the items of a menu, and the controls of a
      // window.
      const bool isTitle = message.source == "&File" || message.source == "&Help";
      const bool isInHelp = message.source == "Tessary &Help" || message.source == "&About Tessary";
      const QString set = message.context + (isTitle ? "titles" : isInHelp ? "help" : "items");
      const QString key = set + message.translation[at + 1].toLower();
      EXPECT_TRUE(sourcesByKey.emplace(key, message.source).second)
          << language.toStdString() << ": " << message.translation.toStdString();
    }
  }
}

// The language comes from the environment: main sets LANG to German.
TEST(LoadTranslations, TranslatesFormsToGerman) {
  LoadTranslations(QLocale::system().uiLanguages());
  const Forms forms;
  EXPECT_THAT(forms.MenuTitles(), ElementsAre("&Datei", "&Hilfe"));
  EXPECT_THAT(forms.Items(0),
              ElementsAre("Ö&ffnen…", "&Protokoll anzeigen…", "&Einstellungen…", "&Beenden"));
  EXPECT_THAT(forms.Items(1), ElementsAre("Tessary-&Hilfe", "View in Mac App Store...",
                                          "Tessary-Webseite", "Ü&ber Tessary"));
  EXPECT_THAT(
      forms.PreferencesTexts(),
      ElementsAre("Einstellungen", "&Unterordner einbeziehen", "Nach dem Lauf &beenden",
                  "Dateiendung", "Dateityp", "MIME-Typ", "Änderungsdatum", "Erstellungsdatum"));
  EXPECT_EQ("Drop a folder on the application or this window to aggregate the files in it.",
            Forms::StatusText());
  UnloadTranslations();
}

TEST(LoadTranslations, UsesFirstKnownLanguage) {
  struct Row {
    QStringList languages;
    std::string fileMenu;
  };
  const std::vector<Row> rows = {
      {{}, "&File"},
      {{"C"}, "&File"},
      {{"en-GB"}, "&File"},
      {{"en", "de"}, "&File"},
      {{"pt-BR"}, "&File"},
      {{"de"}, "&Datei"},
      {{"de-AT", "de", "en"}, "&Datei"},
      {{"gsw", "de"}, "&Datei"},
      {{"es-MX"}, "&Archivo"},
      {{"fr-CA", "en"}, "&Fichier"},
      {{"ja-JP"}, "ファイル(&F)"},
  };
  for (const Row& row : rows) {
    LoadTranslations(row.languages);
    EXPECT_EQ(row.fileMenu, Forms().MenuTitles().front()) << row.languages.join(" ").toStdString();
    UnloadTranslations();
  }
}

}  // namespace
}  // namespace tessary::test

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANGUAGE"}) unsetenv(name);
  setenv("LANG", "de_DE.UTF-8", 1);
  setenv("QT_QPA_PLATFORM", "offscreen", 1);
  const QApplication application(argc, argv);
  return RUN_ALL_TESTS();
}
