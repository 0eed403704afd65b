#pragma once

#include <QObject>
#include <QPointer>
#include <QWidget>

namespace platform {

// Tells when an edit has ended: the focus goes to another widget, Return is pressed in a single line, or the
// editor is hidden, and something was changed in it. What was typed is never read. Main thread only.
class QtEditing {
 public:
  static QtEditing& shared();

  // Once for each widget.
  void watch(QWidget& widget);
  // What the user does goes to this widget; null for one that is no widget's.
  void inputComes(QWidget* widget) { inputTarget_ = widget; }
  QWidget* inputTarget() const { return inputTarget_; }
  void focusLeft(QWidget& widget, Qt::FocusReason reason);
  void returnPressed(QWidget& widget);
  void hidden(QWidget& widget);

 private:
  void edited(QWidget& widget);
  // What changes without the user is no editing.
  void changed(QWidget& widget);
  bool isInputOf(QWidget& editor) const;
  void endIn(QWidget& widget);

  QObject receiver_;
  QPointer<QWidget> edited_;  // null for none
  QPointer<QWidget> inputTarget_;
};

}  // namespace platform
