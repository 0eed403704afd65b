#include "src/visualizer/KIPictureMask.h"

#include <Kova/KovaOptions.h>

#include "platform/uikit/UITextField.h"
#include "src/autocapture/UIResponder+KovaIgnore.h"

using namespace platform;

namespace {

constexpr unsigned kHidingRules =
    kKovaIgnoreRuleIgnore | kKovaIgnoreRuleRedactText | kKovaIgnoreRuleRedactAccessibilityLabel;

bool isForPasswords(UIView& view) {
  return view.isKindOfClass(UITextField::classObject()) &&
         static_cast<UITextField&>(view).hasBeenSecureTextEntry();
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
