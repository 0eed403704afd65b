// A host of the core alone, which asks for what the core has not: nothing is drawn, text takes no room, and a
// line says that there is no pairing.

#include <Kova/Kova.h>

#include <algorithm>
#include <iostream>
#include <string>
#include <vector>

#include "platform/foundation/SystemLog.h"
#include "platform/graphics/BitmapContext.h"
#include "platform/linux/LinuxApplication.h"

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  std::vector<std::string> log;
  platform::SystemLog::setSink([&](std::string_view line) { log.emplace_back(line); });
  platform::startLinuxApplication(
      {.applicationName = "Core", .applicationIdentifier = "io.kova.core", .rootDirectory = argv[1]}, {});
  Kova::initialize("1234");
  Kova::track("Installed");
  Kova::startEVPairing();
  platform::SystemLog::setSink(nullptr);
  const auto says = [](const std::string& line) { return line.find("device pairing is not") != line.npos; };
  const bool isRefused = std::count_if(log.begin(), log.end(), says) == 1;
  const bool isBlind = platform::sizeOfText("Core", platform::Font{}) == platform::CGSize{} &&
                       platform::BitmapContext({2, 2}, 1).makeImage()->PNGRepresentation().empty();
  if (isRefused && isBlind) return 0;
  std::cerr << "core-consumer: refused " << isRefused << ", blind " << isBlind << "\n";
  return 1;
}
