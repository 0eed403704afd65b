#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/simulator/SimulatedScheduler.h"
#include "platform/uikit/InstallUIKit.h"
#include "platform/uikit/UIApplication.h"
#include "src/core/NSOperationQueue+SafeOperation.h"
#include "src/events/KovaAppProperties.h"
#include "src/visualizer/KovaEventVisualizer.h"
#include "tests/support/ScriptedSocket.h"

// A device whose visualizer is connected to a scripted server, under virtual time. One a process.
class PairingFixture {
 public:
  static PairingFixture& shared() {
    static PairingFixture& fixture = *new PairingFixture;
    return fixture;
  }

  // A new visualizer, whose connection waits for the handshake.
  std::shared_ptr<KovaEventVisualizer> connect() {
    server_->sockets.clear();
    const auto visualizer =
        std::make_shared<KovaEventVisualizer>("12345", options_, properties_, KOVA_serialStateQueue());
    visualizer->connect();
    scheduler.drain();
    return visualizer;
  }
  // On the newest connection.
  void serverSays(std::string_view frame) {
    server_->socket().says(std::string(frame));
    scheduler.drain();
  }
  void serverLetsIn() {
    server_->socket().letsIn();
    scheduler.drain();
  }

  platform::SimulatedScheduler& scheduler = platform::SimulatedScheduler::installNew();

 private:
  PairingFixture() {
    platform::installUIKit();
    platform::UIApplication::setSharedApplication(std::make_shared<platform::UIApplication>());
    options_->setTestOnlyUrlSession(server_);
  }

  const std::shared_ptr<ScriptedServer> server_ = std::make_shared<ScriptedServer>();
  const std::shared_ptr<KovaOptions> options_ = std::make_shared<KovaOptions>();
  const KovaAppProperties properties_{*options_};
};
