#pragma once

#include <Kova/KovaQt.h>

class QByteArray;
class QObject;
namespace platform {
class UIView;
}

// What an app says of its widgets, by dynamic properties and by class, and of its actions, by properties
// alone. Main thread.
namespace kovaqt {

// One of the properties of KovaQt.h was set or taken away, on a widget or an action; any other name is left
// alone.
void applyProperty(QObject& object, const QByteArray& name);
// A view was made for the widget or the action, or has got a controller: does with both what the object's own
// properties say, and the rules of its classes where those say nothing.
void applyRules(QObject& object, platform::UIView& view);
void setClassRule(const QString& className, KovaQtRule rule, bool holds);

}  // namespace kovaqt
