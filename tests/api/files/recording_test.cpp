// Recordings and SER files through the C interface.
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

#include "Camera.h"
#include "unit/support/TempDirectory.h"

namespace orq {
namespace {

using test::ApiCamera;
using test::ApiFrame;
using test::Eventually;
using test::kPatienceMs;
using test::Quick;

using Bytes = std::vector<std::uint8_t>;

struct ApiRecording {
  ~ApiRecording() { orq_recording_release(recording); }
  orq_recording_state State() const {
    orq_recording_state state{};
    state.size = sizeof state;
    EXPECT_EQ(orq_recording_get_state(recording, &state), ORQ_OK) << orq_last_error();
    return state;
  }
  void ExpectEnd(int32_t end) const {
    ASSERT_EQ(orq_recording_wait(recording, kPatienceMs), ORQ_OK) << orq_last_error();
    EXPECT_EQ(State().end, end) << State().trouble;
  }
  orq_recording* recording = nullptr;
};

// A SER file, read as the format describes it and not with the library's own reader.
struct Ser {
  explicit Ser(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    bytes.assign(std::istreambuf_iterator<char>(file), {});
    EXPECT_GE(bytes.size(), 178U) << path;
    bytes.resize(std::max<std::size_t>(bytes.size(), 178));
    frameBytes = static_cast<std::size_t>(Number(26)) * static_cast<std::size_t>(Number(30)) *
                 (Number(18) >= 100 ? 3U : 1U) * (Number(34) > 8 ? 2U : 1U);
    EXPECT_EQ(bytes.size(), 178 + static_cast<std::size_t>(Number(38)) * (frameBytes + 8));
  }
  int32_t Number(std::size_t offset) const {
    std::uint32_t value = 0;
    for (std::size_t i = 4; i > 0; --i) value = value << 8U | bytes[offset + i - 1];
    return static_cast<int32_t>(value);
  }
  std::size_t Frames() const { return static_cast<std::size_t>(Number(38)); }
  Bytes Frame(std::size_t index) const {
    const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(178 + index * frameBytes);
    return {first, first + static_cast<std::ptrdiff_t>(frameBytes)};
  }
  // Nanoseconds since 1970, which is 719,162 days after the year 1 began.
  std::int64_t Time(std::size_t index) const {
    std::int64_t ticks = 0;
    for (std::size_t i = 8; i > 0; --i)
      ticks = ticks << 8 | bytes[178 + Frames() * frameBytes + 8 * index + i - 1];
    return (ticks - 719'162LL * 86'400 * 10'000'000) * 100;
  }

  Bytes bytes;
  std::size_t frameBytes = 0;
};

class Recordings : public testing::Test {
 protected:
  static orq_recording_options Limit(std::uint64_t frames) {
    orq_recording_options options{};
    options.size = sizeof options;
    options.frames = frames;
    return options;
  }
  std::string Path(const char* name = "a.ser") const { return directory_.File(name); }

