/** @file
 * orqcam: USB astronomy cameras, real and virtual. C++17 and later, header only, over orqcam.h.
 *
 *     orq::Camera camera("virtual:k1c");
 *     orq::Frame frame = camera.expose(std::chrono::milliseconds(200));
 *     for (const orq::Frame& frame : camera.video()) ...
 *
 * Everything throws orq::Error, or the class of it that stands for what a program can do about the failure.
 * Threads, lifetimes, units and ranges are those of orqcam.h: all is any-thread, frames outlive their camera, and
 * copies of a frame share its pixels. A camera and a reader can be moved, not copied.
 */
#ifndef ORQCAM_ORQCAM_HPP
#define ORQCAM_ORQCAM_HPP

#include <orqcam/orqcam-expert.h>
#include <orqcam/orqcam.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>
#if __has_include(<version>)
#include <version>
#endif
#if defined(__cpp_lib_span)
#include <span>
#endif

namespace orq {

/** Why a call failed: one line for a user. */
class Error : public std::runtime_error {
 public:
  Error(orq_status status, const std::string& text) : std::runtime_error(text), status_(status) {}
  orq_status status() const noexcept { return status_; }

 private:
  orq_status status_;
};

/** An error of one status. */
template <orq_status kStatus>
class ErrorOf : public Error {
 public:
  explicit ErrorOf(const std::string& text) : Error(kStatus, text) {}
};
using InvalidError = ErrorOf<ORQ_ERROR_INVALID>;
using NotFoundError = ErrorOf<ORQ_ERROR_NOT_FOUND>;
using PermissionError = ErrorOf<ORQ_ERROR_PERMISSION>;
using BusyError = ErrorOf<ORQ_ERROR_BUSY>;
using LostError = ErrorOf<ORQ_ERROR_LOST>;
using TimeoutError = ErrorOf<ORQ_ERROR_TIMEOUT>;
using CancelledError = ErrorOf<ORQ_ERROR_CANCELLED>;
using UnsupportedError = ErrorOf<ORQ_ERROR_UNSUPPORTED>;
using RefusedError = ErrorOf<ORQ_ERROR_REFUSED>;
using StateError = ErrorOf<ORQ_ERROR_STATE>;
using RangeError = ErrorOf<ORQ_ERROR_RANGE>;
using FileError = ErrorOf<ORQ_ERROR_FILE>;
using MemoryError = ErrorOf<ORQ_ERROR_MEMORY>;

/** A struct of the interface, all zero, with its size set: `auto region = orq::sized<orq_region>();`. */
template <class Struct>
Struct sized() {
  Struct made{};
  made.size = sizeof made;
  return made;
}

namespace detail {

/** Throws what a status stands for; the text is this thread's last error. */
[[noreturn]] inline void raise(orq_status status) {
  const std::string text = orq_last_error();
  switch (status) {
    case ORQ_ERROR_INVALID:
      throw InvalidError(text);
    case ORQ_ERROR_NOT_FOUND:
      throw NotFoundError(text);
    case ORQ_ERROR_PERMISSION:
      throw PermissionError(text);
    case ORQ_ERROR_BUSY:
      throw BusyError(text);
    case ORQ_ERROR_LOST:
      throw LostError(text);
    case ORQ_ERROR_TIMEOUT:
      throw TimeoutError(text);
    case ORQ_ERROR_CANCELLED:
      throw CancelledError(text);
    case ORQ_ERROR_UNSUPPORTED:
      throw UnsupportedError(text);
    case ORQ_ERROR_REFUSED:
      throw RefusedError(text);
    case ORQ_ERROR_STATE:
      throw StateError(text);
    case ORQ_ERROR_RANGE:
      throw RangeError(text);
    case ORQ_ERROR_FILE:
      throw FileError(text);
    case ORQ_ERROR_MEMORY:
      throw MemoryError(text);
    default:
      throw Error(status, text);
  }
}

inline void check(orq_status status) {
  if (status != ORQ_OK) raise(status);
}

/** Owns one handle. */
template <class Handle, void (*kRelease)(Handle*)>
class Owner {
 public:
  Owner() = default;
  explicit Owner(Handle* handle) : handle_(handle) {}
  Owner(Owner&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  Owner& operator=(Owner&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  ~Owner() { kRelease(handle_); }

  Handle* get() const noexcept { return handle_; }

 private:
  Handle* handle_ = nullptr;
};

/** Whole milliseconds for the C interface: at least as long, no longer than it can say. */
inline std::int32_t milliseconds(std::chrono::nanoseconds time) {
  const auto whole = std::chrono::ceil<std::chrono::milliseconds>(time).count();
  constexpr auto kMost = std::numeric_limits<std::int32_t>::max();
  return whole > kMost ? kMost : static_cast<std::int32_t>(whole < 0 ? 0 : whole);
}

}  // namespace detail

/** Throws what a status stands for: for functions of the C interface that have no wrapper here. */
inline void check(orq_status status) {
  detail::check(status);
}

/** "busy" and so on, "ok" for ORQ_OK, "unknown" for numbers that mean nothing. */
inline std::string statusName(orq_status status) {
  return orq_status_name(status);
}

/** "RGGB" and so on, as FITS files name it; empty for ORQ_BAYER_NONE and for numbers that mean nothing. */
inline std::string bayerName(std::int32_t bayer) {
  return orq_bayer_name(bayer);
}

/** A version of the library. */
struct Version {
  int major = 0;
  int minor = 0;
  int patch = 0;
};

/** The version of the USB library that it runs on. */
inline std::string usbVersion() {
  return orq_usb_version();
}

/** The version of the library that runs. */
inline Version libraryVersion() {
  std::int32_t major = 0;
  std::int32_t minor = 0;
  std::int32_t patch = 0;
  orq_library_version(&major, &minor, &patch);
  return {major, minor, patch};
}

/** The clock that gives frames their time where there is no GPS. */
inline orq_clock_state clockState() {
  auto state = sized<orq_clock_state>();
  detail::check(orq_clock_get_state(&state));
  return state;
}

/** A wait without end. */
inline constexpr std::chrono::nanoseconds forever = std::chrono::nanoseconds::max();

/** A picture for looking at. */
struct Picture {
  int width = 0;
  int height = 0;
  int channels = 0;                 /**< 1: grey; 3: red, green, blue */
  std::vector<std::uint8_t> pixels; /**< rows top down, without gaps */
};

/** The stars of a frame: what they are like together, and each of those that are listed, the brightest first. */
struct Stars {
  orq_star_summary summary{};
  std::vector<orq_star> stars;
};

/** A frame: pixels that nobody changes any more, and what is known about them. Copies share it. Empty when moved
 * from or made without one; then only the test for it may be called. */
class Frame {
 public:
  Frame() = default;
  /** Takes over one hold of the C interface's. */
  explicit Frame(orq_frame* held) : frame_(held) {}
  Frame(const Frame& other) : frame_(other.frame_) {
    if (frame_ != nullptr) detail::check(orq_frame_retain(frame_));
  }
  Frame(Frame&& other) noexcept : frame_(std::exchange(other.frame_, nullptr)) {}
  Frame& operator=(Frame other) noexcept {
    std::swap(frame_, other.frame_);
    return *this;
  }
  ~Frame() { orq_frame_release(frame_); }

