#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/src/road/CaptureService.h"
#include "tests/src/road/RoadHost.h"
#include "tests/support/Json.h"

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

  // Waits until the host has had the answers to all that had arrived before: a further event and a further
  // pixel have arrived, each of which is sent after that.
  void flush(RoadHost& host) {
    const std::string name = kFlush + std::to_string(++flushes_);
    host.call("track", {name});
    host.call("addUserProperties", {{{kFlush, name}}});
    host.call("changeInterval", {kBriefly});
    for (std::vector<std::string> names; !contains(names, name);) {
      names = namesOf(service.messages(names.size() + 1));
    }
    for (CaptureService::Records pixels; !contains(parameters(pixels, kFlushParameter), name);) {
      pixels = service.records("user-properties", pixels.size() + 1);
    }
  }

  // What arrives when a host starts on the data left behind, less what a flush has recorded.
  std::vector<platform::Dictionary> messagesAfterRelaunch() {
    const std::size_t before = service.messages().size();
    RoadHost host = launch();
    flush(host);
    auto messages = service.messages();
    messages.erase(messages.begin(), messages.begin() + static_cast<std::ptrdiff_t>(before));
    std::erase_if(messages, [](const auto& message) { return nameOf(message).starts_with(kFlush); });
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
  // A parameter of each pixel that has it.
  static std::vector<std::string> parameters(const CaptureService::Records& pixels, std::string_view name) {
    std::vector<std::string> values;
    for (const auto& pixel : pixels) {
      const platform::Value* value = pixel.find("named")->dictionary().find(name);
      if (value) values.push_back(value->description());
    }
    return values;
  }
  static std::vector<std::string> membersOf(const CaptureService::Records& records, std::string_view name) {
    std::vector<std::string> values;
    for (const auto& record : records) values.push_back(textAt(record, name));
    return values;
  }

  CaptureService service;
  std::string data_;

 private:
  static constexpr const char* kFlush = "flush";
  static constexpr const char* kFlushParameter = "_flush";

  static bool contains(const std::vector<std::string>& texts, const std::string& text) {
    return std::find(texts.begin(), texts.end(), text) != texts.end();
  }

  int flushes_ = 0;
};
