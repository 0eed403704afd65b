#pragma once

#include <Kova/KovaQt.h>

class QByteArray;
class QWidget;
namespace platform {
class UIView;
}

// What an app says of its widgets, by dynamic properties and by class. Main thread.
namespace kovaqt {

// One of the properties of KovaQt.h was set or taken away; any other name is left alone.
void applyProperty(QWidget& widget, const QByteArray& name);
// A view was made for the widget, or has got a controller: does with both what the widget's own properties
// say, and the rules of its classes where those say nothing.
void applyRules(QWidget& widget, platform::UIView& view);
void setClassRule(const QString& className, KovaQtRule rule, bool holds);

}  // namespace kovaqt
