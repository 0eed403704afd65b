#include "src/visualizer/KovaEventVisualizerContext.h"

#include <Kova/KovaOptions.h>

#include "platform/foundation/Base64.h"
#include "platform/uikit/UIView.h"
#include "src/autocapture/KICaptureContext.h"
#include "src/visualizer/KIScreenshot.h"

using namespace platform;

namespace {

String encoded(const Image& image) { return base64EncodedString(image.PNGRepresentation()); }

}  // namespace

std::shared_ptr<const KovaEventVisualizerContext> KovaEventVisualizerContext::create(
    UIView* view, const KICaptureContext& tracker, const KovaOptions& options) {
  const auto quality =
      options.useFastEVScreenshotCapture() ? KIScreenshot::Quality::Fast : KIScreenshot::Quality::High;
  const bool withPictures = !options.testOnlyOmitEVScreenshots();
  const std::shared_ptr<KovaEventVisualizerContext> context(new KovaEventVisualizerContext);
  if (withPictures) context->fullImage_ = KIScreenshot::captureScreenWithHighQuality(quality);
  if (!view) return context->fullImage_ ? context : nullptr;
  if (withPictures) context->croppedImage_ = KIScreenshot::captureView(*view, quality);
  context->viewAncestry_ =
      KIViewAncestry::captureFromView(*view, tracker, KIViewAncestry::BoundingBoxes::Capture);
  return context;
}

Dictionary KovaEventVisualizerContext::transmittableDictionary() const {
  return dictionaryWith(croppedImage_.get(), fullImage_.get());
}

Dictionary KovaEventVisualizerContext::transmittableDictionaryWithoutPictures() const {
  return viewAncestry_ ? dictionaryWith(nullptr, nullptr) : Dictionary();
}

Dictionary KovaEventVisualizerContext::dictionaryWith(const Image* crop, const Image* screen) const {
  MutableDictionary entries{{"image_format", "png"}, {"image_encoding", "base64"}};
  if (crop) {
    entries.append("image_data", encoded(*crop));
    if (screen) entries.append("full_image_data", encoded(*screen));
  } else if (screen) {
    entries.append("image_data", encoded(*screen));
  }
  if (viewAncestry_) entries.append("view_ancestry", viewAncestry_->transmittableDictionary());
  return Dictionary(std::move(entries));
}
