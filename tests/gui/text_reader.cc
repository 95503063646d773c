// Finds the text that a control of the main window shows in a picture of the screen. Renders each
// candidate text in the program's own form, on the same display, and searches the picture for the
// same pixels. Prints the first text that is found, if any.
//   text_reader PICTURE TEXTS CONTROL
// TEXTS is a file with one text per line, CONTROL the control's ID.

#include <QApplication>
#include <QFile>
#include <QImage>
#include <QMainWindow>
#include <QPixmap>
#include <QTextStream>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>

#include "platform/managers/controls.h"
#include "platform/qt/elided_label.h"
#include "platform/qt/nib.h"

namespace tessary::test {
namespace {

// Crops the picture to the pixels that differ from the background.
QImage CropToText(const QImage& picture) {
  const QRgb background = picture.pixel(0, 0);
  QRect bounds;
  for (int y = 0; y < picture.height(); ++y) {
    for (int x = 0; x < picture.width(); ++x) {
      if (picture.pixel(x, y) != background) bounds |= QRect(x, y, 1, 1);
    }
  }
  return picture.copy(bounds);
}

bool IsAt(const QImage& part, const QImage& whole, int left, int top) {
  const auto bytes = static_cast<size_t>(part.width()) * sizeof(QRgb);
  for (int y = 0; y < part.height(); ++y) {
    const uchar* line = whole.constScanLine(top + y) + static_cast<size_t>(left) * sizeof(QRgb);
    if (std::memcmp(part.constScanLine(y), line, bytes) != 0) return false;
  }
  return true;
}

bool Contains(const QImage& whole, const QImage& part) {
  for (int top = 0; top + part.height() <= whole.height(); ++top) {
    for (int left = 0; left + part.width() <= whole.width(); ++left) {
      if (IsAt(part, whole, left, top)) return true;
    }
  }
  return false;
}

int Read(const QString& picturePath, const QString& textsPath, int controlID) {
  QtUiState ui;
  QtNib nib(&ui);
  std::unique_ptr<Window> window;
  if (nib.CreateMenuBar("MenuBar") != noErr) return 1;
  ui.menuBar = std::move(ui.newMenuBar);
  if (nib.CreateWindow("MainWindow", &window) != noErr) return 1;
  QWidget* form = ui.mainWindow->Widget();
  const QList<QWidget*> widgets = form->findChildren<QWidget*>();
  ElidedLabel* label = nullptr;
  for (QWidget* widget : widgets) {
    if (widget->property("controlID") == controlID) label = dynamic_cast<ElidedLabel*>(widget);
  }
  const QImage picture = QImage(picturePath).convertToFormat(QImage::Format_RGB32);
  QFile texts(textsPath);
  if (label == nullptr || picture.isNull() || !texts.open(QIODevice::ReadOnly)) return 1;
  // Lays the form out without showing it.
  form->grab();
  QTextStream lines(&texts);
  for (QString text; lines.readLineInto(&text);) {
    label->SetPlainText(text);
    const QImage rendering =
        CropToText(label->grab().toImage().convertToFormat(QImage::Format_RGB32));
    if (rendering.isNull() || !Contains(picture, rendering)) continue;
    printf("%s\n", text.toUtf8().constData());
    return 0;
  }
  return 0;
}

}  // namespace
}  // namespace tessary::test

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  return argc == 4 ? tessary::test::Read(argv[1], argv[2], QString(argv[3]).toInt()) : 2;
}