  explicit operator bool() const noexcept { return frame_ != nullptr; }
  orq_frame* get() const noexcept { return frame_; }

  orq_frame_info info() const {
    auto info = sized<orq_frame_info>();
    detail::check(orq_frame_get_info(frame_, &info));
    return info;
  }
  orq_frame_gps gps() const {
    auto gps = sized<orq_frame_gps>();
    detail::check(orq_frame_get_gps(frame_, &gps));
    return gps;
  }
  orq_statistics statistics() const {
    auto statistics = sized<orq_statistics>();
    detail::check(orq_frame_get_statistics(frame_, &statistics));
    return statistics;
  }
  /** See orq_frame_preview. */
  Picture preview(orq_preview_options options = sized<orq_preview_options>()) const {
    Picture made;
    auto told = sized<orq_picture>();
    detail::check(orq_frame_preview(frame_, &options, nullptr, 0, &told));
    made.pixels.resize(static_cast<std::size_t>(told.width) * static_cast<std::size_t>(told.height) *
                       static_cast<std::size_t>(told.channels));
    detail::check(orq_frame_preview(frame_, &options, made.pixels.data(), made.pixels.size(), &told));
    made.width = told.width;
    made.height = told.height;
    made.channels = told.channels;
    return made;
  }
  /** The FITS cards that describe it. */
  std::vector<orq_card> header() const {
    std::int32_t count = 0;
    detail::check(orq_frame_header_count(frame_, &count));
    std::vector<orq_card> cards(static_cast<std::size_t>(count), sized<orq_card>());
    for (std::int32_t i = 0; i < count; ++i)
      detail::check(orq_frame_header_card(frame_, i, &cards[static_cast<std::size_t>(i)]));
    return cards;
  }
  /** See orq_frame_save. */
  void save(const std::string& path, orq_save_options options = sized<orq_save_options>()) const {
    detail::check(orq_frame_save(frame_, path.c_str(), &options));
  }
  /** See orq_frame_save_files. */
  orq_saved_files saveFiles(const std::string& path, orq_save_options options = sized<orq_save_options>()) const {
    auto saved = sized<orq_saved_files>();
    detail::check(orq_frame_save_files(frame_, path.c_str(), &options, &saved));
    return saved;
  }
  /** Rows top down, without gaps, in the frame's format; valid while somebody holds the frame. */
  const std::uint8_t* data() const { return bytes().first; }
  /** Bytes. */
  std::size_t size() const { return bytes().second; }
  /** Throws NotFoundError when there is nothing but noise. */
  orq_disc disc() const {
    auto found = sized<orq_disc>();
    detail::check(orq_frame_get_disc(frame_, &found));
    return found;
  }
  /** See orq_frame_find_stars. Without an area: of the whole frame. */
  Stars stars(const std::optional<orq_area>& area = std::nullopt) const {
    orq_star_list* list = nullptr;
    detail::check(orq_frame_find_stars(frame_, area ? &*area : nullptr, &list));
    const detail::Owner<orq_star_list, orq_star_list_release> owner(list);
    Stars found{sized<orq_star_summary>(), {}};
    detail::check(orq_star_list_get_summary(list, &found.summary));
    found.stars.assign(static_cast<std::size_t>(found.summary.listed), sized<orq_star>());
    for (std::int32_t i = 0; i < found.summary.listed; ++i)
      detail::check(orq_star_list_get(list, i, &found.stars[static_cast<std::size_t>(i)]));
    return found;
  }
#if defined(__cpp_lib_span)
  std::span<const std::uint8_t> pixels() const {
    const auto [first, count] = bytes();
    return {first, count};
  }
#endif
  int width() const {
    return info().width;
  }
  int height() const {
    return info().height;
  }
  std::chrono::microseconds exposure() const {
    return std::chrono::microseconds(info().exposure_us);
  }
  /** Start of the exposure of the row that was read out first. */
  std::chrono::time_point<std::chrono::system_clock, std::chrono::nanoseconds> time() const {
    return std::chrono::time_point<std::chrono::system_clock, std::chrono::nanoseconds>(
        std::chrono::nanoseconds(info().time_unix_ns));
  }

