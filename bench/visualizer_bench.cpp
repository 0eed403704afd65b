// What a paired app pays for an event: the pictures on the main thread, and their encoding off it. Ratios are
// those against a plain copy of as many bytes as the picture of the screen has.

#include <cstring>
#include <fstream>

#include "bench/BenchCatalog.h"
#include "bench/BenchHost.h"
#include "platform/foundation/Base64.h"
#include "src/core/tracker/KovaTracker.h"
#include "src/visualizer/KIPictureEncoder.h"
#include "src/visualizer/KIScreenshot.h"
#include "src/visualizer/KovaEventVisualizerContext.h"

namespace {

using namespace platform;

constexpr bench::Bursts kBursts{.runs = 7, .burstsARun = 10, .callsABurst = 5};

double milliseconds(const std::function<void()>& call) {
  return bench::measure(kBursts, call, [] {}).median / 1000;
}

// Of as many bytes, onto memory that is in use already.
double plainCopy(const Image& image) {
  std::vector<std::uint8_t> copy(image.pixels().size());
  return milliseconds([&] {
    std::memcpy(copy.data(), image.pixels().data(), copy.size());
    asm volatile("" : : "r"(copy.data()) : "memory");
  });
}

void print(const char* what, double value, double copy, const char* target) {
  bench::printLine(what, value, "ms", target);
  bench::printLine("  as a multiple of the plain copy", value / copy, "x", "-");
}

void writeFile(const std::string& path, const Image& image) {
  std::ofstream(path, std::ios::binary) << image.PNGRepresentation();
}

double capturing(const bench::Catalog& catalog, const KovaOptions& options) {
  using Quality = KIScreenshot::Quality;
  UIView& card = *catalog.controller->firstCard();
  const KovaTracker& tracker = *KovaTracker::sharedTracker();
  const auto context = KovaEventVisualizerContext::create(&card, tracker, options);
  const Image& screen = *context->fullImage();
  const double copy = plainCopy(screen);
  std::printf("%d x %d pixels\n", screen.width(), screen.height());
  bench::printLine("plain copy of the screen's bytes", copy, "ms", "-");
  const auto picture = [&](Quality quality) {
    return milliseconds([quality] { KIScreenshot::captureScreenWithHighQuality(quality); });
  };
  print("picture of the screen, high quality", picture(Quality::High), copy, "<= 8");
  print("picture of the screen, fast", picture(Quality::Fast), copy, "<= 4");
  print("picture of a card", milliseconds([&] { KIScreenshot::captureView(card, Quality::High); }), copy,
        "-");
  print("both, and the card's ancestry: all that a touch costs more",
        milliseconds([&] { KovaEventVisualizerContext::create(&card, tracker, options); }), copy, "<= 8");
  return copy;
}

void encoding(const bench::Catalog& catalog, const KovaOptions& options, double copy) {
  UIView& card = *catalog.controller->firstCard();
  const auto context = KovaEventVisualizerContext::create(&card, *KovaTracker::sharedTracker(), options);
  const Image& screen = *context->fullImage();
  const std::string png = screen.PNGRepresentation();
  std::printf("%zu bytes of PNG, %zu of the card's\n", png.size(),
              context->croppedImage()->PNGRepresentation().size());
  print("encoding of both pictures, off the main thread", milliseconds([&] {
          KIPictureEncoder encoder;
          context->transmittableDictionary(encoder);
        }),
        copy, "<= 30");
  KIPictureEncoder encoder;
  encoder.encodedScreen(context->fullImage());
  print("  when the screen shows the same as before",
        milliseconds([&] { context->transmittableDictionary(encoder); }), copy, "-");
  print("  of it: PNG of the screen", milliseconds([&] { screen.PNGRepresentation(); }), copy, "-");
  print("  of it: Base64 of the screen's PNG", milliseconds([&] { base64EncodedString(png); }), copy, "-");
}

// Into the folder, when one is named.
void writePictures(const bench::Catalog& catalog, const KovaOptions& options, const std::string& folder) {
  if (folder.empty()) return;
  UIView& card = *catalog.controller->firstCard();
  const auto context = KovaEventVisualizerContext::create(&card, *KovaTracker::sharedTracker(), options);
  writeFile(folder + "/screen.png", *context->fullImage());
  writeFile(folder + "/crop.png", *context->croppedImage());
}

}  // namespace

// With the name of a folder, also writes the pictures with photographs there.
int main(int argc, char** argv) {
  const bench::Host host(false);
  const auto options = bench::Host::options();
  Kova::initialize(bench::kEnvironment, options);
  const bench::Catalog drawn(bench::Pictures::Drawn);
  const double copy = capturing(drawn, *options);
  std::printf("Drawn pictures: ");
  encoding(drawn, *options, copy);
  const bench::Catalog photographs(bench::Pictures::Photographs);
  std::printf("Photographs: ");
  encoding(photographs, *options, copy);
  writePictures(photographs, *options, argc > 1 ? argv[1] : "");
}
