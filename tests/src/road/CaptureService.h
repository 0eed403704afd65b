#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/Value.h"
#include "tests/src/road/ChildProcess.h"

// The capture service of tools/, running as a child process of the test.
class CaptureService {
 public:
  using Records = std::vector<platform::Dictionary>;

  // Listens when it has returned.
  CaptureService() { start("0"); }

  const std::string& url() const { return url_; }

  // What was received at an endpoint ("" stands for all), oldest first, once there are that many records;
  // fails the test when they do not come within 30 s.
  Records records(std::string_view endpoint, std::size_t atLeast = 0) const;
  // The messages among them.
  std::vector<platform::Dictionary> messages(std::size_t atLeast = 0) const;

  // A setting as the service takes it: R"({"mode":"silent","endpoint":"track"})".
  void behave(const std::string& setting) const;

  // Nobody listens at the URL any more, until resume() starts a service there that remembers nothing.
  void stop();
  void resume();

 private:
  void start(const std::string& port);
  platform::Value request(const std::string& path,
                          const std::optional<std::string>& body = std::nullopt) const;

  std::optional<ChildProcess> process_;
  std::string url_;
};
