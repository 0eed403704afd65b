// The frames of a server, one a line, through a session that has no socket and a visualizer that listens to
// it.

#include <algorithm>

#include "fuzz/Input.h"
#include "platform/simulator/SimulatedScheduler.h"
#include "src/core/NSOperationQueue+SafeOperation.h"
#include "src/events/KovaAppProperties.h"
#include "src/visualizer/KovaEventVisualizer.h"

using namespace platform;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static SimulatedScheduler& scheduler = SimulatedScheduler::installNew();
  static const auto& options = *new std::shared_ptr<KovaOptions>(std::make_shared<KovaOptions>());
  static const auto& properties = *new KovaAppProperties(*options);
  const auto& queue = KOVA_serialStateQueue();
  const auto visualizer = std::make_shared<KovaEventVisualizer>("12345", options, properties, queue);
  const auto session = std::make_shared<KovaWebSocketSession>(NSURL::create("https://host/").value(),
                                                              KovaWebSocketSession::Headers(), "/ios", queue);
  session->setDelegate(visualizer);
  for (std::string_view frames = textOf(data, size); !frames.empty();) {
    const std::string_view frame = frames.substr(0, frames.find('\n'));
    queue->addOperationWithBlock([&] { session->handleMessageString(frame); });
    scheduler.drain();
    frames.remove_prefix(std::min(frames.size(), frame.size() + 1));
  }
  scheduler.advance(100);  // heartbeats and announcements that were scheduled
  return 0;
}