 private:
  std::pair<const std::uint8_t*, std::size_t> bytes() const {
    const std::uint8_t* first = nullptr;
    std::size_t count = 0;
    detail::check(orq_frame_data(frame_, &first, &count));
    return {first, count};
  }

  orq_frame* frame_ = nullptr;
};

/** One more reader of a camera's frames. Lives on when the camera is closed. */
class Reader {
 public:
  explicit Reader(orq_reader* reader) : reader_(reader) {}

  /** Throws TimeoutError when none comes in time. */
  Frame wait(std::chrono::nanoseconds patience = forever) {
    orq_frame* frame = nullptr;
    detail::check(orq_reader_wait(reader_.get(),
                                  patience == forever ? ORQ_FOREVER : detail::milliseconds(patience), &frame));
    return Frame(frame);
  }
  orq_reader_counters counters() const {
    auto counters = sized<orq_reader_counters>();
    detail::check(orq_reader_get_counters(reader_.get(), &counters));
    return counters;
  }
  orq_reader* get() const noexcept { return reader_.get(); }

 private:
  detail::Owner<orq_reader, orq_reader_release> reader_;
};

class Camera;

/** A running video: a range of frames, each the newest one that was not fetched yet. Stopped at the end of its
 * life. The loop ends when the video is stopped or aborted, and throws when it fails. */
class Video {
 public:
  class Iterator {
   public:
    using value_type = Frame;
    using difference_type = std::ptrdiff_t;
    using reference = const Frame&;
    using pointer = const Frame*;
    using iterator_category = std::input_iterator_tag;

    Iterator() = default;
    explicit Iterator(orq_camera* camera) : camera_(camera) { ++*this; }
    const Frame& operator*() const { return frame_; }
    const Frame* operator->() const { return &frame_; }
    Iterator& operator++() {
      orq_frame* next = nullptr;
      frame_ = Frame();  // its memory may be what the next one needs
      const orq_status status = orq_frame_wait(camera_, ORQ_FOREVER, &next);
      // Whoever ended the video may have done so while nobody waited.
      if (status == ORQ_ERROR_CANCELLED || status == ORQ_ERROR_STATE) {
        camera_ = nullptr;
        return *this;
      }
      detail::check(status);
      frame_ = Frame(next);
      return *this;
    }
    void operator++(int) { ++*this; }
    friend bool operator==(const Iterator& a, const Iterator& b) { return a.camera_ == b.camera_; }
    friend bool operator!=(const Iterator& a, const Iterator& b) { return !(a == b); }

   private:
    orq_camera* camera_ = nullptr;
    Frame frame_;
  };

  explicit Video(orq_camera* camera) : camera_(camera) { detail::check(orq_video_start(camera_)); }
  Video(Video&& other) noexcept : camera_(std::exchange(other.camera_, nullptr)) {}
  Video& operator=(Video&&) = delete;
  ~Video() {
    if (camera_ != nullptr) orq_video_stop(camera_);
  }

  Iterator begin() { return Iterator(camera_); }
  Iterator end() { return {}; }

 private:
  orq_camera* camera_;
};

/** A place on the sensor, pixels from the top left. */
struct SensorPixel {
  int x = 0;
  int y = 0;
};

/** The hot pixels of a whole sensor, as they were when it was made. Outlives its camera. */
class HotPixels {
 public:
  explicit HotPixels(orq_hot_pixel_table* table) : table_(table) {}

  orq_hot_pixel_counts counts() const {
    auto counts = sized<orq_hot_pixel_counts>();
    detail::check(orq_hot_pixel_table_get_counts(table_.get(), &counts));
    return counts;
  }
  /** Those that are repaired by themselves, row by row. */
  std::vector<SensorPixel> pixels() const {
    std::vector<SensorPixel> places(static_cast<std::size_t>(counts().pixels));
    std::int32_t index = 0;
    for (SensorPixel& place : places)
      detail::check(orq_hot_pixel_table_get_pixel(table_.get(), index++, &place.x, &place.y));
    return places;
  }
  std::vector<int> badRows() const {
    std::vector<int> rows(static_cast<std::size_t>(counts().bad_rows));
    std::int32_t index = 0;
    for (int& row : rows) detail::check(orq_hot_pixel_table_get_bad_row(table_.get(), index++, &row));
    return rows;
  }
  /** `format`: ORQ_TABLE_... */
  void save(const std::string& path, int format, bool overwrite = false) const {
    detail::check(orq_hot_pixel_table_save(table_.get(), path.c_str(), format, overwrite ? 1 : 0));
  }

