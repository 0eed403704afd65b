#pragma once

#include <functional>

namespace platform {

// A piece of work handed to a queue or a run loop. It is run once and released right after it ran, on the
// thread that ran it. An exception that leaves it ends the process, as it would on a bare thread.
using Work = std::function<void()>;

}  // namespace platform
