// Flash work, the focus motor and registers through the C interface.
#include <cstring>
#include <filesystem>

#include "Camera.h"
#include "link/WireProtocol.h"
#include "models/table/ModelData.h"
#include "orqcam/orqcam-expert.h"
#include "unit/support/TempDirectory.h"

namespace orq {
namespace {

using test::ApiCamera;
using test::Quick;

std::string UserIdOf(const ApiCamera& camera) {
  orq_camera_info info{};
  info.size = sizeof info;
  EXPECT_EQ(orq_camera_get_info(camera.camera, &info), ORQ_OK);
  return info.user_id;
}

TEST(ApiFlash, AnIdIsStoredAfterABackupThatBringsTheOldOneBack) {
  const TempDirectory folder;
  const ApiCamera camera(Quick("k1c"));
  int told = 0;
  const auto tell = [](void* user, const orq_flash_progress* at) {
    EXPECT_LE(at->done, at->total);
    EXPECT_NE(at->step[0], '\0');
    ++*static_cast<int*>(user);
  };
  ASSERT_EQ(orq_flash_save(camera.camera, folder.File("before").c_str(), 0, tell, &told), ORQ_OK)
      << orq_last_error();
  EXPECT_GT(told, 0);
  EXPECT_EQ(orq_flash_save(camera.camera, folder.File("before").c_str(), 0, nullptr, nullptr), ORQ_ERROR_FILE);
  const std::string backups = folder.File("backups");
  ASSERT_EQ(orq_user_id_set(camera.camera, "north", backups.c_str(), nullptr, nullptr), ORQ_OK)
      << orq_last_error();
  EXPECT_EQ(UserIdOf(camera), "north");
  orq_user_id id{};
  id.size = sizeof id;
  ASSERT_EQ(orq_user_id_get(camera.camera, &id), ORQ_OK) << orq_last_error();
  EXPECT_STREQ(id.id, "north");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(backups), {}), 1);
  EXPECT_EQ(orq_user_id_set(camera.camera, "too long an id", backups.c_str(), nullptr, nullptr),
            ORQ_ERROR_INVALID);
  ASSERT_EQ(orq_flash_restore(camera.camera, folder.File("before").c_str(), 0, backups.c_str(), nullptr, nullptr),
            ORQ_OK)
      << orq_last_error();
  EXPECT_EQ(UserIdOf(camera), "");
  EXPECT_EQ(orq_flash_restore(camera.camera, folder.File("none").c_str(), 0, backups.c_str(), nullptr, nullptr),
            ORQ_ERROR_FILE);
  const ApiCamera other(Quick("k1m"));
  EXPECT_EQ(orq_flash_restore(other.camera, folder.File("before").c_str(), 0, backups.c_str(), nullptr, nullptr),
            ORQ_ERROR_INVALID);
}

orq_flash_file FileOf(const ApiCamera& camera, const std::string& path) {
  orq_flash_file file{};
  file.size = sizeof file;
  EXPECT_EQ(orq_flash_read_file(camera.camera, path.c_str(), &file), ORQ_OK) << orq_last_error();
  return file;
}

std::string BackupOf(const ApiCamera& camera) {
  orq_path path{};
  path.size = sizeof path;
  EXPECT_EQ(orq_flash_get_backup(camera.camera, &path), ORQ_OK) << orq_last_error();
  return path.path;
}

