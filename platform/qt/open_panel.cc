#include "platform/qt/open_panel.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QKeyEvent>
#include <QLabel>
#include <QLayout>
#include <QLineEdit>
#include <QStringList>
#include <QTimer>
#include <QVBoxLayout>

#include "platform/managers/file_manager.h"
#include "platform/managers/log.h"
#include "platform/qt/elided_label.h"
#include "platform/qt/input_block.h"
#include "platform/qt/panel_state.h"

namespace tessary {
namespace {

constexpr int kRepaintDelay = 100;  // milliseconds
constexpr int kMessageMargin = 10;  // device-independent pixels

struct OpenPanel {
  Q_DECLARE_TR_FUNCTIONS(OpenPanel)
};

QString ToPath(const std::string& bytes) { return QFile::decodeName(bytes.c_str()); }

// The text that names the source, with its number if there are several.
QString DescribeSource(const PanelSource& source) {
  const QString path = ToPath(source.path);
  return source.count == 1
             ? OpenPanel::tr("Source: %1").arg(path)
             : OpenPanel::tr("Source %1 of %2: %3")
                   .arg(QString::number(source.number), QString::number(source.count), path);
}

QString FirstFolder(const std::optional<PanelSource>& source) {
  return source ? QFileInfo(ToPath(source->path)).absolutePath() : QDir::homePath();
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

bool IsReturnKey(const QEvent& event) {
  if (event.type() != QEvent::KeyPress) return false;
  const int key = static_cast<const QKeyEvent&>(event).key();
  return key == Qt::Key_Return || key == Qt::Key_Enter;
}

}  // namespace

FolderPanel::FolderPanel(const NSOpenPanel& panel, const std::optional<PanelSource>& source,
                         QWidget* parent)
    : QFileDialog(parent, QString::fromStdString(panel.title)) {
  const bool wantsFilesOnly = panel.canChooseFiles && !panel.canChooseDirectories;
  setFileMode(wantsFilesOnly ? ExistingFile : Directory);
  setOption(ShowDirsOnly, !wantsFilesOnly);
  setOption(ReadOnly, !panel.canCreateDirectories);
  setLabelText(Accept, QString::fromStdString(panel.prompt));
  const QString last = LastFolderOfPanel(windowTitle());
  setDirectory(last.isEmpty() ? FirstFolder(source) : last);
  ShowTexts(QString::fromStdString(panel.message), source ? DescribeSource(*source) : QString());
  const QList<QWidget*> children = findChildren<QWidget*>();
  for (QWidget* child : children) {
    if (qobject_cast<QAbstractButton*>(child) == nullptr) child->installEventFilter(this);
  }
  installEventFilter(this);
}

bool FolderPanel::eventFilter(QObject* watched, QEvent* event) {
  if (!IsReturnKey(*event) || !IsNameEmpty()) return QFileDialog::eventFilter(watched, event);
  QApplication::beep();
  return true;
}

// Shows the texts above the content of Qt's own chooser, in the place of a menu bar. A chooser of
// the desktop has no layout and shows only the title.
void FolderPanel::ShowTexts(const QString& message, const QString& source) {
  const QString texts = source.isEmpty() ? message : message + ' ' + source;
  if (layout() == nullptr) {
    setWindowTitle(windowTitle() + " — " + texts);
    return;
  }
  auto* header = new QWidget(this);
  auto* lines = new QVBoxLayout(header);
  lines->setContentsMargins(kMessageMargin, kMessageMargin, kMessageMargin, 0);
  auto* label = new QLabel(message, header);
  label->setTextFormat(Qt::PlainText);
  label->setWordWrap(true);
  lines->addWidget(label);
  if (!source.isEmpty()) {
    auto* line = new ElidedLabel(header);
    line->setObjectName("source");
    line->setAlignment(Qt::AlignLeading | Qt::AlignVCenter);
    line->SetPlainText(source);
    lines->addWidget(line);
  }
  layout()->setMenuBar(header);
  setAccessibleDescription(texts);
}

bool FolderPanel::IsNameEmpty() const {
  const auto* name = findChild<QLineEdit*>("fileNameEdit");
  return name != nullptr && name->text().isEmpty();
}

std::optional<std::string> RunFolderPanel(const NSOpenPanel& panel,
                                          const std::optional<PanelSource>& source,
                                          QWidget* parent) {
  FolderPanel dialog(panel, source, parent);
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
  StoreLastFolderOfPanel(QString::fromStdString(panel.title),
                         QFileInfo(ToPath(path)).absolutePath());
  return path;
}

}  // namespace tessary
