// orqcam gain: gains with a meaning, and what a camera can tell at each.
#include <cmath>
#include <cstring>
#include <memory>
#include <optional>
#include <vector>

#include "camera/Expose.h"
#include "commands/Commands.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

struct Preset {
  int preset;
  const char* name;
  const char* meaning;
};
constexpr Preset kPresets[] = {
    {ORQ_GAIN_UNITY, "unity", "a count of the converter is an electron"},
    {ORQ_GAIN_LOWEST_NOISE, "lowest-noise", "the converter adds least to what the pixels read"},
    {ORQ_GAIN_LARGEST_RANGE, "largest-range", "most gain that still takes the full well"}};

struct GainOptions {
  std::string preset;  ///< to be set; empty: none
  bool measure = false;
};

struct Row {
  Preset preset;
  orq_gain_preset found;
  std::optional<double> readNoise;  ///< electrons
  /// Doublings between the read noise and the most that a pixel tells.
  std::optional<double> Stops() const {
    if (!readNoise || !(*readNoise > 0.0)) return std::nullopt;
    return std::log2(found.most_electrons / *readNoise);
  }
};

const Preset& FindPreset(const std::string& name) {
  for (const Preset& preset : kPresets)
    if (Lower(name) == preset.name) return preset;
  throw CliError(kExitUsage, "unknown preset '" + name + "'; there are unity, lowest-noise and largest-range");
}

Frame TakeShortest(Device& camera) {
  std::optional<Frame> frame = Expose(camera);
  if (!frame) throw CliError(ORQ_ERROR_CANCELLED, "interrupted before the read noise was measured");
  return *frame;
}

// In the difference of two frames nothing is left but their noise, twice. Samples of 16 bits, in this computer's
// order.
double NoiseOf(const Frame& first, const Frame& second) {
  const std::size_t samples = std::min(first.size(), second.size()) / 2;
  double sum = 0.0;
  double squares = 0.0;
  for (std::size_t i = 0; i < samples; ++i) {
    std::uint16_t one = 0;
    std::uint16_t other = 0;
    std::memcpy(&one, first.data() + 2 * i, sizeof one);
    std::memcpy(&other, second.data() + 2 * i, sizeof other);
    const double apart = static_cast<double>(one) - static_cast<double>(other);
    sum += apart;
    squares += apart * apart;
  }
  if (samples == 0) return 0.0;
  const double mean = sum / static_cast<double>(samples);
  return std::sqrt((squares / static_cast<double>(samples) - mean * mean) / 2.0);
}

/// The middle of the sensor, as short as can be, while it lives; then everything is as it was.
class Measurement {
 public:
  explicit Measurement(Device& camera)
      : camera_(camera), region_(camera->region()), gain_(camera->gain()), exposure_(camera->exposure()) {
    constexpr int kSide = 400;
    const orq_camera_info& info = camera.Info();
    auto middle = sized<orq_region>();
    middle.width = std::min(kSide, info.sensor_width);
    middle.height = std::min(kSide, info.sensor_height);
    middle.start_x = (info.sensor_width - middle.width) / 2;
    middle.start_y = (info.sensor_height - middle.height) / 2;
    middle.bin = 1;
    middle.format = ORQ_FORMAT_RAW16;
    camera->region(camera->fit(middle));
    camera->exposure(std::chrono::microseconds(camera->control("Exposure").minimum));
  }
  ~Measurement() {
    try {
      camera_->region(region_);
      camera_->gain(gain_);
      camera_->exposure(exposure_);
    } catch (const Error&) {
      // A camera that is gone has nothing to be set back.
    }
  }
  Measurement(const Measurement&) = delete;
  Measurement& operator=(const Measurement&) = delete;

  double ReadNoiseAt(std::int64_t gain) {
    camera_->gain(gain);
    const Frame first = TakeShortest(camera_);
    const Frame second = TakeShortest(camera_);
    return NoiseOf(first, second) * second.info().electrons_per_adu;
  }

 private:
  Device& camera_;
  const orq_region region_;
  const std::int64_t gain_;
  const std::chrono::microseconds exposure_;
};

std::string Cell(const std::optional<double>& value, const char* format) {
  return value ? Format(format, *value) : "-";
}

Json AsJson(const std::optional<double>& value) {
  return value ? Json(*value) : Json(nullptr);
}

void Print(const Context& context, Device& camera, const std::vector<Row>& rows) {
  const std::int64_t now = camera->gain();
  Table table = {{"preset", "gain", "e-/ADU", "full_well", "read_noise", "range", "meaning"}};
  Json list = Json::array();
  for (const Row& row : rows) {
    table.push_back({row.preset.name, std::to_string(row.found.gain) + (row.found.gain == now ? " (set)" : ""),
                     Format("%.3f", row.found.electrons_per_adu), Format("%.0f e-", row.found.most_electrons),
                     Cell(row.readNoise, "%.2f e-"), Cell(row.Stops(), "%.1f stops"), row.preset.meaning});
    list.push_back({{"preset", row.preset.name},
                    {"gain", row.found.gain},
                    {"set", row.found.gain == now},
                    {"electrons_per_adu", row.found.electrons_per_adu},
                    {"full_well_electrons", row.found.most_electrons},
                    {"read_noise_electrons", AsJson(row.readNoise)},
                    {"range_stops", AsJson(row.Stops())},
                    {"meaning", row.preset.meaning}});
  }
  if (context.json)
    context.out.Object(list);
  else
    PrintTable(context.out, table);
}

ExitCode RunGain(const Context& context, const GainOptions& options) {
  const Preset* const wanted = options.preset.empty() ? nullptr : &FindPreset(options.preset);
  Device camera(context);
  std::vector<Row> rows;
  for (const Preset& preset : kPresets) rows.push_back({preset, camera->gainPreset(preset.preset), {}});
  if (options.measure) {
    Measurement measurement(camera);
    for (Row& row : rows) row.readNoise = measurement.ReadNoiseAt(row.found.gain);
  }
  if (wanted != nullptr) camera->gain(camera->gainPreset(wanted->preset).gain);
  Print(context, camera, rows);
  if (wanted != nullptr && context.settings) camera.DemandKept();
  return kExitOk;
}

}  // namespace

CommandRun AddGainCommand(const Command& app) {
  const Command command = app.AddCommand(
      "gain",
      "Show the gains with a meaning, and what the camera can tell at each; or set one, for later runs as well");
  auto options = std::make_shared<GainOptions>();
  command.AddOption("PRESET", options->preset, "To be set: unity, lowest-noise or largest-range");
  command.AddFlag(
      "--measure", options->measure,
      "Measure the read noise, and the dynamic range that it leaves, from two of the shortest exposures "
      "at each; cover the telescope");
  return [options](const Context& context) { return RunGain(context, *options); };
}

}  // namespace orq::cli