 private:
  detail::Owner<orq_hot_pixel_table, orq_hot_pixel_table_release> table_;
};

/** A video that is written to a file. Stopped and finished at the end of its life. */
class Recording {
 public:
  explicit Recording(orq_recording* recording) : recording_(recording) {}

  void stop() { detail::check(orq_recording_stop(get())); }
  /** Throws TimeoutError when it still runs then. */
  void wait(std::chrono::nanoseconds patience = forever) {
    detail::check(orq_recording_wait(get(), patience == forever ? ORQ_FOREVER : detail::milliseconds(patience)));
  }
  orq_recording_state state() const {
    auto now = sized<orq_recording_state>();
    detail::check(orq_recording_get_state(get(), &now));
    return now;
  }
  /** Frames that it lacks so far. */
  std::vector<orq_missing_frames> missing() const {
    std::vector<orq_missing_frames> found;
    for (;;) {
      auto gap = sized<orq_missing_frames>();
      const orq_status status = orq_recording_get_missing(get(), found.size(), &gap);
      if (status == ORQ_ERROR_NOT_FOUND) return found;
      detail::check(status);
      found.push_back(gap);
    }
  }
  orq_recording* get() const noexcept { return recording_.get(); }

 private:
  detail::Owner<orq_recording, orq_recording_release> recording_;
};

/** A control's raw value, and whether it sets itself. */
struct ControlValue {
  std::int64_t value = 0;
  bool automatic = false;
};

/** An open camera; closed and released at the end of its life. */
class Camera {
 public:
  /** `name` as for orq_camera_open; empty: the only camera that is plugged in. */
  explicit Camera(const std::string& name = {}, orq_open_options options = sized<orq_open_options>()) {
    orq_camera* opened = nullptr;
    detail::check(orq_camera_open(name.c_str(), &options, &opened));
    camera_ = detail::Owner<orq_camera, orq_camera_release>(opened);
  }

  orq_camera* get() const noexcept { return camera_.get(); }
  std::string sensorId() const { return filled<orq_sensor_id>(orq_sensor_id_get).id; }
  orq_camera_info info() const { return filled<orq_camera_info>(orq_camera_get_info); }
  void close() { detail::check(orq_camera_close(get())); }
  void reopen() { detail::check(orq_camera_reopen(get())); }

  orq_region region() const { return filled<orq_region>(orq_region_get); }
  /** Colours of the top left 2 x 2 pixels of frames to come, ORQ_BAYER_... */
  int bayer() const { return value<std::int32_t>(orq_region_get_bayer); }
  /** The nearest region that the camera offers. */
  orq_region fit(orq_region wanted) const {
    auto fitted = sized<orq_region>();
    wanted.size = sizeof wanted;
    detail::check(orq_region_fit(get(), &wanted, &fitted));
    return fitted;
  }
  /** Returns what was applied. */
  orq_region region(orq_region wanted) {
    auto applied = sized<orq_region>();
    wanted.size = sizeof wanted;
    detail::check(orq_region_set(get(), &wanted, &applied));
    return applied;
  }

  /** Starts one exposure; 0: as the control says. */
  void startExposure(std::chrono::microseconds exposure = std::chrono::microseconds(0)) {
    if (exposure.count() < 0) throw RangeError("an exposure is not negative");
    detail::check(orq_exposure_start(get(), static_cast<std::uint64_t>(exposure.count())));
  }
  orq_exposure_progress progress() const { return filled<orq_exposure_progress>(orq_exposure_get_progress); }
  /** The next frame of the default reader. Throws TimeoutError when none comes in time. */
  Frame wait(std::chrono::nanoseconds patience = forever) {
    orq_frame* frame = nullptr;
    detail::check(
        orq_frame_wait(get(), patience == forever ? ORQ_FOREVER : detail::milliseconds(patience), &frame));
    return Frame(frame);
  }
  /** One exposure and its frame. */
  Frame expose(std::chrono::microseconds exposure = std::chrono::microseconds(0)) {
    startExposure(exposure);
    return wait();
  }
  /** Starts a video. */
  Video video() { return Video(get()); }
  void abort() { detail::check(orq_capture_abort(get())); }
  void abortExposure() { detail::check(orq_exposure_abort(get())); }
  /** Throws FileError when frames 1 to `count` could not be saved so. */
  void checkSaving(const std::string& path, std::uint64_t count,
                   orq_save_options options = sized<orq_save_options>()) const {
    detail::check(orq_save_check(get(), path.c_str(), &options, count));
  }
  void frameReadings(bool on) { detail::check(orq_frame_readings_set(get(), on ? 1 : 0)); }
  Reader reader(int mode = ORQ_READ_NEWEST, int depth = 0) {
    orq_reader_options options = sized<orq_reader_options>();
    options.mode = mode;
    options.depth = depth;
    orq_reader* opened = nullptr;
    detail::check(orq_reader_open(get(), &options, &opened));
    return Reader(opened);
  }
  /** What recording so would be like. */
  orq_recording_plan planRecording(const std::string& path,
                                   orq_recording_options options = sized<orq_recording_options>()) const {
    auto plan = sized<orq_recording_plan>();
    detail::check(orq_recording_plan_get(get(), path.c_str(), &options, &plan));
    return plan;
  }
  /** Records every frame from the next one on. */
  Recording record(const std::string& path, orq_recording_options options = sized<orq_recording_options>()) {
    orq_recording* started = nullptr;
    detail::check(orq_recording_start(get(), path.c_str(), &options, &started));
    return Recording(started);
  }
  orq_stream_counters counters() const { return filled<orq_stream_counters>(orq_stream_get_counters); }

