#include "src/visualizer/KIPairing.h"

#include <utility>

#include "platform/foundation/NSJSONSerialization.h"
#include "platform/uikit/UIDevice.h"
#include "src/core/KovaLogger.h"

using namespace platform;
using AfterSending = KovaWebSocketSession::AfterSending;

namespace {

constexpr int kDeviceAvailableLimit = 12;

void sendSocketMessageWithEventName(std::string_view eventName, KovaWebSocketSession& connection,
                                    const Dictionary& sender, const Dictionary& data,
                                    AfterSending afterSending) KOVA_ON_MUTATION_QUEUE {
  MutableDictionary payload(sender);
  payload.merge(data);
  const auto text = NSJSONSerialization::dataWithJSONObject(Array{eventName, Dictionary(std::move(payload))});
  if (!text) return KovaLogDebug("Failed to serialize event message data.");
  connection.sendText(*text, afterSending);
}

}  // namespace

KIPairing::KIPairing(std::shared_ptr<KovaWebSocketSession> connection, Device device,
                     std::shared_ptr<KIEventOutbox> outbox)
    : connection_(std::move(connection)), device_(std::move(device)), outbox_(std::move(outbox)) {}

std::optional<std::uint64_t> KIPairing::number() const {
  return accepted_ && accepted_->pairCode == pairCode_ ? std::optional(accepted_->number) : std::nullopt;
}

bool KIPairing::makeDeviceAvailable() {
  ++announcements_;
  sendSocketMessageWithEventName("device_available", *connection_, sender(), {}, AfterSending::Stay);
  return isAnnouncing() && announcements_ < kDeviceAvailableLimit;
}

bool KIPairing::wasAccepted(const std::string& pairCode, std::uint64_t number) {
  if (pairCode != pairCode_) return false;
  accepted_ = Accepted{pairCode, number};
  sendInTurn("device_accepted_pair", AfterSending::Stay);
  return true;
}

void KIPairing::recordEventMessage(const Dictionary& message, const KIEventOutbox::CaptureRef& capture,
                                   std::uint64_t number) {
  if (number != this->number()) return;
  // It goes where it was accepted, whatever is asked and answered until the pictures are encoded.
  outbox_->post(capture, [connection = connection_, from = sender(), message](const Dictionary& captured) {
    kova::mutationQueue.isHere();
    MutableDictionary data{{"message", message}};
    data.merge(captured);
    sendSocketMessageWithEventName("device_captured_event", *connection, from, Dictionary(std::move(data)),
                                   AfterSending::Stay);
  });
}

void KIPairing::end() {
  connection_->setDelegate({});  // what the session still has to say comes too late
  isPaired() ? sendInTurn("device_left", AfterSending::Disconnect) : connection_->disconnect();
}

void KIPairing::sendInTurn(const char* eventName, AfterSending afterSending) {
  outbox_->post(nullptr, [=, connection = connection_, from = sender()](const Dictionary&) {
    kova::mutationQueue.isHere();
    sendSocketMessageWithEventName(eventName, *connection, from, {}, afterSending);
  });
}

Dictionary KIPairing::sender() const {
  MutableDictionary sender{{"appId", device_.appId},
                           {"deviceId", std::to_string(device_.id)},
                           {"deviceName", UIDevice::currentDevice().facts().name},
                           {"deviceType", device_.model}};
  if (!pairCode_.empty()) sender.append("pairCode", pairCode_);
  return Dictionary(std::move(sender));
}