  TempDirectory directory_;
};

// Records beside a reader that takes every frame as well, and compares.
void CompareWithReader(const ApiCamera& camera, const std::string& path, int32_t colour, int32_t depth) {
  constexpr std::uint64_t kFrames = 12;
  orq_reader_options every{};
  every.size = sizeof every;
  every.mode = ORQ_READ_EVERY;
  every.depth = 64;
  orq_reader* reader = nullptr;
  ASSERT_EQ(orq_reader_open(camera.camera, &every, &reader), ORQ_OK) << orq_last_error();
  ApiRecording recording;
  orq_recording_options options{};
  options.size = sizeof options;
  options.frames = kFrames;
  ASSERT_EQ(orq_recording_start(camera.camera, path.c_str(), &options, &recording.recording), ORQ_OK)
      << orq_last_error();
  ASSERT_EQ(orq_video_start(camera.camera), ORQ_OK) << orq_last_error();
  recording.ExpectEnd(ORQ_RECORDING_FRAMES);
  ASSERT_EQ(orq_video_stop(camera.camera), ORQ_OK);
  const Ser ser(path);
  EXPECT_EQ(ser.Number(18), colour);
  EXPECT_EQ(ser.Number(34), depth);
  EXPECT_EQ(ser.Number(22), 0) << "least significant byte first, as readers take it";
  ASSERT_EQ(ser.Frames(), kFrames);
  for (std::size_t i = 0; i < kFrames; ++i) {
    ApiFrame frame;
    ASSERT_EQ(orq_reader_wait(reader, kPatienceMs, &frame.frame), ORQ_OK) << orq_last_error();
    EXPECT_EQ(frame.Pixels(), ser.Frame(i)) << "frame " << i;
    EXPECT_EQ(frame.Info().time_unix_ns, ser.Time(i)) << "frame " << i;
  }
  orq_reader_release(reader);
}

TEST_F(Recordings, HaveTheFramesAndTimesThatReadersGet) {
  const struct {
    const char* model;
    int32_t format;
    int32_t colour;
    int32_t depth;
  } rows[] = {{"k1c", ORQ_FORMAT_RAW8, 8, 8}, {"k1c", ORQ_FORMAT_RAW16, 8, 16},  {"k1c", ORQ_FORMAT_RGB24, 101, 8},
              {"k1c", ORQ_FORMAT_Y8, 0, 8},   {"x26m", ORQ_FORMAT_RAW16, 0, 16}, {"t46c", ORQ_FORMAT_RAW8, 9, 8}};
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.model) + " format " + std::to_string(row.format));
    // The receiver's time is that of the world: its latch must not be hurried.
    const bool gps = std::string_view(row.model) == "t46c";
    const ApiCamera camera(gps ? "virtual:t46c,scene=flat,flux=300000" : Quick(row.model));
    camera.Corner(row.format);
    CompareWithReader(camera, Path((std::string(row.model) + std::to_string(row.format) + ".ser").c_str()),
                      row.colour, row.depth);
  }
}

// What stands behind the header of a FITS file, and the integer of a card.
struct Fits {
  explicit Fits(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    const std::string all(std::istreambuf_iterator<char>(file), {});
    const std::size_t end = all.find("END" + std::string(77, ' '));
    EXPECT_NE(end, std::string::npos) << path;
    header = all.substr(0, end);
    data = all.substr(std::min((end / 2880 + 1) * 2880, all.size()));
  }
  std::int64_t Number(const std::string& name) const {
    const std::size_t card = header.find(name + std::string(8 - name.size(), ' ') + "=");
    return card == std::string::npos ? -1 : std::stoll(header.substr(card + 10, 20));
  }
  std::string header;
  std::string data;
};

// Samples as FITS has them: of 16 bits signed, most significant byte first; colours in planes, red first.
std::string AsInFits(const Bytes& pixels, int32_t format) {
  std::string samples;
  if (format == ORQ_FORMAT_RAW16) {
    for (std::size_t i = 0; i < pixels.size(); i += 2) {
      std::uint16_t sample = 0;
      std::memcpy(&sample, pixels.data() + i, 2);
      samples += static_cast<char>((sample >> 8U) ^ 0x80U);
      samples += static_cast<char>(sample & 0xFFU);
    }
  } else if (format == ORQ_FORMAT_RGB24) {
    for (const std::size_t colour : {2U, 1U, 0U})
      for (std::size_t i = colour; i < pixels.size(); i += 3) samples += static_cast<char>(pixels[i]);
  } else {
    samples.assign(pixels.begin(), pixels.end());
  }
  return samples;
}

