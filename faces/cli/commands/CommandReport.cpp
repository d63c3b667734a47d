// orqcam report: what whoever looks into a fault needs to know, in one file.
#include <sys/utsname.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <memory>

#include "camera/ControlUse.h"
#include "camera/Shooter.h"
#include "camera/Words.h"
#include "commands/Commands.h"
#include "commands/report/KernelLines.h"
#include "commands/report/Private.h"
#include "output/Signals.h"
#include "output/frames/CounterReport.h"
#include "session/text/Units.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

constexpr std::size_t kLogLines = 400;
constexpr std::chrono::seconds kStreamFor{2};
constexpr std::chrono::milliseconds kFrameWait{100};

struct ReportOptions {
  std::string file;
  bool overwrite = false;
};

/// The report as it grows.
class Pages {
 public:
  void Title(const std::string& title) { text_ += (text_.empty() ? "" : "\n") + ("== " + title + " ==\n"); }
  void Line(const std::string& line) { text_ += WithoutPrivate(line, facts_) + "\n"; }
  void Add(const Report& report) {
    for (const std::string& line : report.ToLines()) Line(line);
  }
  const std::string& Text() const { return text_; }

 private:
  const PrivateFacts facts_ = MyPrivateFacts();
  std::string text_;
};

std::int64_t NowUnixUs() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

std::string FirstLine(const char* path) {
  std::ifstream file(path);
  std::string line;
  std::getline(file, line);
  return line.empty() ? "unknown" : line;
}

std::string Distribution() {
  std::ifstream file("/etc/os-release");
  constexpr std::string_view kKey = "PRETTY_NAME=";
  for (std::string line; std::getline(file, line);)
    if (line.starts_with(kKey)) return line.substr(kKey.size());
  return "unknown";
}

void AddVersions(Pages& pages) {
  pages.Title("versions");
  pages.Line("written = " + session::IsoUtc(NowUnixUs()) + " UTC");
  pages.Line("orqcam = " ORQCAM_VERSION);
  pages.Line("libusb = " + usbVersion());
  utsname system{};
  uname(&system);  // its node name is private
  pages.Line(Format("kernel = %s %s %s", system.sysname, system.release, system.machine));
  pages.Line("distribution = " + Distribution());
  pages.Line("usbfs_memory_mb = " + FirstLine("/sys/module/usbcore/parameters/usbfs_memory_mb"));
}

void AddCameras(Pages& pages) {
  pages.Title("cameras on USB");
  const std::vector<orq_camera_entry> entries = cameras();
  for (std::size_t index = 0; index < entries.size(); ++index) {
    const orq_camera_entry& entry = entries[index];
    const std::string trouble = entry.trouble;
    pages.Line(Format("%zu = %s, %s", index, entry.model, SpeedName(entry.speed)) +
               (trouble.empty() ? "" : ", cannot be opened: " + trouble));
  }
  if (entries.empty()) pages.Line("none");
}

void AddSettings(Pages& pages) {
  pages.Title("settings");
  try {
    for (const orq_setting& setting : settings()) {
      // A path is the user's own affair.
      const char* const text = setting.text[0] == '\0' ? "" : "(text)";
      const std::string shown = setting.is_text != 0 ? text : std::to_string(setting.number);
      pages.Line(std::string(setting.owner) + ": " + setting.name + " = " + shown);
    }
  } catch (const FileError& failure) {
    pages.Line(failure.what());
  }
}

void AddControls(Pages& pages, Device& camera) {
  pages.Title("controls");
  for (const orq_control_info& control : camera->controls()) {
    const auto state = TryReadControl(camera, control);
    const std::string value = state ? ScaledValue(control, state->raw).dump() : "none";
    pages.Line(control.name + (" = " + value) + (state && state->automatic ? " (auto)" : ""));
  }
}

