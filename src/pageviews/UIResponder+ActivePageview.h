#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/foundation/Value.h"
#include "src/core/Threads.h"
#include "src/pageviews/KovaAttachedPageviewData.h"

namespace platform {
class UIResponder;
class UIViewController;
}  // namespace platform

// Which pageview an object on the screen belongs to. An app can show several windows and scenes at once, so
// there is no one current pageview: each hierarchy of view controllers keeps, on its root, the last one that
// it produced, and every view, controller and window finds it from where it is.

// What the app sees of a pageview of this session; null and nothing when the responder belongs to none, or to
// one of an earlier session.
std::shared_ptr<KovaAttachedPageviewData> _KOVA_scopedAttachedPageviewDataWithCurrentSessionId(
    platform::UIResponder& responder, const std::string& sessionId) KOVA_ON_MAIN_THREAD;
std::optional<platform::Dictionary> KOVA_scopedPageviewInfoWithCurrentSessionId(
    platform::UIResponder& responder, const std::string& sessionId) KOVA_ON_MAIN_THREAD;
// Whose appearance produced the pageview.
std::shared_ptr<platform::UIViewController> KOVA_sourceViewControllerForPageviewWithCurrentSessionId(
    platform::UIResponder& responder, const std::string& sessionId) KOVA_ON_MAIN_THREAD;

// What the controller's hierarchy, or else the one that presented it, keeps, of whatever session.
std::shared_ptr<KovaAttachedPageviewData> KOVA_scopedAttachedPageviewData(
    const platform::UIViewController& controller) KOVA_ON_MAIN_THREAD;
// Whose appearance produced that, if it was in another session than this.
std::shared_ptr<platform::UIViewController>
KOVA_sourceViewControllerForPageviewWithSessionIdOtherThanCurrentSessionId(
    const platform::UIViewController& controller, const std::string& sessionId) KOVA_ON_MAIN_THREAD;

// Lets the controller's hierarchy keep the pageview, in place of the one before. The source is the controller
// itself unless another is given.
void KOVA_setScopedPageviewInfo(const std::shared_ptr<platform::UIViewController>& controller,
                                platform::Dictionary info, std::string sessionId) KOVA_ON_MAIN_THREAD;
void KOVA_setScopedPageviewInfo(const std::shared_ptr<platform::UIViewController>& controller,
                                platform::Dictionary info, std::string sessionId,
                                const std::shared_ptr<platform::UIViewController>& sourceViewController)
    KOVA_ON_MAIN_THREAD;
