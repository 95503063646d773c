#include "platform/qt/panel_state.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QtGlobal>

#include "platform/managers/log.h"

namespace tessary {
namespace {

// A relative path in the variable is ignored, as the base directory specification demands.
QString StateFile() {
  const QString named = qEnvironmentVariable("XDG_STATE_HOME");
  const QString base = QDir::isAbsolutePath(named) ? named : QDir::homePath() + "/.local/state";
  return base + "/tessary/panels.ini";
}

QString KeyOf(const QString& panel) { return QString(panel).remove(' ') + "/folder"; }

}  // namespace

// The path is escaped, because some characters have a meaning in the file. Qt cannot open folders
// whose names are not UTF-8: their panels open like the first one.
QString LastFolderOfPanel(const QString& panel) {
  const QSettings state(StateFile(), QSettings::IniFormat);
  const QByteArray escaped = state.value(KeyOf(panel)).toByteArray();
  const QString folder = QFile::decodeName(QByteArray::fromPercentEncoding(escaped));
  return !folder.isEmpty() && QFileInfo(folder).isDir() ? folder : QString();
}

void StoreLastFolderOfPanel(const QString& panel, const QString& folder) {
  QSettings state(StateFile(), QSettings::IniFormat);
  state.setValue(KeyOf(panel), QFile::encodeName(folder).toPercentEncoding("/"));
  state.sync();
  if (state.status() == QSettings::NoError) return;
  NSLog("Cannot write \"" + QFile::encodeName(StateFile()).toStdString() + "\".");
}

}  // namespace tessary
