#include "platform/qt/open_panel.h"

#include <QFile>
#include <QFileDialog>
#include <QLabel>
#include <QLayout>
#include <QString>
#include <QStringList>

#include "platform/managers/file_manager.h"
#include "platform/managers/log.h"

namespace tessary {
namespace {

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

}  // namespace

std::optional<std::string> RunFolderPanel(const NSOpenPanel& panel, QWidget* parent) {
  QFileDialog dialog(parent, QString::fromStdString(panel.title));
  const bool wantsFilesOnly = panel.canChooseFiles && !panel.canChooseDirectories;
  dialog.setFileMode(wantsFilesOnly ? QFileDialog::ExistingFile : QFileDialog::Directory);
  dialog.setOption(QFileDialog::ShowDirsOnly, !wantsFilesOnly);
  dialog.setOption(QFileDialog::ReadOnly, !panel.canCreateDirectories);
  dialog.setLabelText(QFileDialog::Accept, QString::fromStdString(panel.prompt));
  ShowMessage(&dialog, QString::fromStdString(panel.message));
  if (dialog.exec() != QDialog::Accepted) return std::nullopt;
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