TEST_F(Recordings, AsCubesAndFoldersHaveTheFramesThatReadersGet) {
  constexpr std::size_t kFrames = 5;
  for (const int32_t format : {ORQ_FORMAT_RAW8, ORQ_FORMAT_RAW16, ORQ_FORMAT_RGB24, ORQ_FORMAT_Y8}) {
    SCOPED_TRACE(format);
    const ApiCamera camera;
    camera.Corner(format);
    orq_reader_options every{};
    every.size = sizeof every;
    every.mode = ORQ_READ_EVERY;
    every.depth = 64;
    orq_reader* reader = nullptr;
    ASSERT_EQ(orq_reader_open(camera.camera, &every, &reader), ORQ_OK) << orq_last_error();
    const std::string folder = Path(("f" + std::to_string(format)).c_str());
    const std::string file = folder + ".fits";
    orq_recording_options options = Limit(kFrames);
    ApiRecording cube;
    ASSERT_EQ(orq_recording_start(camera.camera, file.c_str(), &options, &cube.recording), ORQ_OK)
        << orq_last_error();
    ApiRecording files;
    ASSERT_EQ(orq_recording_start(camera.camera, (folder + "/").c_str(), &options, &files.recording), ORQ_OK)
        << orq_last_error();
    ASSERT_EQ(orq_video_start(camera.camera), ORQ_OK) << orq_last_error();
    cube.ExpectEnd(ORQ_RECORDING_FRAMES);
    files.ExpectEnd(ORQ_RECORDING_FRAMES);
    ASSERT_EQ(orq_video_stop(camera.camera), ORQ_OK);
    const Fits read(file);
    const bool colour = format == ORQ_FORMAT_RGB24;
    EXPECT_EQ(read.Number(colour ? "NAXIS4" : "NAXIS3"), static_cast<std::int64_t>(kFrames));
    EXPECT_EQ(read.Number("BITPIX"), format == ORQ_FORMAT_RAW16 ? 16 : 8);
    EXPECT_EQ(cube.State().bytes, std::filesystem::file_size(file));
    std::uintmax_t sum = 0;
    for (std::size_t i = 0; i < kFrames; ++i) {
      ApiFrame frame;
      ASSERT_EQ(orq_reader_wait(reader, kPatienceMs, &frame.frame), ORQ_OK) << orq_last_error();
      const std::string expected = AsInFits(frame.Pixels(), format);
      EXPECT_TRUE(read.data.substr(i * expected.size(), expected.size()) == expected) << "frame " << i;
      const std::string one = folder + "/00000" + std::to_string(i + 1) + ".fits";
      const Fits single(one);
      EXPECT_TRUE(single.data.substr(0, expected.size()) == expected) << "frame " << i;
      EXPECT_EQ(single.Number("CAMSEQ"), static_cast<std::int64_t>(frame.Info().sequence));
      sum += std::filesystem::file_size(one);
    }
    EXPECT_EQ(files.State().bytes, sum);
    orq_reader_release(reader);
  }
}

TEST_F(Recordings, AreOfTheFormThatIsAskedFor) {
  const ApiCamera camera;
  camera.Corner();
  const auto planned = [&](int32_t form, const std::string& name) {
    orq_recording_options options = Limit(1);
    options.form = form;
    orq_recording_plan plan{};
    plan.size = sizeof plan;
    const orq_status status = orq_recording_plan_get(camera.camera, name.c_str(), &options, &plan);
    return status == ORQ_OK ? plan.form : -1 - static_cast<int>(status);
  };
  constexpr int kInvalid = -1 - static_cast<int>(ORQ_ERROR_INVALID);
  EXPECT_EQ(planned(ORQ_RECORDING_BY_NAME, Path("a.ser")), ORQ_RECORDING_SER);
  EXPECT_EQ(planned(ORQ_RECORDING_BY_NAME, Path("a.FITS")), ORQ_RECORDING_CUBE);
  EXPECT_EQ(planned(ORQ_RECORDING_BY_NAME, Path("a.fit")), ORQ_RECORDING_CUBE);
  EXPECT_EQ(planned(ORQ_RECORDING_BY_NAME, Path("a//")), ORQ_RECORDING_FOLDER);
  EXPECT_EQ(planned(ORQ_RECORDING_FOLDER, Path("a")), ORQ_RECORDING_FOLDER);
  EXPECT_EQ(planned(ORQ_RECORDING_BY_NAME, Path("a")), kInvalid);
  EXPECT_EQ(planned(ORQ_RECORDING_SER, Path("a.fits")), kInvalid);
  EXPECT_EQ(planned(ORQ_RECORDING_CUBE, Path("a.ser")), kInvalid);
  EXPECT_EQ(planned(ORQ_RECORDING_CUBE, Path("a.fits.fz")), kInvalid);
  EXPECT_EQ(planned(4, Path("a.ser")), kInvalid);
  EXPECT_EQ(planned(-1, Path("a.ser")), kInvalid);
  EXPECT_EQ(planned(ORQ_RECORDING_FOLDER, "/"), kInvalid);
  std::ofstream(Path("file")) << "other";
  EXPECT_EQ(planned(ORQ_RECORDING_FOLDER, Path("file")), -1 - static_cast<int>(ORQ_ERROR_FILE));
}

