#include "platform/qt/window.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QCoreApplication>
#include <QDialog>
#include <QMouseEvent>
#include <QPushButton>
#include <QWindow>
#include <memory>
#include <vector>

#include "platform/qt/elided_label.h"
#include "platform/qt/nib.h"

namespace tessary::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr OSType kControls = FourCharCode("CNTL");

class QtWindowTest : public testing::Test {
 protected:
  QtWindowTest() { ui_.tasks.Open(); }

  std::unique_ptr<Window> MakeWindow(const std::string& name) {
    QtNib nib(&ui_);
    std::unique_ptr<Window> window;
    EXPECT_EQ(noErr, nib.CreateWindow(name, &window));
    return window;
  }

  static QWidget* WidgetOf(const Window& window) {
    return dynamic_cast<const QtWindow&>(window).Widget();
  }

  // Records the commands that reach the target, and reports them as not handled.
  void RecordCommands(EventTarget target) {
    EXPECT_EQ(
        noErr,
        target.InstallHandler(kEventClassCommand, kEventCommandProcess, [this](const Event& event) {
          HICommand command;
          EXPECT_EQ(noErr, GetEventParameter(event, kEventParamDirectObject, &command));
          commands_.push_back(command.commandID);
          return eventNotHandledErr;
        }));
  }

  // Clicks on the stop control and on the close button of the main window.
  static void SendInput(Window* window) {
    QWidget* widget = WidgetOf(*window);
    auto* stop = widget->findChild<QPushButton*>("stopControl");
    stop->setEnabled(true);
    stop->show();
    QCoreApplication::processEvents();
    const QPointF point = stop->mapTo(widget, stop->rect().center());
    for (const auto type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease}) {
      const auto buttons = type == QEvent::MouseButtonPress ? Qt::LeftButton : Qt::NoButton;
      QMouseEvent click(type, point, point, widget->mapToGlobal(point), Qt::LeftButton, buttons,
                        Qt::NoModifier);
      QCoreApplication::sendEvent(widget->windowHandle(), &click);
    }
    QCloseEvent close;
    QCoreApplication::sendEvent(widget->windowHandle(), &close);
  }

  QtUiState ui_;
  std::vector<OSType> commands_;
};

TEST_F(QtWindowTest, FindsControlsByID) {
  const std::unique_ptr<Window> main = MakeWindow("MainWindow");
  const std::unique_ptr<Window> sheet = MakeWindow("PreferencesWindow");
  ControlRef control = nullptr;
  for (const int32_t id : {1, 2, 4, 5, 6, 7}) {
    EXPECT_EQ(noErr, main->GetControlByID({kControls, id}, &control)) << id;
  }
  for (const int32_t id : {4, 7, 8}) {
    EXPECT_EQ(noErr, sheet->GetControlByID({kControls, id}, &control)) << id;
  }
  EXPECT_EQ(errUnknownControl, main->GetControlByID({kControls, 3}, &control));
  EXPECT_EQ(errUnknownControl, main->GetControlByID({FourCharCode("cntl"), 1}, &control));
  EXPECT_EQ(paramErr, main->GetControlByID({kControls, 1}, nullptr));
  QtNib nib(&ui_);
  std::unique_ptr<Window> none;
  EXPECT_EQ(fnfErr, nib.CreateWindow("Window", &none));
  EXPECT_EQ(paramErr, nib.CreateWindow("MainWindow", nullptr));
  EXPECT_EQ(fnfErr, nib.CreateMenuBar("Bar"));
}

TEST_F(QtWindowTest, SendsCommandsOnlyForUserActions) {
  const std::unique_ptr<Window> sheet = MakeWindow("PreferencesWindow");
  RecordCommands(sheet->GetEventTarget());
  ControlRef kind = nullptr;
  ControlRef recurse = nullptr;
  ASSERT_EQ(noErr, sheet->GetControlByID({kControls, 8}, &kind));
  ASSERT_EQ(noErr, sheet->GetControlByID({kControls, 7}, &recurse));
  kind->SetValue(5);
  recurse->SetValue(1);
  EXPECT_THAT(commands_, IsEmpty());
  EXPECT_EQ(5, kind->GetValue());
  kind->SetValue(6);
  EXPECT_EQ(0, kind->GetValue());
  WidgetOf(*sheet)->findChild<QCheckBox*>("recurseFolders")->click();
  WidgetOf(*sheet)->findChild<QCheckBox*>("quitWhenDone")->click();
  WidgetOf(*sheet)->findChild<QPushButton*>("okButton")->click();
  WidgetOf(*sheet)->findChild<QPushButton*>("cancelButton")->click();
  EXPECT_EQ(0, recurse->GetValue());
  EXPECT_THAT(commands_, ElementsAre(FourCharCode("Rcrs"), FourCharCode("Qwdo"),
                                     FourCharCode("ok  "), FourCharCode("not!")));
}

