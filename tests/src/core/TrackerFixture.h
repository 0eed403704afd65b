#pragma once

#include <gmock/gmock.h>

#include <functional>
#include <regex>
#include <string>
#include <string_view>
#include <vector>

#include "src/core/KovaLogger.h"
#include "tests/support/Json.h"
#include "tests/support/SimulatedDevice.h"

// A device, and short words for what the library on it logs, stores and sends.
class TrackerTest : public testing::Test {
 protected:
  // The debug lines of the call and of the work that it queues.
  std::vector<std::string> linesOf(const std::function<void()>& call) {
    KovaLogger::sharedInstance().setLogLevel(kKovaLogLevelDebug);
    device.clearLog();
    call();
    device.drain();
    return device.log();
  }
  std::size_t storedCount(std::string_view key) const {
    const auto stored = device.stored(key);
    return stored ? stored->array().size() : 0;
  }
  std::string storedText(std::string_view key) const {
    const auto stored = device.stored(key);
    if (!stored) return "(nothing)";
    return stored->isString() ? stored->description() : json(*stored);
  }

  platform::Dictionary lastMessage() const { return device.receivedMessages().back(); }
  // Names of custom events, and kinds of others.
  std::vector<std::string> sentEvents() const {
    std::vector<std::string> names;
    for (const platform::Dictionary& message : device.receivedMessages()) {
      const platform::Value name = at(message, "event/customEvent/type");
      const auto& event = message.find("event")->dictionary();
      names.push_back((name.isString() ? name : platform::Value(event.begin()->first)).description());
    }
    return names;
  }
  // The value of a parameter in what was got at that path.
  std::vector<std::string> sentParameters(std::string_view path, const std::string& name) const {
    std::vector<std::string> values;
    for (const std::string& target : device.receivedTargets(path)) {
      std::smatch match;
      std::regex_search(target, match, std::regex("&" + name + "=([^&]*)"));
      values.push_back(match[1]);
    }
    return values;
  }

  SimulatedDevice device;
};
