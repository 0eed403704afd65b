#include "tests/src/road/RoadHost.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>

#include "platform/foundation/NSJSONSerialization.h"

using namespace platform;

RoadHost::RoadHost(const std::string& url, const std::string& data, const Settings& settings)
    : process_({ROAD_HOST, url, data, settings.version}) {
  if (!settings.isOnline) call("online", {false});
  call("start", {settings.hasPageview ? "synthetic pageview" : "no pageview"});
}

Value RoadHost::call(std::string_view command, const Array& arguments) {
  std::vector<Value> words{command};
  words.insert(words.end(), arguments.begin(), arguments.end());
  process_.writeLine(NSJSONSerialization::dataWithJSONObject(Array(std::move(words))).value());
  for (;;) {
    std::string line = process_.readLine();
    if (line.starts_with("= ")) return NSJSONSerialization::JSONObjectWithData(line.substr(2)).value();
    log_.push_back(std::move(line));
  }
}

void RoadHost::waitForLog(std::string_view text) {
  const auto found = std::find_if(log_.begin(), log_.end(), [&](const std::string& line) {
    return line.find(text) != std::string::npos;
  });
  const bool isThere = found != log_.end();
  log_.erase(log_.begin(), isThere ? found + 1 : found);
  while (!isThere && process_.readLine().find(text) == std::string::npos) {
  }
}

void RoadHost::exit() {
  process_.writeLine(R"(["exit"])");
  EXPECT_EQ(process_.wait(), 0);
}

void RoadHost::kill() {
  process_.kill(SIGKILL);
  EXPECT_EQ(process_.wait(), -SIGKILL);
}
