// The JSON of an event of the server's to a device that has announced itself: a pair request above all.

#include <cstdlib>

#include "fuzz/Input.h"
#include "fuzz/PairingFixture.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  PairingFixture& fixture = PairingFixture::shared();
  const auto visualizer = fixture.connect();
  fixture.serverLetsIn();
  fixture.serverSays("42/ios," + std::string(textOf(data, size)));
  // Nobody has accepted anything.
  if (visualizer->isPaired() || visualizer->isCapturing()) std::abort();
  visualizer->disconnect();
  fixture.scheduler.drain();
  return 0;
}