TEST_F(QtWindowTest, ClosingSendsCommandAndKeepsWindow) {
  const std::unique_ptr<Window> main = MakeWindow("MainWindow");
  const std::unique_ptr<Window> sheet = MakeWindow("PreferencesWindow");
  RecordCommands(main->GetEventTarget());
  RecordCommands(sheet->GetEventTarget());
  main->Show();
  EXPECT_FALSE(WidgetOf(*main)->close());
  EXPECT_TRUE(WidgetOf(*main)->isVisible());
  EXPECT_FALSE(WidgetOf(*sheet)->close());
  qobject_cast<QDialog*>(WidgetOf(*sheet))->reject();
  EXPECT_THAT(commands_,
              ElementsAre(FourCharCode("quit"), FourCharCode("not!"), FourCharCode("not!")));
}

TEST_F(QtWindowTest, ButtonCommandMayDisposeWindow) {
  std::unique_ptr<Window> sheet = MakeWindow("PreferencesWindow");
  QPushButton* button = WidgetOf(*sheet)->findChild<QPushButton*>("okButton");
  ASSERT_EQ(noErr, sheet->GetEventTarget().InstallHandler(kEventClassCommand, kEventCommandProcess,
                                                          [&sheet](const Event&) {
                                                            sheet.reset();
                                                            return noErr;
                                                          }));
  button->click();
  EXPECT_EQ(nullptr, sheet);
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

TEST_F(QtWindowTest, ShowsAsSheetOfWindow) {
  const std::unique_ptr<Window> main = MakeWindow("MainWindow");
  const std::unique_ptr<Window> sheet = MakeWindow("PreferencesWindow");
  main->Show();
  EXPECT_EQ(paramErr, sheet->ShowAsSheetOf(nullptr));
  ASSERT_EQ(noErr, sheet->ShowAsSheetOf(main.get()));
  EXPECT_TRUE(WidgetOf(*sheet)->isVisible());
  EXPECT_EQ(noErr, sheet->HideSheet());
  EXPECT_FALSE(WidgetOf(*sheet)->isVisible());
}

TEST_F(QtWindowTest, SheetBlocksInputOfParent) {
  const std::unique_ptr<Window> main = MakeWindow("MainWindow");
  const std::unique_ptr<Window> sheet = MakeWindow("PreferencesWindow");
  RecordCommands(main->GetEventTarget());
  main->Show();
  ASSERT_EQ(noErr, sheet->ShowAsSheetOf(main.get()));
  SendInput(main.get());
  EXPECT_THAT(commands_, IsEmpty());
  EXPECT_EQ(noErr, sheet->HideSheet());
  SendInput(main.get());
  EXPECT_THAT(commands_, ElementsAre(FourCharCode("not!"), FourCharCode("quit")));
}

TEST_F(QtWindowTest, OneDragHandlerOfEachKind) {
  const std::unique_ptr<Window> main = MakeWindow("MainWindow");
  const auto track = [](DragTrackingMessage, Window*, const Drag&) { return noErr; };
  const auto receive = [](Window*, const Drag&) { return noErr; };
  EXPECT_EQ(handlerNotFoundErr, main->RemoveTrackingHandler());
  EXPECT_EQ(noErr, main->InstallTrackingHandler(track));
  EXPECT_EQ(duplicateHandlerErr, main->InstallTrackingHandler(track));
  EXPECT_EQ(noErr, main->RemoveTrackingHandler());
  EXPECT_EQ(noErr, main->InstallReceiveHandler(receive));
  EXPECT_EQ(duplicateHandlerErr, main->InstallReceiveHandler(receive));
  EXPECT_EQ(paramErr, main->InstallTrackingHandler(nullptr));
}

TEST_F(QtWindowTest, KeepsSizeForLongText) {
  const std::unique_ptr<Window> main = MakeWindow("MainWindow");
  main->Show();
  const QSize before = WidgetOf(*main)->size();
  auto* label = dynamic_cast<ElidedLabel*>(WidgetOf(*main)->findChild<QWidget*>("statusText"));
  ASSERT_NE(nullptr, label);
  EXPECT_EQ(2, label->Lines().size());
  const QString path = "Moving: /" + QString("folder").repeated(200) + "/the last.txt";
  label->SetPlainText(path);
  QCoreApplication::processEvents();
  EXPECT_EQ(before, WidgetOf(*main)->size());
  EXPECT_EQ(before.width(), WidgetOf(*main)->minimumSizeHint().expandedTo(before).width());
  ASSERT_EQ(1, label->Lines().size());
  EXPECT_TRUE(label->Lines()[0].startsWith("Moving: /folder")) << qPrintable(label->Lines()[0]);
  EXPECT_TRUE(label->Lines()[0].endsWith("the last.txt")) << qPrintable(label->Lines()[0]);
  EXPECT_TRUE(label->Lines()[0].contains(u'…'));
  EXPECT_EQ("", label->toolTip());
  label->SetPlainText("a\nb\x7F");
  EXPECT_EQ(QStringList{u"a\u240Ab\u2421"_qs}, label->Lines());
}

}  // namespace
}  // namespace tessary::test
