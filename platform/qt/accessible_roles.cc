#include "platform/qt/accessible_roles.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QString>

#include "platform/qt/artwork_view.h"
#include "platform/qt/busy_indicator.h"

namespace tessary {
namespace {

class BusyIndicatorInterface : public QAccessibleWidget {
 public:
  explicit BusyIndicatorInterface(BusyIndicator* indicator)
      : QAccessibleWidget(indicator, QAccessible::ProgressBar) {}

  QAccessible::State state() const override {
    QAccessible::State state = QAccessibleWidget::state();
    state.busy = widget()->isVisible();
    return state;
  }
};

// Returns null for all other objects, which get their interface from Qt.
QAccessibleInterface* MakeInterface(const QString& /*className*/, QObject* object) {
  if (auto* indicator = dynamic_cast<BusyIndicator*>(object)) {
    return new BusyIndicatorInterface(indicator);
  }
  if (auto* artwork = dynamic_cast<ArtworkView*>(object)) {
    return new QAccessibleWidget(artwork, QAccessible::StaticText);
  }
  return nullptr;
}

}  // namespace

void InstallAccessibleRoles() {
  QAccessible::removeFactory(MakeInterface);
  QAccessible::installFactory(MakeInterface);
}

}  // namespace tessary
