// Where and when, by the camera's GPS.
#pragma once

#include <indiccd.h>

#include "panels/Panel.h"

namespace orq::indi {

/// GEOGRAPHIC_COORD, TIME_UTC and ORQ_GPS of the last picture, and ORQ_GPS_LINES, at which the time is taken.
class GpsPanel : public Panel {
 public:
  explicit GpsPanel(INDI::DefaultDevice& device) : device_(device) {}

  void connected(Camera& camera) override;
  void disconnected() override;
  bool set(const NumberRequest& request) override;
  bool set(const SwitchRequest& request) override;
  void frame(const Frame& frame) override;

 private:
  void apply(const orq_gps_lines& wanted);
  void showLines();

  INDI::DefaultDevice& device_;
  Camera* camera_ = nullptr;
  INDI::PropertyNumber place_{3};
  INDI::PropertyText time_{2};
  INDI::PropertyText latch_{4};
  INDI::PropertyNumber lines_{2};
  INDI::PropertySwitch follow_{2};
};

}  // namespace orq::indi
