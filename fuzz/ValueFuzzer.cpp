// Texts that come from outside or from the disk, as a URL, as JSON with its description, and as a coded
// value: what has been read can be written, and says the same when it is read again.

#include <cmath>
#include <cstdlib>

#include "fuzz/Input.h"
#include "platform/foundation/NSJSONSerialization.h"
#include "platform/foundation/NSURL.h"
#include "platform/foundation/ValueCoding.h"

using namespace platform;

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

void readURL(const std::string& text) {
  const auto url = NSURL::create(text);
  if (!url) return;
  const auto again = NSURL::create(url->absoluteString());
  require(again && again->absoluteString() == url->absoluteString());
  url->appendingPathComponent("kova", false);
}

void readJSON(std::string_view text) {
  const auto value = NSJSONSerialization::JSONObjectWithData(text);
  if (!value) return;
  value->description();
  const auto written = NSJSONSerialization::dataWithJSONObject(*value);
  require(written.has_value() == NSJSONSerialization::isValidJSONObject(*value));
  if (!written) return;
  const auto again = NSJSONSerialization::JSONObjectWithData(*written);
  require(again && NSJSONSerialization::dataWithJSONObject(*again) == written);
}

void decode(std::string_view bytes) {
  while (const auto value = takeDecoded(bytes)) {
    value->description();
    ByteBuffer encoded, again;
    appendEncoded(encoded, *value);
    std::string_view rest = encoded.text();
    const auto same = takeDecoded(rest);
    require(same && rest.empty());
    appendEncoded(again, *same);
    require(again.text() == encoded.text());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = textOf(data, size);
  readURL(std::string(text));
  readJSON(text);
  decode(text);
  return 0;
}