TEST_F(Recordings, AsCubesEndAtTheirSizeWithAWholeFile) {
  const ApiCamera camera;
  camera.Corner();
  orq_recording_options options = Limit(0);
  options.bytes = 100'000;
  ApiRecording recording;
  ASSERT_EQ(orq_recording_start(camera.camera, Path("a.fits").c_str(), &options, &recording.recording), ORQ_OK);
  ASSERT_EQ(orq_video_start(camera.camera), ORQ_OK);
  recording.ExpectEnd(ORQ_RECORDING_SIZE);
  EXPECT_EQ(recording.State().bytes, std::filesystem::file_size(Path("a.fits")));
  EXPECT_LE(recording.State().bytes, options.bytes);
  EXPECT_GT(recording.State().bytes, options.bytes - 8192 - 2880) << "another frame would not fit";
  orq_ser_info info{};
  info.size = sizeof info;
  ASSERT_EQ(orq_ser_get_info(Path("a.fits").c_str(), &info), ORQ_OK) << orq_last_error();
  EXPECT_EQ(info.whole, 1) << info.trouble;
  EXPECT_EQ(info.frames, recording.State().frames);
  EXPECT_EQ(info.stamps, info.frames);
  EXPECT_EQ(info.whole_frames, info.frames);
  EXPECT_EQ(info.frame_bytes, 64U * 64);
  EXPECT_STREQ(info.colour_name, "RGGB");
  EXPECT_EQ(info.first_unix_ns, recording.State().first_unix_ns);
  orq_path written{};
  written.size = sizeof written;
  const std::string to = Path("x{n}.fits");
  ASSERT_EQ(orq_ser_extract(Path("a.fits").c_str(), 1, to.c_str(), nullptr, &written), ORQ_OK) << orq_last_error();
  EXPECT_EQ(written.path, Path("x1.fits"));
  EXPECT_EQ(orq_ser_extract(Path("a.fits").c_str(), info.frames + 1, to.c_str(), nullptr, &written),
            ORQ_ERROR_RANGE);
}

TEST_F(Recordings, HaveThePatternThatFramesBeginWith) {
  const std::map<int32_t, int32_t> colours = {
      {ORQ_BAYER_RGGB, 8}, {ORQ_BAYER_GRBG, 9}, {ORQ_BAYER_GBRG, 10}, {ORQ_BAYER_BGGR, 11}};
  const ApiCamera camera;
  for (const int64_t flip : {0, 1, 2, 3}) {
    camera.Corner();
    ASSERT_EQ(orq_control_set(camera.camera, ORQ_CONTROL_FLIP, flip, ORQ_MANUAL), ORQ_OK) << orq_last_error();
    int32_t bayer = 0;
    ASSERT_EQ(orq_region_get_bayer(camera.camera, &bayer), ORQ_OK);
    CompareWithReader(camera, Path((std::to_string(flip) + ".ser").c_str()), colours.at(bayer), 8);
  }
}

TEST_F(Recordings, SayWhoAndWhatInTheHeader) {
  const ApiCamera camera;
  camera.Corner();
  orq_labels labels{};
  labels.size = sizeof labels;
  std::snprintf(labels.observer, sizeof labels.observer, "Ann Observer");
  ASSERT_EQ(orq_labels_set(camera.camera, &labels), ORQ_OK);
  ASSERT_EQ(orq_keyword_set(camera.camera, "TELESCOP=Newton 150/750"), ORQ_OK);
  CompareWithReader(camera, Path(), 8, 8);
  orq_ser_info info{};
  info.size = sizeof info;
  ASSERT_EQ(orq_ser_get_info(Path().c_str(), &info), ORQ_OK) << orq_last_error();
  EXPECT_STREQ(info.observer, "Ann Observer");
  EXPECT_STREQ(info.instrument, "Tavix ORQ-K1C");
  EXPECT_STREQ(info.telescope, "Newton 150/750");
  EXPECT_STREQ(info.colour_name, "RGGB");
  EXPECT_EQ(info.whole, 1) << info.trouble;
  EXPECT_EQ(info.frames, 12U);
  EXPECT_EQ(info.stamps, 12U);
  EXPECT_EQ(info.differing, 0U);
  EXPECT_EQ(info.described, 1);
  const Ser ser(Path());
  EXPECT_EQ(info.first_unix_ns, ser.Time(0));
  EXPECT_EQ(info.last_unix_ns, ser.Time(11));
  EXPECT_EQ(info.header_unix_ns, ser.Time(0));
}

