#include "src/autocapture/KIViewAncestry.h"

#include <Kova/KovaConstants.h>

#include <algorithm>
#include <vector>

#include "platform/uikit/UIViewController.h"
#include "src/autocapture/KICaptureContext.h"
#include "src/autocapture/UIResponder+KovaAncestry.h"
#include "src/autocapture/UIResponder+KovaIgnore.h"
#include "src/core/KIHierarchyLimit.h"
#include "src/core/NSOperationQueue+SafeOperation.h"

using namespace platform;

namespace {

constexpr std::size_t kUsualCaptureLimit = 30;

using Responders = std::vector<std::shared_ptr<UIResponder>>;

// Keeps the responder, if anyone shares it: code of the app runs before it is looked at again.
std::shared_ptr<UIResponder> kept(UIResponder* responder) {
  return {responder->weak_from_this().lock(), responder};
}

// From the view on, as many as the settings allow. Asking for accessibility elements makes the app build
// them, up to the first controller.
Responders respondersFromView(UIView& view, const KICaptureContext& context) KOVA_ON_MAIN_THREAD {
  const auto limit = std::min<std::int64_t>(context.hierarchyCaptureLimit(), kHierarchyStepLimit);
  bool prefetch = context.enableAccessibilityPrefetching();
  Responders responders;
  responders.reserve(kUsualCaptureLimit);
  for (UIResponder* responder = &view; responder && static_cast<std::int64_t>(responders.size()) < limit;
       responder = responders.back()->nextResponder()) {
    responders.push_back(kept(responder));
    if (!prefetch) continue;
    responder->accessibilityElements();
    prefetch = !responder->isKindOfClass(UIViewController::classObject());
  }
  return responders;
}

}  // namespace

std::shared_ptr<KIViewAncestry> KIViewAncestry::captureFromView(UIView& view, const KICaptureContext& context,
                                                                BoundingBoxes boundingBoxes) {
  kova::warnOffMainThread("captureFromView:tracker:captureBoundingBoxes:");
  const Responders responders = respondersFromView(view, context);
  unsigned ignoreRules = 0;
  if (KOVA_shouldCheckIgnore() && !responders.empty()) {
    ignoreRules = KOVA_findCombinedIgnoreRules(responders.back()->nextResponder(),
                                               kKovaIgnoreRuleRedactAccessibilityLabel);
  }

  // From the top down, so that the rules of an ancestor are in force for what is below it.
  const bool captureBoundingBox = boundingBoxes == BoundingBoxes::Capture;
  std::vector<Value> nodes;
  nodes.reserve(responders.size());
  for (auto responder = responders.rbegin(); responder != responders.rend(); ++responder) {
    nodes.emplace_back(
        KOVA_autocaptureAncestryMetadata(**responder, context, captureBoundingBox, ignoreRules));
  }
  return std::make_shared<KIViewAncestry>(Array(std::move(nodes)));
}

KIViewAncestry::KIViewAncestry(Array ancestry)
    : ancestry_(std::move(ancestry)), transmittableDictionary_{{"ancestry", ancestry_}} {}

std::string KIViewAncestry::description() const {
  std::string lines;
  const auto addFact = [&lines](const Dictionary& node, std::string_view key) {
    if (const Value* value = node.find(key)) {
      (((lines += "\n      > ") += key) += " : ") += value->description();
    }
  };
  for (std::size_t i = ancestry_.size(); i-- > 0;) {
    const Dictionary& node = ancestry_[i].dictionary();
    const Value* className = node.find(KovaAncestryNodePropertyClass);
    if (!lines.empty()) lines += '\n';
    (lines += "    * ") += className ? className->description() : "(null)";
    addFact(node, KovaAncestryNodePropertyAccessibilityLabel);
    addFact(node, KovaAncestryNodePropertyAccessibilityIdentifier);
  }
  return lines;
}
