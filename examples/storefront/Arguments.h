#pragma once

#include <optional>
#include <string>

#include "platform/foundation/NSURL.h"

// What the program was asked to do.
struct Arguments {
  std::string environment = "1234567890";
  std::optional<platform::NSURL> captureUrl;     // none: Kova's own
  std::optional<platform::NSURL> visualizerUrl;  // none: Kova's own
  std::optional<platform::NSURL> openedUrl;      // the link that opened the app
  std::string dataDirectory;                     // empty: the user's own folders
  bool window = false;
  bool tablet = false;
  bool dark = false;
  bool unmasked = false;
  double pause = 0;  // seconds between the steps of the story, beside what Kova needs

  // Ends the program with status 2 and a line on standard error when it cannot be understood, and with status
  // 0 when help was asked for.
  static Arguments parse(int argc, char** argv);
};
