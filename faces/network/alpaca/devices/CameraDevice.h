// A camera as Alpaca clients see it: interface version 4.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "alpaca/devices/Device.h"
#include "alpaca/devices/Exposures.h"
#include "alpaca/devices/Guiding.h"

namespace orq::network::alpaca {

/// Its subframe is what clients have set last, whatever region others have read meanwhile.
class CameraDevice : public Device {
 public:
  explicit CameraDevice(std::shared_ptr<CameraSlot> slot);

  Response answer(const std::string& method, const Request& request) override;
  const char* type() const override { return "Camera"; }
  std::string name() const override;

 protected:
  int interfaceVersion() const override { return 4; }
  std::map<std::string, std::function<Json()>> stateValues() override;

 private:
  // CameraSensor.cpp
  void addSensor();
  void addControls();
  int bayerOffset(bool alongX) const;
  double electronsPerAdu() const;
  double fullWell() const;
  std::optional<orq_control_info> controlInfo(int id) const;
  std::vector<std::string> readoutModes() const;
  void addValueControl(const std::string& name, int id);

  // CameraClimate.cpp
  void addClimate();
  void addGuiding();
  bool can(std::uint32_t ability) const;
  double temperature() const;

  // CameraExposure.cpp
  void addSubframe();
  Subframe wholePicture() const;
  Subframe subframe() const;
  void addExposure();
  int format() const;
  Optics optics() const;
  void startExposure(const Call& call);
  int cameraState() const;
  std::shared_ptr<const Image> demandImage() const;
  Response imageArray(const Request& request);

  mutable std::mutex mutex_;
  int bin_ = 1;
  std::optional<Subframe> subframe_;    ///< nothing: the whole picture at bin 1
  std::optional<double> coolerTarget_;  ///< that a client has set; counts while the cooler is off
  mutable Exposures exposures_;
  Guiding guiding_;
};

}  // namespace orq::network::alpaca
