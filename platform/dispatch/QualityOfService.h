#pragma once

namespace platform {

// How urgent a queue's work is.
enum class QualityOfService : int {
  Default = -1,
  Background = 9,
  Utility = 17,
  UserInitiated = 25,
  UserInteractive = 33,
};

}  // namespace platform
