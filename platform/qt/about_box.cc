#include "platform/qt/about_box.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QIcon>
#include <QMessageBox>
#include <QString>

namespace tessary {
namespace {

constexpr int kIconSide = 64;  // device-independent pixels

struct AboutBox {
  Q_DECLARE_TR_FUNCTIONS(AboutBox)
};

}  // namespace

void ShowAboutBox(QWidget* parent) {
  auto* box = new QMessageBox(parent);
  box->setAttribute(Qt::WA_DeleteOnClose);
  box->setWindowTitle(AboutBox::tr("About Tessary"));
  box->setIconPixmap(QGuiApplication::windowIcon().pixmap(kIconSide));
  box->setText("Tessary " TESSARY_VERSION);
  box->setInformativeText(
      AboutBox::tr("Sorts the contents of a folder into subfolders.") + "\n\n" +
      QString("Copyright © 2026 The Tessary developers\n") +
      AboutBox::tr("Free software under the MIT License, without any warranty."));
  box->setStandardButtons(QMessageBox::Ok);
  box->open();
}

}  // namespace tessary