TEST_F(Recordings, AreToldBeforehand) {
  const ApiCamera camera;
  camera.Corner(ORQ_FORMAT_RAW16);
  orq_recording_options options = Limit(0);
  options.ring_mb = 1;
  orq_recording_plan plan{};
  plan.size = sizeof plan;
  ASSERT_EQ(orq_recording_plan_get(camera.camera, Path("{camera}.ser").c_str(), &options, &plan), ORQ_OK)
      << orq_last_error();
  EXPECT_EQ(plan.file, Path("k1c.ser"));
  EXPECT_EQ(plan.times_file, Path("k1c.ser.txt"));
  EXPECT_EQ(plan.form, ORQ_RECORDING_SER);
  EXPECT_EQ(plan.width, 64);
  EXPECT_EQ(plan.frame_bytes, 64U * 64 * 2);
  EXPECT_EQ(plan.ring_frames, (1U << 20U) / (64 * 64 * 2));
  EXPECT_NEAR(static_cast<double>(plan.free_frames), static_cast<double>(plan.free_bytes) / (64 * 64 * 2 + 8),
              1.0);
  EXPECT_TRUE(std::filesystem::is_empty(directory_.Path()));
}

TEST_F(Recordings, AreRefusedWhereNoneCanBeMade) {
  const ApiCamera camera;
  camera.Corner();
  orq_recording* recording = nullptr;
  const auto start = [&](const std::string& path) {
    return orq_recording_start(camera.camera, path.c_str(), nullptr, &recording);
  };
  EXPECT_EQ(start(Path("a.avi")), ORQ_ERROR_INVALID);
  EXPECT_EQ(start(Path("{n}.ser")), ORQ_ERROR_INVALID);
  EXPECT_EQ(start(Path("none/a.ser")), ORQ_ERROR_FILE);
  std::ofstream(Path("there.ser")) << "other";
  EXPECT_EQ(start(Path("there.ser")), ORQ_ERROR_FILE);
  std::ofstream(Path("text.ser.txt")) << "other";
  EXPECT_EQ(start(Path("text.ser")), ORQ_ERROR_FILE);
  EXPECT_FALSE(std::filesystem::exists(Path("text.ser")));
  EXPECT_EQ(recording, nullptr);
}

TEST_F(Recordings, EndAtTheirSizeWithAWholeFile) {
  const ApiCamera camera;
  camera.Corner();
  orq_recording_options options = Limit(0);
  options.bytes = 178 + 5 * (64 * 64 + 8) + 100;
  ApiRecording recording;
  ASSERT_EQ(orq_recording_start(camera.camera, Path().c_str(), &options, &recording.recording), ORQ_OK);
  ASSERT_EQ(orq_video_start(camera.camera), ORQ_OK);
  recording.ExpectEnd(ORQ_RECORDING_SIZE);
  EXPECT_EQ(Ser(Path()).Frames(), 5U);
  EXPECT_EQ(recording.State().bytes, std::filesystem::file_size(Path()));
}

TEST_F(Recordings, EndWhenTheyAreToldTo) {
  const ApiCamera camera;
  camera.Corner();
  ApiRecording recording;
  ASSERT_EQ(orq_recording_start(camera.camera, Path().c_str(), nullptr, &recording.recording), ORQ_OK);
  EXPECT_EQ(orq_recording_wait(recording.recording, 0), ORQ_ERROR_TIMEOUT);
  ASSERT_EQ(orq_video_start(camera.camera), ORQ_OK);
  ASSERT_TRUE(Eventually([&] { return recording.State().frames >= 3; }));
  ASSERT_EQ(orq_recording_stop(recording.recording), ORQ_OK);
  recording.ExpectEnd(ORQ_RECORDING_STOPPED);
  EXPECT_EQ(Ser(Path()).Frames(), recording.State().frames);
}

TEST_F(Recordings, EndAfterTheirTime) {
  const ApiCamera camera;
  camera.Corner();
  orq_recording_options options = Limit(0);
  options.duration_us = 200'000;
  ApiRecording recording;
  ASSERT_EQ(orq_recording_start(camera.camera, Path().c_str(), &options, &recording.recording), ORQ_OK);
  ASSERT_EQ(orq_video_start(camera.camera), ORQ_OK);
  recording.ExpectEnd(ORQ_RECORDING_TIME);
  EXPECT_GE(recording.State().seconds, 0.2);
  EXPECT_GE(Ser(Path()).Frames(), 1U);
}

