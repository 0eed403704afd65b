#pragma once

namespace platform {

// A parameter that only T can make, written {} at the call: a public function that takes one is T's to call.
//
//   void setViewController(Passkey<UIViewController>, UIViewController* controller);
template <typename T>
class Passkey {
  friend T;
  Passkey() {}
};

}  // namespace platform
