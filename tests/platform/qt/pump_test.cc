#include "platform/qt/pump.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEvent>
#include <QThread>
#include <memory>
#include <string>
#include <utility>

#include "platform/qt/nib.h"

namespace tessary::test {
namespace {

// Counts the events of one type that an object receives. The application receives those of all
// objects.
class EventCounter : public QObject {
 public:
  explicit EventCounter(QObject* watched, QEvent::Type type = QEvent::Paint) : type_(type) {
    watched->installEventFilter(this);
  }

  int TakeCount() { return std::exchange(count_, 0); }

 protected:
  bool eventFilter(QObject* /*watched*/, QEvent* event) override {
    if (event->type() == type_) ++count_;
    return false;
  }

 private:
  QEvent::Type type_;
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

  // Shows a text as the run does for each item.
  void ShowText(const std::string& text) {
    ASSERT_EQ(noErr, SetControlData(Control(1), kControlStaticTextCFStringTag, text));
    Draw1Control(Control(1));
    PumpAtDisplayRate();
  }

  void ShowTexts(int count) {
    for (int text = 0; text < count; ++text) {
      ShowText("Moving: /a/folder/" + std::to_string(text) + ".txt");
    }
  }

  qsizetype CountObjects() const {
    return ui_.mainWindow->Widget()->findChildren<QObject*>().size();
  }

  QtUiState ui_;
  std::unique_ptr<Window> window_;
};

TEST_F(Pump, PaintsOnlyChangedWidgets) {
  EventCounter status(WidgetOf(1));
  EventCounter stop(WidgetOf(7));
  EventCounter elapsed(WidgetOf(6));
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

// Also true on a machine so slow that every text is a frame.
TEST_F(Pump, PaintsTextsAtDisplayRate) {
  EventCounter paints(WidgetOf(1));
  QElapsedTimer clock;
  clock.start();
  ShowTexts(10'000);
  EXPECT_LE(paints.TakeCount(), clock.elapsed() / kFrameInterval + 1);
}

// Painted less often than the texts, however often the windows are pumped.
TEST_F(Pump, MovesBusyIndicatorStepByStep) {
  constexpr int kStepMilliseconds = 32;
  constexpr int kTimeout = 20'000;
  auto* indicator = ui_.mainWindow->Widget()->findChild<QWidget*>("activityIndicator");
  ASSERT_NE(nullptr, indicator);
  indicator->show();
  PumpWindows();
  EventCounter counter(indicator);
  QElapsedTimer clock;
  clock.start();
  int paints = 0;
  for (; paints < 4 && !clock.hasExpired(kTimeout); paints += counter.TakeCount()) PumpWindows();
  EXPECT_EQ(4, paints);
  EXPECT_LE(paints, clock.elapsed() / kStepMilliseconds + 1);
}

TEST_F(Pump, TextsNeedNoLayoutAndNoObjects) {
  ShowTexts(100);
  QCoreApplication::processEvents();
  EventCounter layouts(QCoreApplication::instance(), QEvent::LayoutRequest);
  const qsizetype objects = CountObjects();
  ShowTexts(10'000);
  QThread::msleep(kFrameInterval);
  ShowText("Moving: /last");
  EXPECT_EQ(0, layouts.TakeCount());
  EXPECT_EQ(objects, CountObjects());
}

TEST_F(Pump, EventLoopShowsLastText) {
  PumpWindows();
  EventCounter paints(WidgetOf(1));
  ShowTexts(3);
  QCoreApplication::processEvents();
  EXPECT_EQ(1, paints.TakeCount());
}

TEST_F(Pump, StartsNothingDuringTask) {
  int started = 0;
  ui_.tasks.Open();
  ui_.tasks.RunOrPost([&] {
    ui_.tasks.Post([&] { ++started; });
    QMetaObject::invokeMethod(
        ui_.tasks.Context(), [&] { ui_.tasks.Post([&] { ++started; }); }, Qt::QueuedConnection);
    PumpWindows();
    EXPECT_EQ(0, started);
  });
  QCoreApplication::processEvents();
  QCoreApplication::processEvents();
  EXPECT_EQ(2, started);
}

}  // namespace
}  // namespace tessary::test
