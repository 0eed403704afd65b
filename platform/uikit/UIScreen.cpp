#include "platform/uikit/UIScreen.h"

namespace platform {

UIScreen& UIScreen::mainScreen() {
  static UIScreen& screen = *new UIScreen;
  return screen;
}

}  // namespace platform
