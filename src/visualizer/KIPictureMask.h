#pragma once

#include <optional>

#include "platform/uikit/CoveredViews.h"
#include "src/core/Threads.h"

class KovaOptions;

// While one lives, pictures leave out what the capture leaves out, if the options want it so: what is ignored
// or redacted, by the rules of a touch there; what lies inside a view that hides its inner hierarchy; fields
// for passwords, also when the user has them shown.
class KIPictureMask {
 public:
  explicit KIPictureMask(const KovaOptions& options) KOVA_ON_MAIN_THREAD;

 private:
  std::optional<platform::CoveredViews> covered_;
};
