#pragma once

namespace platform {

// Makes the classes of this layer known by name, with their selectors and replaceable methods. Called by who
// starts an app on this platform, before libraries start; a second call does nothing. Main thread.
void installUIKit();

}  // namespace platform
