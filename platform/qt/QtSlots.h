#pragma once

#include <QObject>
#include <string>

namespace platform {

// What an action is called: the slot that Qt connects by name ("on_saveButton_clicked"), where an object
// around the sender has one, else the signal ("clicked"). The signature is that of the signal; a slot may
// leave the arguments out. Main thread only.
std::string actionName(const QObject& sender, const char* signature);

}  // namespace platform
