// The frames of a server, one a line, to a device that has just connected.

#include <algorithm>
#include <cstdlib>

#include "fuzz/Input.h"
#include "fuzz/PairingFixture.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  PairingFixture& fixture = PairingFixture::shared();
  const auto visualizer = fixture.connect();
  for (std::string_view frames = textOf(data, size); !frames.empty();) {
    const std::string_view frame = frames.substr(0, frames.find('\n'));
    fixture.serverSays(frame);
    frames.remove_prefix(std::min(frames.size(), frame.size() + 1));
  }
  fixture.scheduler.advance(100);  // heartbeats, announcements and further attempts
  // Nobody has accepted anything.
  if (visualizer->isPaired() || visualizer->isCapturing()) std::abort();
  visualizer->disconnect();
  fixture.scheduler.drain();
  return 0;
}
