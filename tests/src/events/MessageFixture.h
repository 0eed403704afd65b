#pragma once

#include <gmock/gmock.h>

#include <memory>

#include "src/events/KovaAppProperties.h"
#include "src/events/KovaMessageBuilder.h"
#include "src/events/KovaRequestBuilder.h"
#include "src/identity/KIIdentityManager.h"
#include "src/identity/KISessionManager.h"
#include "src/storage/store/KovaPersistentStore.h"
#include "tests/support/Json.h"
#include "tests/support/SimulatedDevice.h"

// What messages and pixel requests are made of, on a simulated device: a user and a session with fixed ids.
class MessageTest : public testing::Test {
 protected:
  MessageTest() {
    identity.setUserId("0000000000000042");
    session.setSessionId("0000000000000007");
  }

  // The session's first pageview, 100 s ago, and one after it.
  void viewPages() {
    session.loggedPageviewWithPageviewInfo({{"id", "0000000000000001"}, {"viewController", "Home"}},
                                           {{"h", "Home screen"}, {"ts", "1767225500000"}});
    session.loggedPageviewWithPageviewInfo({{"id", "0000000000000002"}, {"viewController", "Cart"}}, {});
  }

  SimulatedDevice device;
  const std::shared_ptr<KovaPersistentStore> store =
      std::make_shared<KovaPersistentStore>(SimulatedDevice::kEnvironment);
  const KovaAppProperties appProperties{*device.options()};
  KIIdentityManager identity{store};
  KISessionManager session{true};
  const KovaMessageBuilder messages{SimulatedDevice::kEnvironment, appProperties, session, identity};
  const KovaRequestBuilder requests{SimulatedDevice::kEnvironment, appProperties, session, identity};
};
