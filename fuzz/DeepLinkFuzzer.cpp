// Links that an app is opened with: as they are, and as the end of one of the library's own.

#include <cstdlib>

#include "fuzz/Input.h"
#include "src/visualizer/KovaOpenURLParser.h"

using namespace platform;

namespace {

void parse(const KovaOpenURLParser& parser, const std::string& text) {
  const auto url = NSURL::create(text);
  if (!url) return;
  Dictionary parameters;
  const auto link = parser.parseUrl(*url, &parameters);
  if (link && (link->schemaVersion == 0 || !parser.hasCorrectAppId(*url))) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto& parser = *new KovaOpenURLParser("12345");
  const std::string text(textOf(data, size));
  parse(parser, text);
  parse(parser, "kova-12345://" + text);
  return 0;
}