  std::vector<orq_control_info> controls() const {
    std::int32_t count = value<std::int32_t>(orq_control_count);
    std::vector<orq_control_info> infos(static_cast<std::size_t>(count), sized<orq_control_info>());
    for (std::int32_t i = 0; i < count; ++i)
      detail::check(orq_control_describe(get(), i, &infos[static_cast<std::size_t>(i)]));
    return infos;
  }
  orq_control_info control(const std::string& name) const {
    auto info = sized<orq_control_info>();
    detail::check(orq_control_find(get(), name.c_str(), &info));
    return info;
  }
  std::int64_t control(std::int32_t id) const {
    std::int64_t read = 0;
    detail::check(orq_control_get(get(), id, &read, nullptr));
    return read;
  }
  /** Value and mode of one moment. */
  ControlValue controlValue(std::int32_t id) const {
    ControlValue now;
    std::int32_t mode = ORQ_MANUAL;
    detail::check(orq_control_get(get(), id, &now.value, &mode));
    now.automatic = mode == ORQ_AUTOMATIC;
    return now;
  }
  bool isAutomatic(std::int32_t id) const { return controlValue(id).automatic; }
  void control(std::int32_t id, std::int64_t wanted) {
    detail::check(orq_control_set(get(), id, wanted, ORQ_MANUAL));
  }
  void automatic(std::int32_t id) { detail::check(orq_control_set(get(), id, 0, ORQ_AUTOMATIC)); }
  std::int64_t gain() const { return control(ORQ_CONTROL_GAIN); }
  void gain(std::int64_t wanted) { control(ORQ_CONTROL_GAIN, wanted); }
  /** `preset`: ORQ_GAIN_... */
  orq_gain_preset gainPreset(int preset) const {
    auto found = sized<orq_gain_preset>();
    detail::check(orq_gain_preset_get(get(), preset, &found));
    return found;
  }
  std::int64_t offset() const { return control(ORQ_CONTROL_OFFSET); }
  void offset(std::int64_t wanted) { control(ORQ_CONTROL_OFFSET, wanted); }
  std::chrono::microseconds exposure() const { return std::chrono::microseconds(control(ORQ_CONTROL_EXPOSURE)); }
  void exposure(std::chrono::microseconds wanted) { control(ORQ_CONTROL_EXPOSURE, wanted.count()); }

  orq_automatic_state automaticState() const { return filled<orq_automatic_state>(orq_automatic_get); }
  void awaitSettled(std::chrono::duration<double> patience) {
    detail::check(orq_automatic_wait(get(), patience.count()));
  }

  /** Degrees Celsius. */
  double temperature() const { return value<double>(orq_temperature_get); }
  /** Volts. */
  double supplyVoltage() const { return value<double>(orq_supply_voltage_get); }
  orq_cooler_state cooler() const { return filled<orq_cooler_state>(orq_cooler_get); }
  void cool(double target_c, bool keep = false) {
    detail::check(orq_cooler_set(get(), 1, target_c, keep ? 1 : 0));
  }
  void coolerOff() { detail::check(orq_cooler_set(get(), 0, 0.0, 0)); }
  void awaitCold(std::chrono::duration<double> patience) {
    detail::check(orq_cooler_wait(get(), patience.count()));
  }
  void warmUp(std::chrono::duration<double> patience) {
    detail::check(orq_cooler_warm_up(get(), patience.count()));
  }
  /** `direction`: ORQ_GUIDE_... */
  void guide(int direction, std::chrono::milliseconds length) {
    detail::check(orq_guide_pulse(get(), direction, detail::milliseconds(length)));
  }
  orq_gps_lines gpsLines() const { return filled<orq_gps_lines>(orq_gps_get_lines); }
  void gpsLines(orq_gps_lines lines) {
    lines.size = sizeof lines;
    detail::check(orq_gps_set_lines(get(), &lines));
  }
  orq_gps_receiver gpsReceiver() const { return filled<orq_gps_receiver>(orq_gps_get_receiver); }
  /** Throws StateError when frames of the present region cannot have GPS time. */
  void checkGps() const { detail::check(orq_gps_check(get())); }

