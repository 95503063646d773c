#include "platform/qt/pump.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QEvent>
#include <memory>
#include <utility>

#include "platform/qt/nib.h"

namespace tessary::test {
namespace {

// Counts the paint events of a widget.
class PaintCounter : public QObject {
 public:
  explicit PaintCounter(QObject* watched) { watched->installEventFilter(this); }

  int TakeCount() { return std::exchange(count_, 0); }

 protected:
  bool eventFilter(QObject* /*watched*/, QEvent* event) override {
    if (event->type() == QEvent::Paint) ++count_;
    return false;
  }

 private:
  int count_ = 0;
};

class Pump : public testing::Test {
 protected:
  Pump() {
    QtNib nib(&ui_);
    EXPECT_EQ(noErr, nib.CreateWindow("MainWindow", &window_));
    window_->Show();
    QCoreApplication::processEvents();
  }

  ControlRef Control(int32_t id) {
    ControlRef control = nullptr;
    EXPECT_EQ(noErr, window_->GetControlByID({FourCharCode("CNTL"), id}, &control));
    return control;
  }

  QWidget* WidgetOf(int id) const {
    const QList<QWidget*> widgets = ui_.mainWindow->Widget()->findChildren<QWidget*>();
    for (QWidget* widget : widgets) {
      if (widget->property("controlID") == id) return widget;
    }
    return nullptr;
  }

  QtUiState ui_;
  std::unique_ptr<Window> window_;
};

TEST_F(Pump, PaintsOnlyChangedWidgets) {
  PaintCounter status(WidgetOf(1));
  PaintCounter stop(WidgetOf(7));
  PaintCounter elapsed(WidgetOf(6));
  ASSERT_EQ(noErr, SetControlData(Control(1), kControlStaticTextCFStringTag, "Moving: /a"));
  PumpWindows();
  EXPECT_EQ(1, status.TakeCount());
  EXPECT_EQ(0, stop.TakeCount());
  PumpWindows();
  EXPECT_EQ(0, status.TakeCount());
  EnableControl(Control(7));
  ShowControl(Control(7));
  EXPECT_EQ(1, stop.TakeCount());
  EXPECT_EQ(0, elapsed.TakeCount());
}

}  // namespace
}  // namespace tessary::test
