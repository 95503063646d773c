// A window in the corner of the screen from which the URIs in a file can be dragged. If the file
// begins with "text:", the rest is dragged as plain text instead. Prints "ready" when the window is
// on the screen, and "dropped" with the drop action (0: not accepted) when a drag ends.
//   drag_source FILE

#include <QApplication>
#include <QDrag>
#include <QFile>
#include <QMimeData>
#include <QMouseEvent>
#include <QTimer>
#include <QWidget>
#include <cstdio>
#include <utility>

namespace {

class Source : public QWidget {
 public:
  explicit Source(QByteArray uris) : uris_(std::move(uris)) {
    setWindowFlag(Qt::X11BypassWindowManagerHint);
    setGeometry(10, 10, 100, 100);
  }

 protected:
  // Reports "ready" after the first painting: before, a click would not reach the window.
  void paintEvent(QPaintEvent* event) override {
    QWidget::paintEvent(event);
    if (std::exchange(isReady_, true)) return;
    QTimer::singleShot(300, [] {
      printf("ready\n");
      fflush(stdout);
    });
  }

  void mouseMoveEvent(QMouseEvent* event) override {
    if (!event->buttons().testFlag(Qt::LeftButton)) return;
    auto* drag = new QDrag(this);
    auto* mimeData = new QMimeData;
    if (uris_.startsWith("text:")) {
      mimeData->setText(QString::fromUtf8(uris_.mid(5)));
    } else {
      mimeData->setData("text/uri-list", uris_);
    }
    drag->setMimeData(mimeData);
    const Qt::DropAction action = drag->exec(Qt::CopyAction | Qt::MoveAction, Qt::MoveAction);
    printf("dropped %d\n", static_cast<int>(action));
    fflush(stdout);
  }

 private:
  QByteArray uris_;
  bool isReady_ = false;
};

}  // namespace

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  QFile file(argv[1]);
  if (argc != 2 || !file.open(QIODevice::ReadOnly)) return 2;
  Source source(file.readAll());
  source.show();
  return QApplication::exec();
}
