#pragma once

#include <memory>
#include <string>

#include "platform/foundation/Value.h"
#include "platform/runtime/NSObject.h"

namespace platform {
class UIViewController;
}

// What a hierarchy of view controllers remembers of the pageview that it produced last. Immutable; kept by
// the root of the hierarchy, and gone with it.
class KovaAttachedPageviewData : public platform::NSObject {
  NS_OBJECT(KovaAttachedPageviewData, NSObject)

 public:
  KovaAttachedPageviewData(std::string sessionId, platform::Dictionary pageviewInfo,
                           std::weak_ptr<platform::UIViewController> sourceViewController)
      : sessionId_(std::move(sessionId)),
        pageviewInfo_(std::move(pageviewInfo)),
        sourceViewController_(std::move(sourceViewController)) {}

  // The session at the time of the pageview.
  const std::string& sessionId() const { return sessionId_; }
  // With id and timestamp.
  const platform::Dictionary& pageviewInfo() const { return pageviewInfo_; }
  // The controller whose appearance it was; null once that is gone.
  std::shared_ptr<platform::UIViewController> sourceViewController() const {
    return sourceViewController_.lock();
  }

 private:
  const std::string sessionId_;
  const platform::Dictionary pageviewInfo_;
  const std::weak_ptr<platform::UIViewController> sourceViewController_;
};
