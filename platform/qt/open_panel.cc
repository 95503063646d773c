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

// Qt's own chooser has room for the message, above everything else, where a layout would have its
// window's menu bar. A desktop's has its title only.
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

// Lets the windows beneath the panel be painted where it stood: a run that begins at once delivers
// no more events. Input waits, and requests and timers have their own turn.
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
  const std::string named = QFile::encodeName(chosen.first()).toStdString();
  std::string path;
  if (ResolveNamedPath(named, &path) != noErr) {
    NSLog("The chosen folder \"" + named + "\" cannot be found.");
    return std::nullopt;
  }
  return path;
}

}  // namespace tessary
