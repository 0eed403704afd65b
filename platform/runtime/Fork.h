#pragma once

namespace platform {

// Called in every child that the process forks from now on, before fork() returns there. The child has no
// other thread, and locks that another held stay locked, so that the handler takes none. Any thread.
void runInForkedChildren(void (*handler)());

}  // namespace platform
