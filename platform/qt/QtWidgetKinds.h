#pragma once

#include <QWidget>
#include <optional>

#include "platform/foundation/String.h"

namespace platform {

// As which kind of the platform's views a widget is shown.
enum class QtPresentation { View, Label, Button, Control, Segments, TextField, Items, Actions, Scene };

// What is said of all widgets of one kind. Kinds are constants.
struct QtWidgetKind {
  QtPresentation presentation = QtPresentation::View;
  // What lies inside is part of the widget, and no view of its own.
  bool hidesInner = false;
  // What is written on it; never what a user wrote into it. Null for nothing.
  std::optional<String> (*text)(const QWidget& widget) = nullptr;
  // What assistive technology reads, unless the app gave the widget a name. Null for nothing.
  std::optional<String> (*label)(const QWidget& widget) = nullptr;

  bool isLeaf() const { return presentation != QtPresentation::View || hidesInner; }
};

// The kind of the nearest class that has one. An editable combo box is a text field, any other a button.
const QtWidgetKind& kindOf(const QWidget& widget);
// Whether it is an editor that does not show what is written in it, or whose app says that it is sensitive.
bool isForPasswords(const QWidget& widget);

}  // namespace platform