TEST_F(Recordings, EndWithTheVideo) {
  const ApiCamera camera;
  camera.Corner();
  ApiRecording recording;
  ASSERT_EQ(orq_recording_start(camera.camera, Path().c_str(), nullptr, &recording.recording), ORQ_OK);
  ASSERT_EQ(orq_video_start(camera.camera), ORQ_OK);
  ASSERT_TRUE(Eventually([&] { return recording.State().frames >= 3; }));
  ASSERT_EQ(orq_video_stop(camera.camera), ORQ_OK);
  recording.ExpectEnd(ORQ_RECORDING_VIDEO_ENDED);
  EXPECT_EQ(Ser(Path()).Frames(), recording.State().frames);
}

TEST_F(Recordings, EndWithAWholeFileWhenTheCameraIsUnplugged) {
  const ApiCamera camera;
  camera.Corner();
  ApiRecording recording;
  ASSERT_EQ(orq_recording_start(camera.camera, Path().c_str(), nullptr, &recording.recording), ORQ_OK);
  ASSERT_EQ(orq_video_start(camera.camera), ORQ_OK);
  ASSERT_TRUE(Eventually([&] { return recording.State().frames >= 3; }));
  ASSERT_EQ(orq_camera_unplug_virtual(camera.camera), ORQ_OK);
  recording.ExpectEnd(ORQ_RECORDING_LOST);
  EXPECT_EQ(Ser(Path()).Frames(), recording.State().frames);
}

TEST_F(Recordings, EndWhenTheCameraIsClosed) {
  const ApiCamera camera;
  camera.Corner();
  ApiRecording recording;
  ASSERT_EQ(orq_recording_start(camera.camera, Path().c_str(), nullptr, &recording.recording), ORQ_OK);
  ASSERT_EQ(orq_camera_close(camera.camera), ORQ_OK);
  recording.ExpectEnd(ORQ_RECORDING_VIDEO_ENDED);
  EXPECT_TRUE(std::filesystem::is_empty(directory_.Path())) << "no frame, no file";
}

TEST_F(Recordings, EndWhenFramesOfAnotherSizeCome) {
  const ApiCamera camera;
  camera.Corner();
  ApiRecording recording;
  ASSERT_EQ(orq_recording_start(camera.camera, Path().c_str(), nullptr, &recording.recording), ORQ_OK);
  ASSERT_EQ(orq_video_start(camera.camera), ORQ_OK);
  ASSERT_TRUE(Eventually([&] { return recording.State().frames >= 3; }));
  camera.Corner(ORQ_FORMAT_RAW8, 128);
  recording.ExpectEnd(ORQ_RECORDING_CHANGED);
  EXPECT_NE(recording.State().trouble[0], '\0');
  EXPECT_EQ(Ser(Path()).Frames(), recording.State().frames);
}

TEST_F(Recordings, GoOnWhenTheRegionMoves) {
  const ApiCamera camera;
  camera.Corner();
  ApiRecording recording;
  ASSERT_EQ(orq_recording_start(camera.camera, Path().c_str(), nullptr, &recording.recording), ORQ_OK);
  ASSERT_EQ(orq_video_start(camera.camera), ORQ_OK);
  ASSERT_TRUE(Eventually([&] { return recording.State().frames >= 3; }));
  const orq_region moved{sizeof moved, 128, 64, 64, 64, 1, ORQ_FORMAT_RAW8, 0};
  ASSERT_EQ(orq_region_set(camera.camera, &moved, nullptr), ORQ_OK) << orq_last_error();
  const auto before = recording.State().frames;
  ASSERT_TRUE(Eventually([&] { return recording.State().frames >= before + 3; })) << recording.State().end;
  ASSERT_EQ(orq_recording_stop(recording.recording), ORQ_OK);
  recording.ExpectEnd(ORQ_RECORDING_STOPPED);
  std::ifstream text(Path("a.ser.txt"));
  std::string line;
  bool told = false;
  while (std::getline(text, line)) told = told || line.ends_with(" 128 64");
  EXPECT_TRUE(told);
}

TEST_F(Recordings, GiveTheirMemoryBack) {
  const ApiCamera camera;
  camera.Corner();
  FramePool& pool = camera.camera->camera->Frames().Pool();
  CompareWithReader(camera, Path(), 8, 8);
  const std::size_t size = pool.Limit() + 1;
  EXPECT_FALSE(pool.Acquire(size)) << "beyond the limit again";
}

