#pragma once

#include <QEvent>
#include <QWidget>
#include <optional>

class QAbstractItemView;
class QComboBox;

namespace platform {

// A signal that is about to be sent.
struct QtChoice {
  QObject& sender;
  const char* signature;
};

// What the widget will say when it has got the event, as far as that can be told: a button, what is chosen
// in a menu, a list or a combo box, a link that is followed, a slider that is let go. Main thread only.
std::optional<QtChoice> choiceBy(QWidget& widget, const QEvent& event);

// The combo box that the list belongs to, and which speaks for it; null for any other.
QComboBox* boxOf(const QAbstractItemView& list);

}  // namespace platform
