#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/foundation/Value.h"
#include "src/visualizer/KIEventOutbox.h"
#include "src/visualizer/KovaWebSocketSession.h"

// One connection to a dashboard, from the attempt to its end, and what was agreed on over it: the device
// announces itself until the user is asked about a code, and is paired once a code has been accepted.
//
// Each connection has an object of its own, and inherits nothing. An event leaves only under a code that was
// accepted, for the pairing that it was recorded for, and not while the user is asked about another code.
// Messages of a pairing take their turn in the outbox, so that its first and last stand around its events.
//
// Owner: the visualizer, by shared pointer, until the connection ends. Others hold it weakly: on any thread
// it is a token that expires with the connection.
class KIPairing {
 public:
  struct Device {
    std::string appId;
    std::string model;
    std::uint32_t id;
  };

  KIPairing(std::shared_ptr<KovaWebSocketSession> connection, Device device,
            std::shared_ptr<KIEventOutbox> outbox);

  bool isAnnouncing() const KOVA_ON_MUTATION_QUEUE { return pairCode_.empty(); }
  bool isPaired() const KOVA_ON_MUTATION_QUEUE { return accepted_.has_value(); }
  // The number of the pairing that events may be recorded for now.
  std::optional<std::uint64_t> number() const KOVA_ON_MUTATION_QUEUE;

  // Returns whether to announce the device once more, if nothing happens.
  bool makeDeviceAvailable() KOVA_ON_MUTATION_QUEUE;
  void wasAskedAbout(std::string pairCode) KOVA_ON_MUTATION_QUEUE { pairCode_ = std::move(pairCode); }
  // Begins the pairing of that number; returns false, and does nothing, for a code that is not the one asked
  // about.
  bool wasAccepted(const std::string& pairCode, std::uint64_t number) KOVA_ON_MUTATION_QUEUE;
  // Sends the event, behind all that was recorded before it.
  void recordEventMessage(const platform::Dictionary& message, const KIEventOutbox::CaptureRef& capture,
                          std::uint64_t number) KOVA_ON_MUTATION_QUEUE;
  // Says farewell, if paired, and closes the connection. Nothing may follow.
  void end() KOVA_ON_MUTATION_QUEUE;

 private:
  struct Accepted {
    std::string pairCode;
    std::uint64_t number;
  };

  platform::Dictionary sender() const KOVA_ON_MUTATION_QUEUE;
  void sendInTurn(const char* eventName,
                  KovaWebSocketSession::AfterSending afterSending) KOVA_ON_MUTATION_QUEUE;

  const std::shared_ptr<KovaWebSocketSession> connection_;
  const Device device_;
  const std::shared_ptr<KIEventOutbox> outbox_;
  int announcements_ KOVA_OF_MUTATION_QUEUE = 0;
  std::string pairCode_ KOVA_OF_MUTATION_QUEUE;  // that was asked about last; empty for none
  std::optional<Accepted> accepted_ KOVA_OF_MUTATION_QUEUE;
};