TEST_F(Recordings, TellGapsOneByOne) {
  const ApiCamera camera(Quick("k1c", ",drop=0.3,seed=3"));
  camera.Corner();
  ApiRecording recording;
  orq_recording_options options = Limit(60);
  ASSERT_EQ(orq_recording_start(camera.camera, Path().c_str(), &options, &recording.recording), ORQ_OK);
  ASSERT_EQ(orq_video_start(camera.camera), ORQ_OK);
  recording.ExpectEnd(ORQ_RECORDING_FRAMES);
  std::uint64_t missing = 0;
  std::uint64_t last = 1;
  orq_missing_frames gap{};
  gap.size = sizeof gap;
  for (std::uint64_t i = 0; orq_recording_get_missing(recording.recording, i, &gap) == ORQ_OK; ++i) {
    EXPECT_EQ(gap.cause, ORQ_MISSING_CAMERA);
    EXPECT_GT(gap.first, last);
    missing += gap.last - gap.first + 1;
    last = gap.last;
  }
  EXPECT_GT(missing, 0U);
  EXPECT_EQ(recording.State().lost, missing);
  EXPECT_EQ(recording.State().missed, 0U);
  // The text numbers the frames that are there: between its first and its last number lie all others.
  std::ifstream text(Path("a.ser.txt"));
  std::string line;
  std::uint64_t frame = 0;
  std::uint64_t number = 0;
  while (std::getline(text, line))
    if (line.front() != '#') std::sscanf(line.c_str(), "%lu %lu", &frame, &number);
  EXPECT_EQ(frame, 60U);
  EXPECT_EQ(number, 60 + missing);
}

TEST_F(Recordings, AreTakenOutFrameByFrame) {
  const ApiCamera camera;
  camera.Corner(ORQ_FORMAT_RAW16);
  CompareWithReader(camera, Path(), 8, 16);
  orq_path written{};
  written.size = sizeof written;
  ASSERT_EQ(orq_ser_extract(Path().c_str(), 12, Path("{n:03}.fits").c_str(), nullptr, &written), ORQ_OK)
      << orq_last_error();
  EXPECT_EQ(written.path, Path("012.fits"));
  EXPECT_EQ(orq_ser_extract(Path().c_str(), 13, Path("x.fits").c_str(), nullptr, &written), ORQ_ERROR_RANGE);
  EXPECT_EQ(orq_ser_extract(Path().c_str(), 0, Path("x.fits").c_str(), nullptr, &written), ORQ_ERROR_RANGE);
  EXPECT_EQ(orq_ser_extract(Path().c_str(), 1, Path("x.raw").c_str(), nullptr, &written), ORQ_ERROR_INVALID);
  EXPECT_EQ(orq_ser_extract(Path().c_str(), 12, Path("012.fits").c_str(), nullptr, &written), ORQ_ERROR_FILE);
  EXPECT_EQ(orq_ser_extract(Path("none").c_str(), 1, Path("x.fits").c_str(), nullptr, &written), ORQ_ERROR_FILE);
}

TEST_F(Recordings, AreMendedWhenTheyWereCutOff) {
  const ApiCamera camera;
  camera.Corner();
  CompareWithReader(camera, Path(), 8, 8);
  std::filesystem::resize_file(Path(), 178 + 7 * 64 * 64 + 5);
  orq_ser_info info{};
  info.size = sizeof info;
  ASSERT_EQ(orq_ser_get_info(Path().c_str(), &info), ORQ_OK);
  EXPECT_EQ(info.whole, 0);
  EXPECT_STREQ(info.trouble, "it is cut off: 7 of 12 frames are whole");
  orq_ser_repaired repaired{};
  repaired.size = sizeof repaired;
  ASSERT_EQ(orq_ser_repair(Path().c_str(), &repaired), ORQ_OK) << orq_last_error();
  EXPECT_EQ(repaired.changed, 1);
  EXPECT_EQ(repaired.frames, 7U);
  EXPECT_EQ(repaired.timed, 7U);
  EXPECT_EQ(Ser(Path()).Frames(), 7U);
}

TEST_F(Recordings, ADiscIsLookedForInFrames) {
  const ApiCamera camera;
  camera.Corner();
  ASSERT_EQ(orq_exposure_start(camera.camera, 1000), ORQ_OK);
  ApiFrame frame;
  ASSERT_EQ(orq_frame_wait(camera.camera, kPatienceMs, &frame.frame), ORQ_OK);
  orq_disc disc{};
  disc.size = sizeof disc;
  EXPECT_EQ(orq_frame_get_disc(frame.frame, &disc), ORQ_ERROR_NOT_FOUND) << "even light shows none";
}

}  // namespace
}  // namespace orq