TEST(ApiFlash, AFileTellsWhoseItIsAndAnotherCameraTakesItWhenTold) {
  const TempDirectory folder;
  const std::string path = folder.File("flash");
  const std::string backups = folder.File("backups");
  const ApiCamera camera(Quick("k1c", ",serial=0123456789abcdef"));
  const ApiCamera other(Quick("k1c", ",serial=fedcba9876543210"));
  ASSERT_EQ(orq_user_id_set(camera.camera, "north", backups.c_str(), nullptr, nullptr), ORQ_OK)
      << orq_last_error();
  ASSERT_EQ(orq_flash_save(camera.camera, path.c_str(), 0, nullptr, nullptr), ORQ_OK) << orq_last_error();
  const orq_flash_file file = FileOf(camera, path);
  EXPECT_EQ(file.bytes, 262'144U) << "a record area of three sectors and the parameters' sector, 64 KiB each";
  EXPECT_EQ(file.is_of_camera, 1);
  EXPECT_STREQ(file.serial, "0123456789abcdef");
  EXPECT_EQ(FileOf(other, path).is_of_camera, 0);

  EXPECT_EQ(BackupOf(other), "");
  EXPECT_EQ(orq_flash_restore(other.camera, path.c_str(), 0, backups.c_str(), nullptr, nullptr),
            ORQ_ERROR_INVALID);
  EXPECT_EQ(BackupOf(other), "") << "nothing was to be overwritten";
  orq_flash_comparison comparison{};
  comparison.size = sizeof comparison;
  ASSERT_EQ(orq_flash_compare(other.camera, path.c_str(), nullptr, nullptr, &comparison), ORQ_OK);
  EXPECT_EQ(comparison.same, 0);
  EXPECT_NE(std::string(comparison.difference).find("at 0x70000"), std::string::npos) << "the id's page";
  ASSERT_EQ(orq_flash_restore(other.camera, path.c_str(), 1, backups.c_str(), nullptr, nullptr), ORQ_OK)
      << orq_last_error();
  ASSERT_EQ(orq_flash_compare(other.camera, path.c_str(), nullptr, nullptr, &comparison), ORQ_OK);
  EXPECT_EQ(comparison.same, 1);
  EXPECT_STREQ(comparison.difference, "");
  EXPECT_EQ(UserIdOf(other), "north");
  ASSERT_EQ(orq_camera_close(other.camera), ORQ_OK);
  EXPECT_EQ(BackupOf(other).rfind(backups + "/flash-fedcba9876543210-", 0), 0U) << BackupOf(other);
}

TEST(ApiFlash, AnAbortAfterTheBackupChangesNothing) {
  const TempDirectory folder;
  const ApiCamera camera(Quick("k1c"));
  const auto stopAtTheEnd = [](void* user, const orq_flash_progress* at) {
    if (at->done == at->total) orq_capture_abort(static_cast<orq_camera*>(user));
  };
  EXPECT_EQ(orq_user_id_set(camera.camera, "north", folder.File("backups").c_str(), stopAtTheEnd, camera.camera),
            ORQ_ERROR_CANCELLED);
  EXPECT_STREQ(orq_last_error(), "interrupted; nothing was changed");
  EXPECT_EQ(BackupOf(camera), "");
  EXPECT_EQ(UserIdOf(camera), "");
}

TEST(ApiFlash, WorkKeepsTheCameraOpenAndIsEndedByAnAbort) {
  const TempDirectory folder;
  const ApiCamera camera("virtual:k1c,flashms=20");
  auto work = test::Waiting(
      [&] { return orq_flash_save(camera.camera, folder.File("flash").c_str(), 0, nullptr, nullptr); });
  EXPECT_EQ(orq_camera_close(camera.camera), ORQ_ERROR_BUSY) << orq_last_error();
  ASSERT_EQ(orq_capture_abort(camera.camera), ORQ_OK);
  EXPECT_EQ(work.get(), ORQ_ERROR_CANCELLED);
  EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
  EXPECT_EQ(orq_camera_close(camera.camera), ORQ_OK);
}

TEST(ApiFlash, NothingIsTouchedWhileACaptureRuns) {
  const TempDirectory folder;
  const ApiCamera camera(Quick("k1c"));
  camera.Corner();
  ASSERT_EQ(orq_video_start(camera.camera), ORQ_OK);
  EXPECT_EQ(orq_flash_save(camera.camera, folder.File("flash").c_str(), 0, nullptr, nullptr), ORQ_ERROR_STATE)
      << orq_last_error();
  EXPECT_EQ(orq_video_stop(camera.camera), ORQ_OK);
}

TEST(ApiFlash, AnExposureThatIsOverKeepsNobodyWaiting) {
  const TempDirectory folder;
  const ApiCamera camera("virtual:h53m,timescale=0,scene=dark");
  camera.Corner();
  const orq_dark_options options{sizeof options, 1, 1, 0};
  for (int round = 0; round < 20; ++round) {
    ASSERT_EQ(orq_exposure_start(camera.camera, 1000), ORQ_OK) << orq_last_error();
    test::ApiFrame frame;
    ASSERT_EQ(orq_frame_wait(camera.camera, test::kPatienceMs, &frame.frame), ORQ_OK) << orq_last_error();
    if (round % 2 == 0) {
      ASSERT_EQ(orq_dark_take(camera.camera, folder.File("dark.bmp").c_str(), &options, nullptr, nullptr, nullptr),
                ORQ_OK)
          << orq_last_error();
      continue;
    }
    ASSERT_EQ(orq_flash_save(camera.camera, folder.File("flash").c_str(), 1, nullptr, nullptr), ORQ_OK)
        << orq_last_error();
  }
}

TEST(ApiFlash, AnIdThatCannotBeReadIsRefused) {
  const ApiCamera camera;
  camera.Device().FailRequests(wire::kReqFlashRead, kUsbPipe);
  orq_user_id id{};
  id.size = sizeof id;
  EXPECT_EQ(orq_user_id_get(camera.camera, &id), ORQ_ERROR_REFUSED);
}

TEST(ApiSensorId, ItBeginsWithTheSerialNumber) {
  const ApiCamera camera(Quick("k1c", ",serial=0123456789abcdef"));
  orq_sensor_id id{};
  id.size = sizeof id;
  ASSERT_EQ(orq_sensor_id_get(camera.camera, &id), ORQ_OK) << orq_last_error();
  EXPECT_EQ(std::string(id.id).substr(0, 16), "0123456789abcdef");
  EXPECT_EQ(std::strlen(id.id), 22U);
  camera.Device().FailRequests(wire::kReqReadSensor, kUsbPipe);
  EXPECT_EQ(orq_sensor_id_get(camera.camera, &id), ORQ_ERROR_REFUSED);
}

TEST(ApiFocus, TheLensGoesWhereItIsSent) {
  for (const ModelData& model : AllModels()) {
    if (model.maxWidth == 0) continue;
    const ApiCamera camera(Quick(std::string(model.key)));
    orq_focus_state state{};
    state.size = sizeof state;
    if (model.focusMotorRequest == 0) {
      EXPECT_EQ(orq_focus_get(camera.camera, &state), ORQ_ERROR_UNSUPPORTED) << model.key;
      continue;
    }
    ASSERT_EQ(orq_focus_move(camera.camera, 700), ORQ_OK) << orq_last_error();
    ASSERT_EQ(orq_focus_get(camera.camera, &state), ORQ_OK) << orq_last_error();
    EXPECT_EQ(state.position, 700);
    EXPECT_EQ(state.moving, 0);
    EXPECT_EQ(state.driver_id, 0xF2) << "the number of this driver's kind";
    EXPECT_EQ(orq_focus_move(camera.camera, 1024), ORQ_ERROR_RANGE);
    EXPECT_EQ(orq_focus_move(camera.camera, -1), ORQ_ERROR_RANGE);
  }
}

TEST(ApiExpert, RegistersAreWrittenAndReadAtTheDevice) {
  const ApiCamera camera;
  constexpr std::uint32_t kSpare = 0x2F0;
  ASSERT_EQ(orq_expert_register_write(camera.camera, ORQ_CHIP_SENSOR, kSpare, 0x5A), ORQ_OK) << orq_last_error();
  EXPECT_EQ(camera.Device().SensorRegister(kSpare), 0x5A);
  uint8_t value = 0;
  ASSERT_EQ(orq_expert_register_read(camera.camera, ORQ_CHIP_SENSOR, kSpare, &value), ORQ_OK);
  EXPECT_EQ(value, 0x5A);
  EXPECT_EQ(orq_expert_register_read(camera.camera, 2, 0, &value), ORQ_ERROR_INVALID);
  EXPECT_EQ(orq_expert_register_read(camera.camera, ORQ_CHIP_FPGA, 0x10000, &value), ORQ_ERROR_RANGE);
  EXPECT_EQ(orq_expert_register_write(camera.camera, ORQ_CHIP_FPGA, 0, 256), ORQ_ERROR_RANGE);
  EXPECT_EQ(orq_expert_request(camera.camera, 1, 0xEE, 0, 0, &value, 1), ORQ_ERROR_REFUSED) << orq_last_error();
  EXPECT_EQ(orq_expert_request(camera.camera, 1, 0x100, 0, 0, &value, 1), ORQ_ERROR_RANGE);
}

}  // namespace
}  // namespace orq
