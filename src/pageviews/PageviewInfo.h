#pragma once

#include <string>

#include "platform/foundation/Value.h"
#include "src/core/Threads.h"

class KovaOptions;
namespace platform {
class UIViewController;
}

namespace kova {

// What a pageview tells of a controller: class, title and how assistive technology knows it, and what the app
// says instead or besides. Without time and id.
platform::Dictionary pageviewInfoForViewController(platform::UIViewController& controller,
                                                   const KovaOptions& options) KOVA_ON_MAIN_THREAD;
// A copy with the present time and a fresh id.
platform::Dictionary applyTimestampAndIdToPageviewInfo(const platform::Dictionary& pageviewInfo);
// Lines for the debug log.
std::string descriptionOfPageviewInfo(const platform::Dictionary& pageviewInfo);

}  // namespace kova
