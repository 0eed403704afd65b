// The tests of platform/uikit once more, with Kova in each app. It is offline, and counts what it has seen.

#include <Kova/Kova.h>
#include <stdlib.h>

#include <cstdio>
#include <filesystem>

#include "platform/foundation/NSFileManager.h"
#include "platform/foundation/SystemLog.h"
#include "platform/net/NetworkReachability.h"
#include "platform/uikit/InstallUIKit.h"
#include "tests/platform/uikit/UIKitFixture.h"

using namespace platform;

namespace {

class Guest : public testing::Environment {
 public:
  void SetUp() override {
    root_ = (std::filesystem::temp_directory_path() / "kova-guest-XXXXXX").string();
    ASSERT_NE(mkdtemp(root_.data()), nullptr);
    setDirectories({root_, root_, root_, root_, "com.example.app"});
    SystemLog::setSink([](std::string_view) {});
    NetworkReachability::installFlagSource(
        [](const NetworkReachability::Target&) { return std::optional<NetworkReachabilityFlags>(0); });
    installUIKit();
    UIKitTest::guest = [] { Kova::initialize("12345"); };
  }
  void TearDown() override {
    EXPECT_FALSE(Kova::hasFailed());
    const KovaStatus status = Kova::status();
    std::printf("seen: %llu\n",
                static_cast<unsigned long long>(status.events.accepted + status.requests.accepted));
    std::filesystem::remove_all(root_);
  }

 private:
  std::string root_;
};

const auto* const installed = testing::AddGlobalTestEnvironment(new Guest);

}  // namespace
