// The JSON of an event of the server's, as the visualizer reads it: a pair request above all.

#include <cstdlib>

#include "fuzz/Input.h"
#include "platform/simulator/SimulatedScheduler.h"
#include "src/core/NSOperationQueue+SafeOperation.h"
#include "src/events/KovaAppProperties.h"
#include "src/visualizer/KovaEventVisualizer.h"

using namespace platform;

namespace {

struct Fixture {
  SimulatedScheduler& scheduler = SimulatedScheduler::installNew();
  std::shared_ptr<KovaOptions> options = std::make_shared<KovaOptions>();
  KovaAppProperties properties{*options};
  std::shared_ptr<KovaWebSocketSession> session = std::make_shared<KovaWebSocketSession>(
      NSURL::create("https://host/").value(), KovaWebSocketSession::Headers(), "/ios",
      KOVA_serialStateQueue());
  std::shared_ptr<KovaEventVisualizer> visualizer =
      std::make_shared<KovaEventVisualizer>("12345", options, properties, KOVA_serialStateQueue());
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Fixture& fixture = *new Fixture;
  KOVA_serialStateQueue()->addOperationWithBlock(
      [&] { fixture.visualizer->didReceiveMessage(*fixture.session, textOf(data, size)); });
  fixture.scheduler.drain();
  // Nobody has accepted anything.
  if (fixture.visualizer->isPaired() || fixture.visualizer->isCapturing()) std::abort();
  return 0;
}
