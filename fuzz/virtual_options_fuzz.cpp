// The text behind `virtual:`: whatever it is, it gives usable options or a one-line reason.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "virtual/bus/VirtualOptions.h"

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

void CheckUsable(const orq::VirtualOptions& options) {
  bool known = false;
  for (const auto& model : orq::VirtualModels()) known = known || options.model == model.name;
  Require(known);
  Require(options.timeScale >= 0 && options.timeScale <= 1000);
  Require(options.dropRate >= 0 && options.dropRate <= 1);
  Require(options.fluxElectronsPerSecond >= 0 && std::isfinite(options.fluxElectronsPerSecond));
  for (const auto& celsius : {options.temperatureC, options.ambientC})
    Require(!celsius || (*celsius >= -100 && *celsius <= 100));
  Require(options.preRender >= 0 && options.preRender <= 64);
  Require(options.flashFail >= 0);
  Require(options.flashMs >= 0 && options.flashMs <= 10000);
  Require(options.serial.empty() || options.serial.size() == 16);
  Require(!options.bayer || (*options.bayer >= -1 && *options.bayer <= 3));
  Require((options.model == "replay") == !options.file.empty());
  for (const orq::FrameFault& fault : options.frameFaults) Require(fault.frame > 0);
  for (const orq::FlashFault& fault : options.flashFaults) Require(fault.operation > 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  std::string error;
  const auto options = orq::ParseVirtualOptions(text, error);
  Require(options.has_value() == error.empty());
  if (options) CheckUsable(*options);
  return 0;
}
