#pragma once

// How many steps a walk along responders, parents or presented controllers takes at most. No real hierarchy
// is near it; but a host that closes one into a circle must not hang its app in the library.
inline constexpr int kHierarchyStepLimit = 10'000;
