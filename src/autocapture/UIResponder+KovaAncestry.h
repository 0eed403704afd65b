#pragma once

#include "platform/foundation/Value.h"
#include "platform/graphics/CGGeometry.h"

class KICaptureContext;
namespace platform {
class UIResponder;
}

// One node of an ancestry: what the responder is known by. `ignoreRules` are the rules of the responders
// after it in the chain; those of its own are added to them. Main thread.
platform::Dictionary KOVA_autocaptureAncestryMetadata(platform::UIResponder& responder,
                                                      const KICaptureContext& context,
                                                      bool captureBoundingBox, unsigned& ignoreRules);

// In window coordinates; the null rectangle for what is no view.
platform::CGRect KOVA_autocaptureBoundingBox(const platform::UIResponder& responder);
