#include "src/visualizer/KIPictureMask.h"

#include <Kova/KovaOptions.h>

#include <memory>

#include "platform/uikit/UITextField.h"
#include "src/autocapture/UIResponder+KovaIgnore.h"

using namespace platform;

namespace {

constexpr unsigned kHidingRules =
    kKovaIgnoreRuleIgnore | kKovaIgnoreRuleRedactText | kKovaIgnoreRuleRedactAccessibilityLabel;
constexpr char kWasSecureKey = 0;  // its address is the key

bool isForPasswords(UIView& view) {
  if (!view.isKindOfClass(UITextField::classObject())) return false;
  if (associatedObject(view, &kWasSecureKey)) return true;
  if (!static_cast<const UITextField&>(view).isSecureTextEntry()) return false;
  setAssociatedObject(view, &kWasSecureKey, std::make_shared<NSObject>());
  return true;
}

ViewCover coverOf(UIView& view) KOVA_ON_MAIN_THREAD {
  const unsigned rules =
      KOVA_findCombinedIgnoreRules(&view, kKovaIgnoreRuleIgnore) | KOVA_ownLabelRules(view);
  if ((rules & kHidingRules) != 0 || isForPasswords(view)) return ViewCover::Whole;
  return kovaIgnoreInnerHierarchy(view) ? ViewCover::Inside : ViewCover::None;
}

}  // namespace

KIPictureMask::KIPictureMask(const KovaOptions& options) {
  if (options.maskedPictures()) covered_.emplace(coverOf);
}
