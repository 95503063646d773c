#include "platform/qt/control.h"

#include <QCheckBox>
#include <QComboBox>
#include <QSizePolicy>
#include <QString>
#include <string>

#include "platform/qt/elided_label.h"
#include "platform/qt/pump.h"

namespace tessary {
namespace {

// A control without a text or a value; the base of those that have one.
class WidgetControl : public Control {
 public:
  // A hidden widget keeps its space, so that hiding it does not move the others.
  explicit WidgetControl(QWidget* widget) : widget_(widget) {
    QSizePolicy policy = widget->sizePolicy();
    policy.setRetainSizeWhenHidden(true);
    widget->setSizePolicy(policy);
  }

  void SetText(const std::string& /*text*/) override {}

  // Leaves what cannot be seen to the next frame: a run changes a text for each item.
  void Draw() override {
    if (!widget_->isVisible() || !IsFrameDue()) return;
    widget_->repaint();
    FlushToDisplay();
  }

  void SetVisible(bool isVisible) override {
    if (widget_->isHidden() == !isVisible) return;
    widget_->setVisible(isVisible);
    // Qt schedules the painting of a shown widget by a posted event, which the pump does not
    // deliver.
    widget_->update();
    if (widget_->window()->isVisible()) PumpWindows();
  }

  void SetEnabled(bool isEnabled) override { widget_->setEnabled(isEnabled); }
  void SetValue(int32_t /*value*/) override {}
  int32_t GetValue() const override { return 0; }

 private:
  QWidget* widget_;
};

class TextControl : public WidgetControl {
 public:
  explicit TextControl(ElidedLabel* label) : WidgetControl(label), label_(label) {}

  void SetText(const std::string& text) override {
    label_->SetPlainText(QString::fromStdString(text));
  }

 private:
  ElidedLabel* label_;
};

class CheckBoxControl : public WidgetControl {
 public:
  explicit CheckBoxControl(QCheckBox* box) : WidgetControl(box), box_(box) {}

  void SetValue(int32_t value) override { box_->setChecked(value != 0); }
  int32_t GetValue() const override { return box_->isChecked() ? 1 : 0; }

 private:
  QCheckBox* box_;
};

class PopUpControl : public WidgetControl {
 public:
  explicit PopUpControl(QComboBox* menu) : WidgetControl(menu), menu_(menu) {}

  // Shows no item if there is none of that number.
  void SetValue(int32_t value) override {
    const bool isItem = value >= 1 && value <= menu_->count();
    menu_->setCurrentIndex(isItem ? value - 1 : -1);
  }
  int32_t GetValue() const override { return menu_->currentIndex() + 1; }

 private:
  QComboBox* menu_;
};

}  // namespace

std::unique_ptr<Control> MakeControl(QWidget* widget) {
  if (auto* label = dynamic_cast<ElidedLabel*>(widget)) return std::make_unique<TextControl>(label);
  if (auto* box = qobject_cast<QCheckBox*>(widget)) return std::make_unique<CheckBoxControl>(box);
  if (auto* menu = qobject_cast<QComboBox*>(widget)) return std::make_unique<PopUpControl>(menu);
  return std::make_unique<WidgetControl>(widget);
}

}  // namespace tessary
