// C, on a device whose host has been started otherwise: what is refused, and that each call is the facade's.

#include <Kova/KovaC.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <barrier>
#include <cmath>
#include <filesystem>
#include <thread>

#include "tests/src/core/TrackerFixture.h"

using testing::ElementsAre;

namespace {

using CInterfaceTest = TrackerTest;

std::string textOf(std::size_t (*call)(char*, std::size_t)) {
  std::string text(call(nullptr, 0), '?');
  call(text.data(), text.size() + 1);
  return text;
}

TEST_F(CInterfaceTest, WhatIsNotAskedForIsRefused) {
  kova_settings* const settings = kova_settings_new();
  kova_properties* const properties = kova_properties_new();
  EXPECT_EQ(kova_track(nullptr, 5, nullptr), KOVA_INVALID);
  EXPECT_EQ(kova_identify(nullptr, KOVA_WHOLE), KOVA_INVALID);
  EXPECT_EQ(kova_remove_event_property(nullptr, 0), KOVA_INVALID);
  EXPECT_EQ(kova_settings_set_flag(nullptr, "debug", 1), KOVA_INVALID);
  EXPECT_EQ(kova_settings_set_flag(settings, nullptr, 1), KOVA_INVALID);
  EXPECT_EQ(kova_settings_set_text(settings, "name", nullptr, 0), KOVA_INVALID);
  EXPECT_EQ(kova_settings_set_text(settings, "debug", "1", 1), KOVA_UNKNOWN);
  EXPECT_EQ(kova_settings_set_flag(settings, "name", 1), KOVA_UNKNOWN);
  EXPECT_EQ(kova_settings_set_flag(settings, "disableVendorIdCapture", 1), KOVA_OK);
  EXPECT_EQ(kova_settings_set_flag(settings, "disableAdvertiserIdCapture", 1), KOVA_OK);
  EXPECT_EQ(kova_properties_set_integer(nullptr, "a", 1), KOVA_INVALID);
  EXPECT_EQ(kova_properties_set_flag(properties, nullptr, 1), KOVA_INVALID);
  EXPECT_EQ(kova_properties_set_number(properties, "a", NAN), KOVA_INVALID);
  EXPECT_EQ(kova_start("12345", KOVA_WHOLE, nullptr), KOVA_INVALID);
  EXPECT_EQ(kova_start("012345", KOVA_WHOLE, settings), KOVA_INVALID);
  EXPECT_EQ(kova_start("12a45", KOVA_WHOLE, settings), KOVA_INVALID);
  EXPECT_EQ(kova_start("12345", 0, settings), KOVA_INVALID);
  EXPECT_EQ(kova_erase_stored(nullptr, KOVA_WHOLE), KOVA_INVALID);
  EXPECT_EQ(kova_properties_from_json("[1]", KOVA_WHOLE), nullptr);
  kova_properties_free(properties);
  kova_settings_free(settings);

  device.startAndSettle();  // by its own host: a refused start states none
  EXPECT_EQ(kova_track("Checkout", KOVA_WHOLE, nullptr), KOVA_OK);
  device.upload();
  EXPECT_THAT(sentEvents(), ElementsAre("lifecycleEvent", "Checkout"));
}

TEST_F(CInterfaceTest, EachCallIsTheFacadesOfThatName) {
  EXPECT_EQ(kova_abi_version(), KOVA_C_ABI_VERSION);
  EXPECT_EQ(kova_library_version(), Kova::libVersion());
  EXPECT_EQ(kova_flush(0), 0) << "nothing has been started";
  device.startAndSettle();
  kova_properties* const properties = kova_properties_new();
  kova_properties_set_number(properties, "price", 2.5);
  kova_properties_set_flag(properties, "beta", 1);

  EXPECT_EQ(kova_add_user_properties(properties), KOVA_OK);
  EXPECT_EQ(kova_add_event_properties(properties), KOVA_OK);
  kova_properties_free(properties);
  kova_track("Both", KOVA_WHOLE, nullptr);
  EXPECT_EQ(kova_remove_event_property("price", KOVA_WHOLE), KOVA_OK);
  kova_track("One of them", 3, nullptr);
  EXPECT_EQ(kova_clear_event_properties(), KOVA_OK);
  kova_track("None", KOVA_WHOLE, nullptr);
  EXPECT_EQ(kova_set_tracking_enabled(0), KOVA_OK);
  EXPECT_EQ(kova_is_tracking_enabled(), 0);
  kova_track("Unseen", KOVA_WHOLE, nullptr);
  kova_set_tracking_enabled(1);
  EXPECT_EQ(kova_is_tracking_enabled(), 1);
  EXPECT_EQ(kova_change_interval(60), KOVA_OK) << "and uploads";
  device.drain();
  device.settle();
  EXPECT_THAT(sentEvents(), ElementsAre("lifecycleEvent", "Both", "One", "None"));
  EXPECT_THAT(sentParameters("/api/add_user_properties_v3", "_price"), ElementsAre("2.5"));
  std::vector<std::string> sent;
  for (const auto& message : device.receivedMessages()) sent.push_back(json(at(message, "properties")));
  EXPECT_THAT(sent, ElementsAre("", R"({"price":{"string":"2.5"},"beta":{"bool":true}})",
                                R"({"beta":{"bool":true}})", ""));
  EXPECT_EQ(kova_count("events.delivered"), 4);
  for (const char* none : {"events.", "delivered", static_cast<const char*>(nullptr)})
    EXPECT_EQ(kova_count(none), -1);

  EXPECT_EQ(textOf(kova_session_id), Kova::sessionId());
  kova_identify("ada @home", KOVA_WHOLE);
  device.drain();
  EXPECT_EQ(textOf(kova_identity), "ada%20%40home");
  const std::string user = textOf(kova_user_id);
  EXPECT_EQ(kova_reset_identity(), KOVA_OK);
  device.drain();
  EXPECT_EQ(textOf(kova_identity), "");
  EXPECT_NE(textOf(kova_user_id), user);

  EXPECT_EQ(kova_erase_stored(SimulatedDevice::kEnvironment, KOVA_WHOLE), KOVA_OK);
  EXPECT_EQ(storedText("userId"), "(nothing)");
}

TEST_F(CInterfaceTest, AThreadThatIsCancelledEndsItsCallFirst) {
  device.startAndSettle();
  const auto cancelled = [](void*) -> void* {
    pthread_cancel(pthread_self());
    kova_track("Checkout", KOVA_WHOLE, nullptr);
    kova_track("Payment", KOVA_WHOLE, nullptr);
    pthread_testcancel();
    return nullptr;
  };
  pthread_t thread;
  pthread_create(&thread, nullptr, cancelled, nullptr);
  void* result = nullptr;
  pthread_join(thread, &result);
  EXPECT_EQ(result, PTHREAD_CANCELED);
  device.upload();
  EXPECT_THAT(sentEvents(), ElementsAre("lifecycleEvent", "Checkout", "Payment"));
}

// Whether all that a process records is on its disk, of two threads that start the library at once.
bool isStoredByTwoThatStart() {
  std::string root = "/tmp/kova-test.XXXXXX";
  EXPECT_NE(mkdtemp(root.data()), nullptr);
  const pid_t child = fork();
  if (child == 0) {
    std::barrier gate(2);
    const auto start = [&] {
      kova_settings* const settings = kova_settings_new();
      kova_settings_set_text(settings, "directory", root.data(), KOVA_WHOLE);
      kova_settings_set_text(settings, "captureBaseUrl", "http://127.0.0.1:1", KOVA_WHOLE);
      gate.arrive_and_wait();
      kova_start("12345", KOVA_WHOLE, settings);
      kova_settings_free(settings);
    };
    std::thread other(start);
    start();
    other.join();
    _exit(kova_flush(20));
  }
  int status = 0;
  waitpid(child, &status, 0);
  std::filesystem::remove_all(root);
  return WIFEXITED(status) && WEXITSTATUS(status) & KOVA_STORED;
}

TEST(CHostTest, WhoeverStartsTheLibraryAsWellWaitsForThePlaceOfItsFiles) {
  for (int i = 0; i < 20; ++i) ASSERT_TRUE(isStoredByTwoThatStart());
}

// The child has no thread that would let go of what the receiver's caller holds.
void forkAndReplace(void* status, const char*, std::size_t) {
  const pid_t child = fork();
  if (child == 0) {
    alarm(20);
    kova_set_log(nullptr, nullptr);
    _exit(0);
  }
  waitpid(child, static_cast<int*>(status), 0);
}

TEST_F(CInterfaceTest, AReceiverOfTheLogCanBeReplacedInAForkedChild) {
  device.startAndSettle();
  KovaLogger::sharedInstance().setLogLevel(kKovaLogLevelDebug);
  int status = -1;
  kova_set_log(forkAndReplace, &status);
  kova_track("Checkout", KOVA_WHOLE, nullptr);
  device.drain();
  kova_set_log(nullptr, nullptr);
  EXPECT_EQ(status, 0);
}

}  // namespace
