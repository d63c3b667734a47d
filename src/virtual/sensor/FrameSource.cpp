#include "virtual/sensor/FrameSource.h"

#include <cmath>
#include <optional>

#include "virtual/replay/ReplaySource.h"
#include "virtual/sensor/SensorData.h"
#include "virtual/sensor/SensorModel.h"

namespace orq {
namespace {

std::optional<Scene> SceneByName(std::string_view name) {
  if (name == "stars") return Scene::Stars;
  if (name == "planet") return Scene::Planet;
  if (name == "flat") return Scene::Flat;
  if (name == "dark") return Scene::Dark;
  return std::nullopt;
}

std::unique_ptr<FrameSource> MakeSensor(const SensorData& sensor, const VirtualOptions& options,
                                        std::string& error) {
  const std::optional<Scene> scene = SceneByName(options.scene);
  if (!scene) {
    error = "unknown scene '" + options.scene + "'; known are stars, planet, flat and dark";
    return nullptr;
  }
  const double asked = options.fluxElectronsPerSecond;
  if (!std::isfinite(asked) || asked < 0.0) {
    error = "flux must be a number of electrons per pixel and second, 0 or more";
    return nullptr;
  }
  if (!(options.illuminantKelvin >= kLowestIlluminant && options.illuminantKelvin <= kHighestIlluminant)) {
    error = "illuminant must be a colour temperature from 1000 to 40000 kelvins";
    return nullptr;
  }
  auto model = std::make_unique<SensorModel>(sensor, *scene, asked > 0.0 ? asked : kDefaultFlatFlux, options.seed,
                                             options.illuminantKelvin);
  if (options.occultation) model->AimAtStar();
  if (*scene == Scene::Planet) {
    model->Show(
        Planet(sensor, options.planet.value_or(VirtualPlanet()), asked > 0.0 ? asked : kDefaultPlanetFlux));
  }
  return model;
}

}  // namespace

std::unique_ptr<FrameSource> MakeFrameSource(const VirtualOptions& options, std::string& error) {
  if (options.model == "replay") return ReplaySource::Open(options.file, options.bayer, error);
  if (const SensorData* sensor = FindSensor(options.model)) return MakeSensor(*sensor, options, error);
  error = "unknown model '" + options.model + "'; known are ";
  for (const VirtualModelName& model : VirtualModels()) error += (error.ends_with(' ') ? "" : ", ") + model.name;
  return nullptr;
}

}  // namespace orq
