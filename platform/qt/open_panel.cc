#include "platform/qt/open_panel.h"

#include <QEventLoop>
#include <QFile>
#include <QFileDialog>
#include <QLabel>
#include <QLayout>
#include <QString>
#include <QStringList>
#include <QTimer>

#include "platform/managers/file_manager.h"
#include "platform/managers/log.h"

namespace tessary {
namespace {

constexpr int kRepaintDelay = 100;  // milliseconds
constexpr int kMessageMargin = 10;  // device-independent pixels

// Shows the message above the content of Qt's own chooser, in the place of a menu bar. A chooser of
// the desktop has no layout: it shows the message as its title.
void ShowMessage(QFileDialog* dialog, const QString& message) {
  if (dialog->layout() == nullptr) {
    dialog->setWindowTitle(message);
    return;
  }
  auto* label = new QLabel(message, dialog);
  label->setTextFormat(Qt::PlainText);
  label->setWordWrap(true);
  label->setContentsMargins(kMessageMargin, kMessageMargin, kMessageMargin, 0);
  dialog->layout()->setMenuBar(label);
  dialog->setAccessibleDescription(message);
}

// Repaints the windows that the panel covered. The run that follows delivers no events, so that it
// would leave pieces of the panel on them. Input events wait; requests and timers are queued as
// tasks.
void WaitForRepaint() {
  QEventLoop loop;
  QTimer::singleShot(kRepaintDelay, &loop, &QEventLoop::quit);
  loop.exec(QEventLoop::ExcludeUserInputEvents);
}

}  // namespace

std::optional<std::string> RunFolderPanel(const NSOpenPanel& panel, QWidget* parent) {
  QFileDialog dialog(parent, QString::fromStdString(panel.title));
  const bool wantsFilesOnly = panel.canChooseFiles && !panel.canChooseDirectories;
  dialog.setFileMode(wantsFilesOnly ? QFileDialog::ExistingFile : QFileDialog::Directory);
  dialog.setOption(QFileDialog::ShowDirsOnly, !wantsFilesOnly);
  dialog.setOption(QFileDialog::ReadOnly, !panel.canCreateDirectories);
  dialog.setLabelText(QFileDialog::Accept, QString::fromStdString(panel.prompt));
  ShowMessage(&dialog, QString::fromStdString(panel.message));
  const bool isAccepted = dialog.exec() == QDialog::Accepted;
  WaitForRepaint();
  if (!isAccepted) return std::nullopt;
  const QStringList chosen = dialog.selectedFiles();
  if (chosen.isEmpty()) return std::nullopt;
  const std::string name = QFile::encodeName(chosen.first()).toStdString();
  std::string path;
  if (ResolveNamedPath(name, &path) != noErr) {
    NSLog("The chosen folder \"" + name + "\" cannot be found.");
    return std::nullopt;
  }
  return path;
}

}  // namespace tessary
