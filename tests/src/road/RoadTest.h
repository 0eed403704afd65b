#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/src/road/CaptureService.h"
#include "tests/src/road/RoadHost.h"

// A capture service, and the folder that the hosts of one test keep their data in, one after the other.
class RoadTest : public testing::Test {
 protected:
  // Seconds between upload passes, for hosts that are not to be waited for.
  static constexpr double kBriefly = 0.05;

  RoadTest() : data_((std::filesystem::temp_directory_path() / "kova-road-XXXXXX").string()) {
    EXPECT_NE(mkdtemp(data_.data()), nullptr);
  }
  ~RoadTest() override { std::filesystem::remove_all(data_); }

  RoadHost launch(const RoadHost::Settings& settings = {}) const {
    return RoadHost(service.url(), data_, settings);
  }

  // What arrives of a host that starts on the data left behind, up to and without an event that is recorded
  // last. All that was queued before goes out ahead of it.
  std::vector<platform::Dictionary> messagesAfterRelaunch() const {
    const std::size_t before = service.messages().size();
    RoadHost host = launch();
    host.call({"track", "Last"});
    host.call({"changeInterval", kBriefly});
    std::vector<platform::Dictionary> messages;
    for (std::size_t count = before + 1; messages.empty() || nameOf(messages.back()) != "Last"; ++count) {
      messages = service.messages(count);
    }
    messages.pop_back();
    messages.erase(messages.begin(), messages.begin() + static_cast<std::ptrdiff_t>(before));
    return messages;
  }

  static std::string textAt(const platform::Dictionary& dictionary, std::string_view key) {
    const platform::Value* value = dictionary.find(key);
    return value ? value->description() : "";
  }
  // The host's name for the event of a message, or its kind.
  static std::string nameOf(const platform::Dictionary& message) {
    const auto& [kind, event] = *message.find("event")->dictionary().begin();
    const platform::Value* type = event.dictionary().find("type");
    return std::string(type ? type->text() : kind.text());
  }
  static std::vector<std::string> namesOf(const std::vector<platform::Dictionary>& messages) {
    std::vector<std::string> names;
    for (const auto& message : messages) names.push_back(nameOf(message));
    return names;
  }
  // A parameter of each pixel.
  static std::vector<std::string> parameters(const CaptureService::Records& pixels, std::string_view name) {
    std::vector<std::string> values;
    for (const auto& pixel : pixels) values.push_back(textAt(pixel.find("named")->dictionary(), name));
    return values;
  }
  static std::vector<std::string> membersOf(const CaptureService::Records& records, std::string_view name) {
    std::vector<std::string> values;
    for (const auto& record : records) values.push_back(textAt(record, name));
    return values;
  }
  static std::vector<std::string> numbers(int first, int count) {
    std::vector<std::string> texts;
    for (int i = first; i < first + count; ++i) texts.push_back(std::to_string(i));
    return texts;
  }

  CaptureService service;

 private:
  std::string data_;
};
