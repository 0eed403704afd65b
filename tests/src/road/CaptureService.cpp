#include "tests/src/road/CaptureService.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <future>
#include <stdexcept>

#include "platform/foundation/NSJSONSerialization.h"
#include "platform/net/NSURLSession.h"

using namespace platform;

namespace {

constexpr const char* kLongestWait = "30000";  // milliseconds

}  // namespace

void CaptureService::start(const std::string& port) {
  process_.emplace(std::vector<std::string>{"node", CAPTURE_SERVICE, "--port", port});
  const std::string line = process_->readLine();
  url_ = line.substr(line.rfind(' ') + 1);
}

void CaptureService::stop() {
  process_->kill(SIGKILL);
  process_->wait();
}

void CaptureService::resume() { start(url_.substr(url_.rfind(':') + 1)); }

Value CaptureService::request(const std::string& path, const std::optional<std::string>& body) const {
  NSURLRequest request(NSURL::create(url_ + path).value());
  if (body) {
    request.setHTTPMethod("POST");
    request.setHTTPBody(std::make_shared<const std::string>(*body));
  }
  const auto answer = std::make_shared<std::promise<std::shared_ptr<const std::string>>>();
  const auto task = NSURLSession::sharedSession().dataTask(
      request, [answer](auto data, auto, const auto&) { answer->set_value(std::move(data)); });
  task->resume();
  const auto data = answer->get_future().get();
  const auto value = data ? NSJSONSerialization::JSONObjectWithData(*data) : std::nullopt;
  if (!value) throw std::runtime_error("the capture service does not answer " + path);
  return *value;
}

CaptureService::Records CaptureService::records(std::string_view endpoint, std::size_t atLeast) const {
  std::string path = "/_/records?atLeast=" + std::to_string(atLeast) + "&waitMs=" + kLongestWait;
  if (!endpoint.empty()) path += "&endpoint=" + std::string(endpoint);
  const Value answer = request(path);
  Records records;
  for (const Value& record : answer.dictionary().find("records")->array()) {
    EXPECT_EQ(*record.dictionary().find("valid"), Value(true)) << record.description();
    records.push_back(record.dictionary());
  }
  if (records.size() < atLeast) {
    throw std::runtime_error("only " + std::to_string(records.size()) +
                             " records: " + NSJSONSerialization::dataWithJSONObject(answer).value());
  }
  return records;
}

std::vector<Dictionary> CaptureService::messages(std::size_t atLeast) const {
  std::vector<Dictionary> messages;
  for (const Dictionary& record : records("track", atLeast)) {
    messages.push_back(record.find("message")->dictionary());
  }
  return messages;
}

void CaptureService::behave(const std::string& setting) const {
  const Value answer = request("/_/behaviour", setting);
  ASSERT_EQ(answer.dictionary().find("problems"), nullptr) << answer.description();
}
