#include "session/frame/FrameOrigin.h"

#include <cmath>

namespace orq::session {

FrameFacts FactsOf(const SharedFrame& frame) {
  const auto origin = std::static_pointer_cast<const FrameOrigin>(frame.Origin());
  const FrameInfo& info = frame.Info();
  FrameFacts facts;
  facts.info = info;
  facts.number = frame.Number();
  if (info.readings.sensorC)
    facts.sensorC = std::round(static_cast<double>(*info.readings.sensorC) * 100.0) / 100.0;
  if (info.readings.targetC) facts.targetC = *info.readings.targetC;
  facts.coolerPower = info.readings.coolerPower;
  facts.realExposureMs = info.readings.realExposureMs;
  facts.clock = ReadClockState();
  facts.corrections.hotPixels = info.hotPixelsRepaired;
  if (!origin) return facts;
  if (info.darkSubtracted) {
    facts.corrections.darkFile = origin->dark.darkFile;
    facts.corrections.dark = origin->dark.dark;
  }
  facts.context = std::shared_ptr<const FileContext>(origin, &origin->context);
  return facts;
}

}  // namespace orq::session
