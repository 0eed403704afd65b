#pragma once

class QByteArray;
class QWidget;

// What an app says of its widgets by dynamic properties. Main thread.
namespace kovaqt {

// One of the properties of KovaQt.h was set or taken away; any other name is left alone.
void applyProperty(QWidget& widget, const QByteArray& name);
// Dialogs that show the user's own files and printers tell no texts.
void redactUsersOwnDialogs(QWidget& window);

}  // namespace kovaqt
