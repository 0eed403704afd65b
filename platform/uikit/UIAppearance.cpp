#include "platform/uikit/UIAppearance.h"

namespace platform {

UIAppearance& UIAppearance::shared() {
  static UIAppearance& appearance = *new UIAppearance;
  return appearance;
}

}  // namespace platform
