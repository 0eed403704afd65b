#include "src/visualizer/KovaEventVisualizerContext.h"

#include <Kova/KovaOptions.h>

#include <utility>

#include "platform/uikit/UIView.h"
#include "src/autocapture/KICaptureContext.h"
#include "src/visualizer/KIPictureEncoder.h"
#include "src/visualizer/KIPictureMask.h"
#include "src/visualizer/KIScreenshot.h"

using namespace platform;

std::shared_ptr<const KovaEventVisualizerContext> KovaEventVisualizerContext::create(
    UIView* view, const KICaptureContext& tracker, const KovaOptions& options) {
  const auto quality =
      options.useFastEVScreenshotCapture() ? KIScreenshot::Quality::Fast : KIScreenshot::Quality::High;
  const bool withPictures = !options.testOnlyOmitEVScreenshots();
  const KIPictureMask mask(options);
  const std::shared_ptr<KovaEventVisualizerContext> context(new KovaEventVisualizerContext);
  if (withPictures) context->fullImage_ = KIScreenshot::captureScreenWithHighQuality(quality);
  if (!view) return context->fullImage_ ? context : nullptr;
  if (withPictures) context->croppedImage_ = KIScreenshot::captureView(*view, quality);
  context->viewAncestry_ =
      KIViewAncestry::captureFromView(*view, tracker, KIViewAncestry::BoundingBoxes::Capture);
  return context;
}

// The screen first: a view that fills it has the same picture.
Dictionary KovaEventVisualizerContext::transmittableDictionary(KIPictureEncoder& encoder) const {
  Picture screen, crop;
  if (fullImage_) screen = encoder.encodedScreen(fullImage_);
  if (croppedImage_) crop = encoder.encoded(*croppedImage_);
  return dictionaryWith(std::move(crop), std::move(screen));
}

Dictionary KovaEventVisualizerContext::transmittableDictionaryWithoutPictures() const {
  return viewAncestry_ ? dictionaryWith(std::nullopt, std::nullopt) : Dictionary();
}

Dictionary KovaEventVisualizerContext::dictionaryWith(Picture crop, Picture screen) const {
  MutableDictionary entries{{"image_format", "png"}, {"image_encoding", "base64"}};
  if (crop) {
    entries.append("image_data", std::move(*crop));
    if (screen) entries.append("full_image_data", std::move(*screen));
  } else if (screen) {
    entries.append("image_data", std::move(*screen));
  }
  if (viewAncestry_) entries.append("view_ancestry", viewAncestry_->transmittableDictionary());
  return Dictionary(std::move(entries));
}