  orq_dark_info takeDark(const std::string& path, orq_dark_options options = sized<orq_dark_options>()) {
    auto info = sized<orq_dark_info>();
    detail::check(orq_dark_take(get(), path.c_str(), &options, nullptr, nullptr, &info));
    return info;
  }
  void useDark(const std::string& path) { detail::check(orq_dark_use(get(), path.c_str())); }
  /** The camera's own dark, which is chosen then. */
  orq_dark_info takeOwnDark(orq_dark_options options = sized<orq_dark_options>()) {
    auto info = sized<orq_dark_info>();
    detail::check(orq_dark_take(get(), nullptr, &options, nullptr, nullptr, &info));
    return info;
  }
  /** Throws FileError when no dark could be written there: better to know before its exposures than after them. */
  void checkDark(const std::string& path, bool overwrite = false) const {
    detail::check(orq_dark_check(get(), path.c_str(), overwrite ? 1 : 0));
  }
  /** The same for the camera's own dark, which is replaced. */
  void checkOwnDark() const { detail::check(orq_dark_check(get(), nullptr, 0)); }
  /** Copies a dark with its description. */
  void copyDark(const std::string& from, const std::string& to, bool overwrite = false) const {
    detail::check(orq_dark_copy(get(), from.c_str(), to.c_str(), overwrite ? 1 : 0));
  }
  /** Makes it the camera's own dark, which is replaced and chosen. */
  void copyToOwnDark(const std::string& from) { detail::check(orq_dark_copy(get(), from.c_str(), nullptr, 0)); }
  orq_dark_info readDark(const std::string& path) const {
    auto info = sized<orq_dark_info>();
    detail::check(orq_dark_read(get(), path.c_str(), &info));
    return info;
  }
  orq_dark_state darkState() const { return filled<orq_dark_state>(orq_dark_get_state); }
  orq_dark_choice darkChoice() const { return filled<orq_dark_choice>(orq_dark_choice_get); }
  void chooseDark(const std::string& path) { detail::check(orq_dark_choice_set(get(), path.c_str())); }
  void chooseNoDark() { detail::check(orq_dark_choice_set(get(), nullptr)); }
  void noDark() { detail::check(orq_dark_use(get(), nullptr)); }
  void repairHotPixels(bool on) { detail::check(orq_hot_pixels_repair(get(), on ? 1 : 0)); }
  bool repairsHotPixels() const { return value<std::int32_t>(orq_hot_pixels_get_repair) != 0; }
  /** The table in flash. Throws NotFoundError when there is none. */
  HotPixels hotPixels() const { return HotPixels(value<orq_hot_pixel_table*>(orq_hot_pixels_read)); }
  /** Takes a dark of the covered sensor and finds what stands out in it; saveHotPixels() puts that into flash. */
  HotPixels findHotPixels(int frames = 0) {
    auto options = sized<orq_dark_options>();
    options.frames = frames;
    orq_hot_pixel_table* found = nullptr;
    detail::check(orq_hot_pixels_find(get(), &options, nullptr, nullptr, nullptr, &found));
    return HotPixels(found);
  }

  void saveFlash(const std::string& path, bool overwrite = false) {
    detail::check(orq_flash_save(get(), path.c_str(), overwrite ? 1 : 0, nullptr, nullptr));
  }
  /** Flash is saved first, in the user's state folder. */
  void restoreFlash(const std::string& path, bool otherCamera = false) {
    detail::check(orq_flash_restore(get(), path.c_str(), otherCamera ? 1 : 0, nullptr, nullptr, nullptr));
  }
  /** Where flash was saved before it was last overwritten; empty: it was not. */
  std::string flashBackup() const { return filled<orq_path>(orq_flash_get_backup).path; }
  orq_flash_file flashFile(const std::string& path) const {
    auto file = sized<orq_flash_file>();
    detail::check(orq_flash_read_file(get(), path.c_str(), &file));
    return file;
  }
  orq_flash_comparison compareFlash(const std::string& path) {
    auto comparison = sized<orq_flash_comparison>();
    detail::check(orq_flash_compare(get(), path.c_str(), nullptr, nullptr, &comparison));
    return comparison;
  }
  std::string userId() const { return filled<orq_user_id>(orq_user_id_get).id; }
  void userId(const std::string& id) {
    detail::check(orq_user_id_set(get(), id.c_str(), nullptr, nullptr, nullptr));
  }
  void saveHotPixels() { detail::check(orq_hot_pixels_save(get(), nullptr, nullptr, nullptr)); }

  orq_focus_state focus() const { return filled<orq_focus_state>(orq_focus_get); }
  void focus(int position) { detail::check(orq_focus_move(get(), position)); }

  /** Bit n: the camera offers mode n. */
  std::uint32_t triggerModes() const { return value<std::uint32_t>(orq_trigger_get_modes); }
  int triggerMode() const { return value<std::int32_t>(orq_trigger_get_mode); }
  void triggerMode(int mode) { detail::check(orq_trigger_set_mode(get(), mode)); }
  void trigger() { detail::check(orq_trigger_send(get())); }
  orq_trigger_output triggerOutput(int output) const {
    auto pulse = sized<orq_trigger_output>();
    detail::check(orq_trigger_get_output(get(), output, &pulse));
    return pulse;
  }
  void triggerOutput(int output, orq_trigger_output pulse) {
    pulse.size = sizeof pulse;
    detail::check(orq_trigger_set_output(get(), output, &pulse));
  }

