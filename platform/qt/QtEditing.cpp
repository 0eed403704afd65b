#include "platform/qt/QtEditing.h"

#include <QDateTimeEdit>
#include <QDoubleSpinBox>
#include <QKeySequenceEdit>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QSpinBox>
#include <QTextEdit>

#include "platform/foundation/NSNotificationCenter.h"
#include "platform/qt/QtGuard.h"
#include "platform/qt/QtProxies.h"
#include "platform/qt/QtTouches.h"
#include "platform/qt/QtTree.h"
#include "platform/qt/QtWidgetKinds.h"
#include "platform/uikit/UITextField.h"

namespace platform {

QtEditing& QtEditing::shared() {
  static QtEditing& editing = *new QtEditing;
  return editing;
}

void QtEditing::watch(QWidget& widget) {
  QWidget* const sender = &widget;
  const auto changes = [this, sender] { guardedFromQt([&] { changed(*sender); }); };
  const auto edits = [this, sender] { guardedFromQt([&] { edited(*sender); }); };
  if (auto* line = qobject_cast<QLineEdit*>(sender)) {
    QObject::connect(line, &QLineEdit::textEdited, &receiver_, edits);
  } else if (auto* text = qobject_cast<QTextEdit*>(sender)) {
    QObject::connect(text, &QTextEdit::textChanged, &receiver_, changes);
  } else if (auto* plain = qobject_cast<QPlainTextEdit*>(sender)) {
    QObject::connect(plain, &QPlainTextEdit::textChanged, &receiver_, changes);
  } else if (auto* keys = qobject_cast<QKeySequenceEdit*>(sender)) {
    // The sequence itself changes when the editor has been left, or after a while.
    const auto* const shown = keys->findChild<QLineEdit*>();
    if (shown) QObject::connect(shown, &QLineEdit::textChanged, &receiver_, changes);
  } else if (auto* number = qobject_cast<QSpinBox*>(sender)) {
    QObject::connect(number, &QSpinBox::valueChanged, &receiver_, changes);
  } else if (auto* real = qobject_cast<QDoubleSpinBox*>(sender)) {
    QObject::connect(real, &QDoubleSpinBox::valueChanged, &receiver_, changes);
  } else if (auto* date = qobject_cast<QDateTimeEdit*>(sender)) {
    QObject::connect(date, &QDateTimeEdit::dateTimeChanged, &receiver_, changes);
  }
}

void QtEditing::changed(QWidget& widget) {
  QWidget& editor = shownWidget(widget);
  if (QtTouches::shared().isInput() && isInputOf(editor)) edited(widget);
}

// Also what comes from the menu or the calendar that the editor opens, which has the focus meanwhile.
bool QtEditing::isInputOf(QWidget& editor) const {
  if (!inputTarget_ || (!editor.hasFocus() && inputTarget_->window() == editor.window())) return false;
  QWidget* each = &shownWidget(*inputTarget_);
  while (each && each != &editor) each = shownParent(*each);
  return each;
}

void QtEditing::edited(QWidget& widget) {
  QWidget& shown = shownWidget(widget);
  if (kindOf(shown).presentation == QtPresentation::TextField) edited_ = &shown;
}

void QtEditing::focusLeft(QWidget& widget, Qt::FocusReason reason) {
  const bool comesBack = reason == Qt::ActiveWindowFocusReason || reason == Qt::PopupFocusReason ||
                         reason == Qt::MenuBarFocusReason;
  if (edited_ && !comesBack) endIn(widget);
}

void QtEditing::returnPressed(QWidget& widget) {
  if (edited_ && !qobject_cast<QTextEdit*>(edited_.data()) &&
      !qobject_cast<QPlainTextEdit*>(edited_.data())) {
    endIn(widget);
  }
}

void QtEditing::hidden(QWidget& widget) {
  if (edited_ && (&widget == edited_ || widget.isAncestorOf(edited_))) endIn(*edited_);
}

void QtEditing::endIn(QWidget& widget) {
  QWidget& shown = shownWidget(widget);
  if (edited_ != &shown) return;
  edited_.clear();
  NSNotificationCenter::defaultCenter().post(UITextFieldTextDidEndEditingNotification,
                                             QtProxies::shared().viewOf(shown));
}

}  // namespace platform