// A short video with the camera as it is.
void AddStream(Pages& pages, Device& camera) {
  pages.Title("a stream of 2 s");
  std::uint64_t frames = 0;
  std::string end;
  const auto exposure = static_cast<std::uint64_t>(camera->exposure().count());
  {
    VideoShooter shooter(camera);
    Frame frame;
    const auto until = std::chrono::steady_clock::now() + kStreamFor;
    while (std::chrono::steady_clock::now() < until && !StopRequested() && end.empty()) {
      const ShotResult result = shooter.TakeWithin(frame, kFrameWait);
      if (result == ShotResult::Good) ++frames;
      if (result == ShotResult::Lost) end = "the camera was lost";
      if (result == ShotResult::Ended) end = shooter.Reason();
    }
  }
  Report report;
  report.Add("exposure", exposure, "us");
  report.Add("delivered", frames, "frames");
  AddCounters(report, camera->counters());
  pages.Add(report);
  if (!end.empty()) pages.Line("ended = " + end);
}

Json Celsius(const Camera& camera) {
  try {
    return camera.temperature();
  } catch (const LostError&) {
    throw;
  } catch (const Error&) {
    return nullptr;
  }
}

void AddCamera(Pages& pages, const Context& context) {
  pages.Title("camera");
  try {
    Device camera(context);
    Report report;
    report.Add("model", camera.Info().model);
    report.Add("firmware", camera.Info().firmware);
    report.Add("usb_speed", SpeedName(camera.Info().speed));
    report.Add("temperature", Celsius(*camera), "C");
    pages.Add(report);
    AddControls(pages, camera);
    AddStream(pages, camera);
  } catch (const Error& error) {
    pages.Line(std::string(orq_status_name(error.status())) + ": " + error.what());
  }
}

void AddLog(Pages& pages) {
  pages.Title(Format("log, the last %zu lines", kLogLines));
  std::ifstream file;
  try {
    file.open(logPath());
  } catch (const FileError& failure) {
    pages.Line(failure.what());
    return;
  }
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);)
    if (line.find("GPS") == std::string::npos) lines.push_back(line);  // it tells where the observer is
  const std::size_t first = lines.size() > kLogLines ? lines.size() - kLogLines : 0;
  for (std::size_t i = first; i < lines.size(); ++i) pages.Line(lines[i]);
  if (lines.empty()) pages.Line("empty; with --debug a command writes it");
}

void AddKernel(Pages& pages) {
  pages.Title("kernel");
  std::string trouble;
  const std::vector<std::string> lines = CameraLines(ReadKernelLog(trouble));
  for (const std::string& line : lines) pages.Line(line);
  if (!trouble.empty())
    pages.Line(trouble);
  else if (lines.empty())
    pages.Line("nothing about cameras");
}

std::string DefaultName() {
  std::string when = session::IsoUtc(NowUnixUs()).substr(0, 19);  // to the second
  std::erase(when, ':');
  return "orqcam-report-" + when + ".txt";
}

ExitCode RunReport(const Context& context, const ReportOptions& options) {
  const std::string file = options.file.empty() ? DefaultName() : options.file;
  checkFile(file, options.overwrite);
  Pages pages;
  AddVersions(pages);
  AddCameras(pages);
  AddCamera(pages, context);
  AddSettings(pages);
  AddLog(pages);
  AddKernel(pages);
  writeFile(file, pages.Text(), options.overwrite);
  Report report;
  report.Add("file", file);
  report.Print(context.out, context.json);
  if (!context.json) Complain("read it before you send it: names, places and serial numbers are left out");
  return kExitOk;
}

}  // namespace

CommandRun AddReportCommand(const Command& app) {
  const Command command = app.AddCommand(
      "report",
      "Put what a bug report needs into one file: versions, controls, counters, settings, log, kernel lines");
  auto options = std::make_shared<ReportOptions>();
  command.AddOption("-o,--output", options->file, "Name of the file (default: orqcam-report-<time>.txt)");
  command.AddFlag("--overwrite", options->overwrite, "Replace a file that exists");
  return [options](const Context& context) { return RunReport(context, *options); };
}

}  // namespace orq::cli
