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
// A view was made for the widget: does with it what the rules of its classes, and then its own properties,
// say.
void applyRules(QWidget& widget, platform::UIView& view);
void setClassRule(const QString& className, KovaQtRule rule, bool holds);

}  // namespace kovaqt
