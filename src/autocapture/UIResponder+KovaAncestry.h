#pragma once

#include "platform/foundation/Value.h"
#include "platform/graphics/CGGeometry.h"
#include "src/core/Threads.h"

class KICaptureContext;
namespace platform {
class UIResponder;
}

// One node of an ancestry: what the responder is known by. `ignoreRules` are the rules of the responders
// after it in the chain; those of its own are added to them.
platform::Dictionary KOVA_autocaptureAncestryMetadata(platform::UIResponder& responder,
                                                      const KICaptureContext& context,
                                                      bool captureBoundingBox,
                                                      unsigned& ignoreRules) KOVA_ON_MAIN_THREAD;

// In window coordinates; the null rectangle for what is no view.
platform::CGRect KOVA_autocaptureBoundingBox(const platform::UIResponder& responder) KOVA_ON_MAIN_THREAD;
