#pragma once

#include <memory>
#include <optional>

#include "platform/foundation/Value.h"
#include "platform/graphics/Image.h"
#include "platform/runtime/NSObject.h"
#include "src/autocapture/KIViewAncestry.h"
#include "src/core/Threads.h"

class KICaptureContext;
class KIPictureEncoder;
class KovaOptions;
namespace platform {
class UIView;
}

// What was on the screen at the moment of an event: pictures and the ancestry of the event's view.
//
// Immutable, and kept until it is encoded.
class KovaEventVisualizerContext : public platform::NSObject {
  NS_OBJECT(KovaEventVisualizerContext, NSObject)

 public:
  // Captures the whole screen, and the view unless it is null. Null when there is neither a view nor a
  // picture.
  static std::shared_ptr<const KovaEventVisualizerContext> create(
      platform::UIView* view, const KICaptureContext& tracker,
      const KovaOptions& options) KOVA_ON_MAIN_THREAD;

  // Each may be null.
  const std::shared_ptr<const platform::Image>& croppedImage() const { return croppedImage_; }
  const std::shared_ptr<const platform::Image>& fullImage() const { return fullImage_; }
  const std::shared_ptr<const KIViewAncestry>& viewAncestry() const { return viewAncestry_; }

  // What is sent. Encodes the pictures, which takes milliseconds: not for the main thread.
  platform::Dictionary transmittableDictionary(KIPictureEncoder& encoder) const;
  // As if no picture had been taken.
  platform::Dictionary transmittableDictionaryWithoutPictures() const;

 private:
  KovaEventVisualizerContext() = default;

  using Picture = std::optional<platform::String>;  // as it is sent
  platform::Dictionary dictionaryWith(Picture crop, Picture screen) const;

  std::shared_ptr<const platform::Image> croppedImage_;
  std::shared_ptr<const platform::Image> fullImage_;
  std::shared_ptr<const KIViewAncestry> viewAncestry_;
};