  /** What files of frames to come say. */
  void labels(orq_labels labels) {
    labels.size = sizeof labels;
    detail::check(orq_labels_set(get(), &labels));
  }
  void keyword(const std::string& keyword) { detail::check(orq_keyword_set(get(), keyword.c_str())); }
  void clearKeywords() { detail::check(orq_keywords_clear(get())); }
  void applyProfile() { detail::check(orq_profile_apply(get())); }

  void timeMark(bool on) { detail::check(orq_time_mark_set(get(), on ? 1 : 0)); }
  /** Nothing: never. */
  void stampEvery(std::optional<std::chrono::milliseconds> interval) {
    detail::check(orq_gps_stamp_every(get(), interval ? detail::milliseconds(*interval) : -1));
  }

  /** For poll() and event loops; the library's own. */
  int eventDescriptor() const { return value<std::int32_t>(orq_camera_event_fd); }
  std::optional<orq_event> nextEvent() {
    auto event = sized<orq_event>();
    const orq_status status = orq_event_next(get(), &event);
    if (status == ORQ_ERROR_NOT_FOUND) return std::nullopt;
    detail::check(status);
    return event;
  }

  /** Keeps the controls as they are for later runs. */
  void keepSettings() { detail::check(orq_settings_keep(get())); }

  void unplugVirtual() { detail::check(orq_camera_unplug_virtual(get())); }
  void replugVirtual() { detail::check(orq_camera_replug_virtual(get())); }

 private:
  template <class Struct>
  Struct filled(orq_status (*ask)(orq_camera*, Struct*)) const {
    auto made = sized<Struct>();
    detail::check(ask(camera_.get(), &made));
    return made;
  }
  template <class Value>
  Value value(orq_status (*ask)(orq_camera*, Value*)) const {
    Value read{};
    detail::check(ask(camera_.get(), &read));
    return read;
  }

  detail::Owner<orq_camera, orq_camera_release> camera_;
};

/** Cameras that are plugged in, and virtual ones: `flags` is a sum of ORQ_LIST_... */
inline std::vector<orq_camera_entry> cameras(std::uint32_t flags = ORQ_LIST_USB) {
  orq_camera_list* listed = nullptr;
  detail::check(orq_list_cameras(flags, &listed));
  const detail::Owner<orq_camera_list, orq_camera_list_release> list(listed);
  std::int32_t count = 0;
  detail::check(orq_camera_list_count(list.get(), &count));
  std::vector<orq_camera_entry> entries(static_cast<std::size_t>(count), sized<orq_camera_entry>());
  for (std::int32_t i = 0; i < count; ++i)
    detail::check(orq_camera_list_get(list.get(), i, &entries[static_cast<std::size_t>(i)]));
  return entries;
}

/** Control `id` of the model with that key ("k1c") as the catalogue has it: see orq_model_control. */
inline orq_control_info modelControl(const std::string& model, std::int32_t id) {
  auto info = sized<orq_control_info>();
  detail::check(orq_model_control(model.c_str(), id, &info));
  return info;
}

/** The file in which settings are kept. Throws FileError when there is no place for it. */
inline std::string settingsPath() {
  auto path = sized<orq_path>();
  detail::check(orq_settings_path(&path));
  return path.path;
}

/** Whose settings the camera of that name has: see orq_settings_get_owner. */
inline std::string settingsOwner(const std::string& cameraName) {
  auto owner = sized<orq_settings_owner>();
  detail::check(orq_settings_get_owner(cameraName.c_str(), &owner));
  return owner.name;
}

/** What is kept from one run to the next, owner by owner. */
inline std::vector<orq_setting> settings() {
  orq_setting_list* listed = nullptr;
  detail::check(orq_settings_list(&listed));
  const detail::Owner<orq_setting_list, orq_setting_list_release> list(listed);
  std::int32_t count = 0;
  detail::check(orq_setting_list_count(list.get(), &count));
  std::vector<orq_setting> kept(static_cast<std::size_t>(count), sized<orq_setting>());
  for (std::int32_t i = 0; i < count; ++i)
    detail::check(orq_setting_list_get(list.get(), i, &kept[static_cast<std::size_t>(i)]));
  return kept;
}

/** Forgets the settings of one owner; nothing: of all of them. */
inline void forgetSettings(const std::optional<std::string>& owner = std::nullopt) {
  detail::check(orq_settings_forget(owner ? owner->c_str() : nullptr));
}

/** The user's log file. Throws FileError when there is no place for it. */
inline std::string logPath() {
  auto path = sized<orq_path>();
  detail::check(orq_log_path(&path));
  return path.path;
}

/** What the user states once for the files of all programs: see orq_profile. */
inline orq_profile profile() {
  auto stated = sized<orq_profile>();
  detail::check(orq_profile_get(&stated));
  return stated;
}
inline void profile(orq_profile stated) {
  stated.size = sizeof stated;
  detail::check(orq_profile_set(&stated));
}
inline void clearProfile() {
  detail::check(orq_profile_clear());
}

/** Throws FileError when a program could not write that file with writeFile(). */
inline void checkFile(const std::string& path, bool overwrite = false) {
  detail::check(orq_file_check(path.c_str(), overwrite ? 1 : 0));
}
/** Writes a file that is either whole or not there. */
inline void writeFile(const std::string& path, const std::string& text, bool overwrite = false) {
  detail::check(orq_file_write(path.c_str(), reinterpret_cast<const std::uint8_t*>(text.data()), text.size(),
                               overwrite ? 1 : 0));
}

/** Looks at a SER file of any program, or a FITS cube. */
inline orq_ser_info serInfo(const std::string& path) {
  auto info = sized<orq_ser_info>();
  detail::check(orq_ser_get_info(path.c_str(), &info));
  return info;
}

/** Makes a SER file or a FITS cube whole that was cut off. */
inline orq_ser_repaired repairSer(const std::string& path) {
  auto repaired = sized<orq_ser_repaired>();
  detail::check(orq_ser_repair(path.c_str(), &repaired));
  return repaired;
}

/** Writes frame `frame`, from 1, of a SER file or a FITS cube; the name of what was written. */
inline std::string extractSer(const std::string& path, std::uint64_t frame, const std::string& to,
                              orq_save_options options = sized<orq_save_options>()) {
  auto written = sized<orq_path>();
  detail::check(orq_ser_extract(path.c_str(), frame, to.c_str(), &options, &written));
  return written.path;
}

/** Tells of cameras that are plugged in and unplugged, as long as it lives: see orq_watch_cameras. */
class Watch {
 public:
  /** `told` is called on a thread of the library with whether the camera was plugged in; it must not throw, nor
   * open, close or release anything. */
  using Told = std::function<void(bool pluggedIn, const orq_camera_entry& camera)>;

