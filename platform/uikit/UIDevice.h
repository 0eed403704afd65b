#pragma once

#include <optional>
#include <string>

namespace platform {

// The device that the app runs on. Its facts are stated by the host's platform layer or by a simulated device
// before libraries start, on the main thread; afterwards any thread reads.
class UIDevice {
 public:
  struct Facts {
    std::string name;                                  // as its owner calls it
    std::string machine;                               // hardware model, "hw.machine"; empty when unknown
    std::optional<std::string> identifierForVendor;    // upper-case UUID text
    std::optional<std::string> advertisingIdentifier;  // upper-case UUID text; none where the device has none
    std::optional<std::string> carrierName;            // none without a cellular provider
  };

  static UIDevice& currentDevice();

  const Facts& facts() const { return facts_; }
  void setFacts(Facts facts) { facts_ = std::move(facts); }
  // The version of the system as the process information states it.
  const std::string& systemVersion() const;

 private:
  Facts facts_;
};

}  // namespace platform
