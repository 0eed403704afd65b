#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/Value.h"
#include "tests/src/road/ChildProcess.h"

// The host program road-host as a child process, with the library started. Its commands are those of its
// source file.
class RoadHost {
 public:
  struct Settings {
    // Without one, the host has no install or upgrade to report.
    std::string version = {};
    // Without it there is no pageview, and no event is sent.
    bool hasPageview = true;
    bool isOnline = true;
  };

  // The service's URL and the folder of the host's data.
  RoadHost(const std::string& url, const std::string& data, const Settings& settings);

  // The answer to a command, which has been carried out when this returns, on all queues.
  platform::Value call(std::string_view command, const platform::Array& arguments = {});

  // Reads on until the library has logged a line that contains the text. Lines are used up: a later call
  // waits for a later line.
  void waitForLog(std::string_view text);

  // Both fail the test when the process ends in another way. Leave while uploads may be in flight; kill -9.
  void exit();
  void kill();

 private:
  ChildProcess process_;
  std::vector<std::string> log_;
};