  explicit Watch(Told told) : told_(std::make_unique<Told>(std::move(told))) {
    orq_watch* started = nullptr;
    detail::check(orq_watch_cameras(
        [](void* user, std::int32_t pluggedIn, const orq_camera_entry* camera) {
          (*static_cast<Told*>(user))(pluggedIn != 0, *camera);
        },
        told_.get(), &started));
    watch_ = detail::Owner<orq_watch, orq_watch_release>(started);
  }

 private:
  std::unique_ptr<Told> told_;  // before the watch, which uses it to its end
  detail::Owner<orq_watch, orq_watch_release> watch_;
};

/** Hears the library's log lines as long as it lives: see orq_log_set. One at a time: a later one takes over from
 * it, and the log is off when either ends. */
class LogSink {
 public:
  /** `told` is called on any thread, also on several at once, with one of ORQ_LOG_... and a line; it must not
   * throw, nor call the library. */
  using Told = std::function<void(int level, const char* line)>;

  /** Hears lines up to `level`, ORQ_LOG_... */
  LogSink(int level, Told told) : told_(std::make_unique<Told>(std::move(told))) {
    detail::check(orq_log_set(
        level, [](void* user, std::int32_t at, const char* line) { (*static_cast<Told*>(user))(at, line); },
        told_.get()));
  }
  LogSink(LogSink&& other) noexcept = default;
  LogSink& operator=(LogSink&&) = delete;
  ~LogSink() {
    if (told_) orq_log_set(ORQ_LOG_WARNING, nullptr, nullptr);
  }

 private:
  std::unique_ptr<Told> told_;
};

/** Registers and requests, for camera engineers: what is written can upset or damage a camera, and the library
 * does not know of it. See orqcam-expert.h. */
namespace expert {

/** `chip`: ORQ_CHIP_...; `address`: 0 to 65535. */
inline std::uint8_t readRegister(const Camera& camera, int chip, std::uint32_t address) {
  std::uint8_t value = 0;
  detail::check(orq_expert_register_read(camera.get(), chip, address, &value));
  return value;
}
/** `value`: 0 to 255. Not all registers keep what they are given. */
inline void writeRegister(const Camera& camera, int chip, std::uint32_t address, std::uint32_t value) {
  detail::check(orq_expert_register_write(camera.get(), chip, address, value));
}
/** A vendor request that reads `size` bytes, at most 4096. */
inline std::vector<std::uint8_t> receive(const Camera& camera, std::uint32_t request, std::uint32_t value,
                                         std::uint32_t index, std::size_t size) {
  // One byte more than can be asked for is as wrong as any number of them.
  constexpr std::size_t kTooMany = 4097;
  std::vector<std::uint8_t> bytes(size < kTooMany ? size : kTooMany);
  detail::check(orq_expert_request(camera.get(), 1, request, value, index, bytes.data(),
                                   static_cast<std::uint32_t>(bytes.size())));
  return bytes;
}
/** A vendor request that writes `bytes`, at most 4096. */
inline void send(const Camera& camera, std::uint32_t request, std::uint32_t value, std::uint32_t index,
                 std::vector<std::uint8_t> bytes = {}) {
  detail::check(orq_expert_request(camera.get(), 0, request, value, index, bytes.data(),
                                   static_cast<std::uint32_t>(bytes.size())));
}

}  // namespace expert

}  // namespace orq

#endif
