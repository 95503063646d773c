// Reads what a control of the main window shows: paints every text in question into the program's
// own form, on the same display, and looks for exactly that in a picture of the screen. Prints the
// first text that is there, nothing where none is.
//   text_reader PICTURE TEXTS CONTROL

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

// The part of the label that holds its ink, with nothing around it.
QImage InkOf(const QImage& picture) {
  const QRgb paper = picture.pixel(0, 0);
  QRect ink;
  for (int y = 0; y < picture.height(); ++y) {
    for (int x = 0; x < picture.width(); ++x) {
      if (picture.pixel(x, y) != paper) ink |= QRect(x, y, 1, 1);
    }
  }
  return picture.copy(ink);
}

bool IsAt(const QImage& part, const QImage& whole, int left, int top) {
  const auto bytes = static_cast<size_t>(part.width()) * sizeof(QRgb);
  for (int y = 0; y < part.height(); ++y) {
    const uchar* line = whole.constScanLine(top + y) + static_cast<size_t>(left) * sizeof(QRgb);
    if (std::memcmp(part.constScanLine(y), line, bytes) != 0) return false;
  }
  return true;
}

bool Holds(const QImage& whole, const QImage& part) {
  for (int top = 0; top + part.height() <= whole.height(); ++top) {
    for (int left = 0; left + part.width() <= whole.width(); ++left) {
      if (IsAt(part, whole, left, top)) return true;
    }
  }
  return false;
}

int Read(const QString& picturePath, const QString& textsPath, int controlID) {
  QtUiState screen;
  QtNib nib(&screen);
  std::unique_ptr<Window> window;
  if (nib.CreateMenuBar("MenuBar") != noErr) return 1;
  screen.menuBar = std::move(screen.newMenuBar);
  if (nib.CreateWindow("MainWindow", &window) != noErr) return 1;
  QWidget* form = screen.mainWindow->Widget();
  const QList<QWidget*> widgets = form->findChildren<QWidget*>();
  ElidedLabel* label = nullptr;
  for (QWidget* widget : widgets) {
    if (widget->property("controlID") == controlID) label = dynamic_cast<ElidedLabel*>(widget);
  }
  const QImage picture = QImage(picturePath).convertToFormat(QImage::Format_RGB32);
  QFile texts(textsPath);
  if (label == nullptr || picture.isNull() || !texts.open(QIODevice::ReadOnly)) return 1;
  // Laid out as it is when it is shown, without being shown.
  form->grab();
  QTextStream lines(&texts);
  for (QString text; lines.readLineInto(&text);) {
    label->SetPlainText(text);
    const QImage ink = InkOf(label->grab().toImage().convertToFormat(QImage::Format_RGB32));
    if (ink.isNull() || !Holds(picture, ink)) continue;
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
