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
#include "platform/qt/input_block.h"

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

// Shows the dialog until it is closed, and returns true if the user accepts it. QDialog::exec would
// make it modal, and Qt refuses drags over windows that a modal dialog blocks.
bool RunDialog(QFileDialog* dialog) {
  QEventLoop loop;
  QObject::connect(dialog, &QDialog::finished, &loop, &QEventLoop::quit);
  dialog->show();
  const InputBlock block(dialog, VisibleWindowsBehind(dialog));
  loop.exec(QEventLoop::DialogExec);
  return dialog->result() == QDialog::Accepted;
}

// Repaints the windows that the panel covered. A run that follows may take long before it delivers
// events, and would leave pieces of the panel on them. Input events wait; requests and timers are
// queued as tasks.
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
  const bool isAccepted = RunDialog(&dialog);
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
