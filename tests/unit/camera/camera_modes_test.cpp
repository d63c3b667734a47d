#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <thread>
#include <vector>

#include "support/LogText.h"
#include "support/RecordingCamera.h"

namespace {

using orq::test::Line;
using orq::test::LogText;
using orq::test::RecordingCamera;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kStopOutput = "40 D1 00 00 00 00 00 00";
constexpr const char* kReadTrigger = "C0 D0 02 00 00 00 01 00";
constexpr const char* kReadSync = "C0 D0 03 00 00 00 01 00";
constexpr const char* kHold = "40 D1 01 00 01 00 00 00";
constexpr const char* kRelease = "40 D1 01 00 00 00 00 00";

/// Waits out its stop.
void UntilStopped(bool* running, void*) {
  while (ThreadCtrl::KeepRunning(running)) std::this_thread::yield();
}

class CameraModes : public testing::Test {
 protected:
  CameraModes() {
    camera.captureThr.InitFuncPt(UntilStopped);
    camera.exposureThr.InitFuncPt(UntilStopped);
  }
  ~CameraModes() override { camera.CloseCamera(); }

  void Open(int fpgaType) {
    camera.port->fpga[28] = static_cast<std::uint8_t>(fpgaType);
    ASSERT_EQ(camera.OpenCamera(0), 1);
    Forget();
  }
  void Forget() {
    camera.TakeCalls();
    camera.port->TakeEvents();
  }
  void SetFlags(int any, int modes1to3, int modes4to6) {
    camera.supportTrigger = static_cast<std::uint8_t>(any);
    camera.supportModes1to3 = static_cast<std::uint8_t>(modes1to3);
    camera.supportModes4to6 = static_cast<std::uint8_t>(modes4to6);
  }
  std::vector<int> Flags() const {
    return {camera.supportTrigger, camera.supportModes1to3, camera.supportModes4to6};
  }
  std::vector<int> Listed() {
    _ORQ_SUPPORTED_MODE list;
    for (CAM_MODE& mode : list.modes) mode = 99;
    EXPECT_EQ(camera.GetCameraSupportedMode(&list), 1);
    std::vector<int> modes;
    for (const CAM_MODE mode : list.modes) {
      if (mode == -1) return modes;
      modes.push_back(mode);
    }
    ADD_FAILURE() << "the list has no end";
    return modes;
  }
  /// What asking for each of the modes 0 to 6 answers, each from a fresh start in mode `from`.
  std::vector<int> Answers(int from) {
    std::vector<int> answers;
    for (int mode = 0; mode <= 6; ++mode) {
      camera.camMode = from;
      answers.push_back(camera.SetCameraMode(mode));
    }
    return answers;
  }

  RecordingCamera camera;
};

// What a camera offers ----------------------------------------------------------------------------------------

TEST_F(CameraModes, TheFpgasTypeDecidesWhatIsOffered) {
  for (int type = 0; type <= 0xFF; ++type) {
    camera.port->fpga[28] = static_cast<std::uint8_t>(type);
    camera.CameraModeCheck();
    const std::vector<int> expected = type >= 0xC0   ? std::vector{1, 1, 1}
                                      : type >= 0xA0 ? std::vector{1, 1, 0}
                                                     : std::vector{0, 0, 0};
    EXPECT_EQ(Flags(), expected) << type;
  }
}

TEST_F(CameraModes, TheTypeIsReadFromRegister28) {
  Open(0xA0);
  camera.CameraModeCheck();
  EXPECT_THAT(camera.port->TakeEvents(), ElementsAre("C0 D0 1C 00 00 00 01 00"));
}

TEST_F(CameraModes, ATypeThatCannotBeReadTakesAllTriggerModesAway) {
  Open(0xFF);
  ASSERT_EQ(Flags(), (std::vector{1, 1, 1}));
  camera.port->refusedRequests.insert(0xD0);
  camera.CameraModeCheck();
  EXPECT_EQ(Flags(), (std::vector{0, 0, 0}));
}

TEST_F(CameraModes, TheListHoldsTheGroupsThatAreNamed) {
  EXPECT_THAT(Listed(), ElementsAre(0));
  Open(0x9F);
  EXPECT_THAT(Listed(), ElementsAre(0));
  SetFlags(1, 1, 0);
  EXPECT_THAT(Listed(), ElementsAre(0, 1, 2, 3));
  SetFlags(1, 1, 1);
  EXPECT_THAT(Listed(), ElementsAre(0, 1, 2, 3, 4, 5, 6));
  SetFlags(1, 0, 1);
  EXPECT_THAT(Listed(), ElementsAre(0, 4, 5, 6));
  SetFlags(1, 0, 0);
  EXPECT_THAT(Listed(), ElementsAre(0));
  SetFlags(0, 1, 1);
  EXPECT_THAT(Listed(), ElementsAre(0)) << "without a trigger unit the groups do not count";
}

TEST_F(CameraModes, TheListLeavesWhatIsBehindItsEndAlone) {
  SetFlags(1, 1, 1);
  _ORQ_SUPPORTED_MODE list;
  for (CAM_MODE& mode : list.modes) mode = 99;
  EXPECT_EQ(camera.GetCameraSupportedMode(&list), 1);
  EXPECT_THAT(list.modes, ElementsAre(0, 1, 2, 3, 4, 5, 6, -1, 99, 99, 99, 99, 99, 99, 99, 99));
}

TEST_F(CameraModes, AListNowhereIsRefused) {
  EXPECT_EQ(camera.GetCameraSupportedMode(nullptr), 0);
}

// Setting a mode ----------------------------------------------------------------------------------------------

TEST_F(CameraModes, ModesThatAreNotOfferedAreRefused) {
  Open(0x9F);
  EXPECT_THAT(Answers(0), ElementsAre(0, 17, 17, 17, 17, 17, 17));
  SetFlags(1, 1, 0);
  EXPECT_THAT(Answers(0), ElementsAre(0, 0, 0, 0, 17, 17, 17));
  SetFlags(1, 1, 1);
  EXPECT_THAT(Answers(0), ElementsAre(0, 0, 0, 0, 0, 0, 0));
  SetFlags(1, 0, 1);
  EXPECT_THAT(Answers(0), ElementsAre(0, 17, 17, 17, 0, 0, 0));
  SetFlags(0, 1, 1);
  EXPECT_THAT(Answers(0), ElementsAre(0, 17, 17, 17, 17, 17, 17));
}

TEST_F(CameraModes, ATriggerUnitThatNamesNoGroupTakesEveryMode) {
  Open(0xC0);
  SetFlags(1, 0, 0);
  EXPECT_THAT(Answers(0), ElementsAre(0, 0, 0, 0, 0, 0, 0));
}

TEST_F(CameraModes, TypeA5OffersTheFirstThreeAndTypeC0All) {
  Open(0xA5);
  EXPECT_THAT(Listed(), ElementsAre(0, 1, 2, 3));
  EXPECT_EQ(camera.SetCameraMode(4), 17);
  camera.CloseCamera();
  Open(0xC0);
  EXPECT_THAT(Listed(), ElementsAre(0, 1, 2, 3, 4, 5, 6));
  EXPECT_EQ(camera.SetCameraMode(4), 0);
}

TEST_F(CameraModes, NumbersThatAreNoModesAreRefusedWhateverIsOffered) {
  Open(0xC0);
  for (const int flags : {0, 1}) {
    SetFlags(1, flags, flags);
    for (const int mode : {-1, 7, 8, INT_MAX, INT_MIN}) EXPECT_EQ(camera.SetCameraMode(mode), 17) << mode;
  }
  EXPECT_EQ(camera.camMode, 0);
  EXPECT_THAT(camera.port->TakeEvents(), IsEmpty());
  EXPECT_THAT(camera.TakeCalls(), IsEmpty());
}

TEST_F(CameraModes, EverySettingIsLoggedFirst) {
  Open(0x9F);
  LogText log;
  EXPECT_EQ(camera.SetCameraMode(5), 17);
  EXPECT_EQ(camera.SetCameraMode(-3), 17);
  EXPECT_EQ(log.Text(),
            Line("SetCameraMode", "set camera mode 5\n") + Line("SetCameraMode", "set camera mode -3\n"));
}

TEST_F(CameraModes, ARunningCaptureIsNotDisturbed) {
  Open(0xC0);
  ASSERT_EQ(camera.StartCapture(false), 1);
  Forget();
  LogText log;
  EXPECT_EQ(camera.SetCameraMode(1), 12);
  EXPECT_EQ(camera.SetCameraMode(0), 12) << "also for the mode that is set";
  EXPECT_EQ(camera.SetCameraMode(9), 12) << "whatever the mode";
  EXPECT_EQ(log.Text(), Line("SetCameraMode", "set camera mode 1\n") +
                            Line("SetCameraMode", "set camera mode 0\n") +
                            Line("SetCameraMode", "set camera mode 9\n"));
  EXPECT_TRUE(camera.IsCaptureRunning());
  EXPECT_EQ(camera.camMode, 0);
  EXPECT_THAT(camera.port->TakeEvents(), IsEmpty());
}

TEST_F(CameraModes, ARunningTriggeredExposureIsNotDisturbedEither) {
  Open(0xC0);
  ASSERT_EQ(camera.SetCameraMode(2), 0);
  ASSERT_EQ(camera.StartExposure(), 1);
  ASSERT_TRUE(camera.exposureThr.IsActive());
  EXPECT_EQ(camera.SetCameraMode(0), 12);
  EXPECT_EQ(camera.camMode, 2);
}

TEST_F(CameraModes, TheModeThatIsSetIsNotSetAgain) {
  Open(0xC0);
  for (const int mode : {0, 3}) {
    camera.camMode = mode;
    EXPECT_EQ(camera.SetCameraMode(mode), 0);
    EXPECT_THAT(camera.port->TakeEvents(), IsEmpty());
    EXPECT_THAT(camera.TakeCalls(), IsEmpty());
    EXPECT_EQ(camera.camMode, mode);
  }
}

struct ModeRow {
  int mode;
  std::uint8_t normalModeTrigger;
  std::uint8_t before;
  std::vector<std::string> writes;
};

// Bits of register 2: 0 triggers only, 1 external, 2 edge, 3 high, 4 ignores its input. Written in the order
// triggers only, external, ignores, edge, high; the bits above belong to nobody and stay.
const ModeRow kRows[] = {
    {0, 0, 0x00, {"00", "00", "10"}},
    {0, 1, 0x00, {"01", "01", "11"}},
    {0, 0, 0xFF, {"FE", "FC", "FC"}},
    {0, 1, 0xFF, {"FF", "FD", "FD"}},
    {1, 0, 0x00, {"01", "01", "01", "05", "0D"}},
    {1, 1, 0xFF, {"FF", "FD", "ED", "ED", "ED"}},
    {2, 0, 0x00, {"01", "03", "03", "07", "0F"}},
    {2, 1, 0xFF, {"FF", "FF", "EF", "EF", "EF"}},
    {3, 0, 0x00, {"01", "03", "03", "07", "07"}},
    {3, 1, 0xFF, {"FF", "FF", "EF", "EF", "E7"}},
    {4, 0, 0x00, {"01", "01", "01", "01", "09"}},
    {4, 1, 0xFF, {"FF", "FD", "ED", "E9", "E9"}},
    {5, 0, 0x00, {"01", "03", "03", "03", "0B"}},
    {5, 1, 0xFF, {"FF", "FF", "EF", "EB", "EB"}},
    {6, 0, 0x00, {"01", "03", "03", "03", "03"}},
    {6, 1, 0xFF, {"FF", "FF", "EF", "EB", "E3"}},
};

TEST_F(CameraModes, EveryModeStopsTheOutputAndProgramsItsTriggerInput) {
  Open(0xC0);
  camera.exposureUs = 5'000'000'000;
  for (const ModeRow& row : kRows) {
    camera.camMode = row.mode == 0 ? 6 : 0;
    camera.normalModeFPGATrigger = row.normalModeTrigger;
    camera.port->fpga[2] = row.before;
    camera.AutoExp = row.normalModeTrigger;
    EXPECT_EQ(camera.SetCameraMode(row.mode), 0);

    std::vector<std::string> expected{kStopOutput};
    for (const std::string& value : row.writes) {
      expected.emplace_back(kReadTrigger);
      expected.push_back("40 D1 02 00 " + value + " 00 00 00");
    }
    EXPECT_EQ(camera.port->TakeEvents(), expected) << "mode " << row.mode << " from " << int{row.before};
    EXPECT_EQ(camera.camMode, row.mode);
    EXPECT_THAT(camera.TakeCalls(), ElementsAre("SetExp 5000000000 " + std::to_string(row.normalModeTrigger)));
  }
}

TEST_F(CameraModes, WhatTheDeviceAnswersIsNotExamined) {
  Open(0xC0);
  camera.port->refusedRequests = {0xD0, 0xD1};
  camera.succeed = false;
  EXPECT_EQ(camera.SetCameraMode(5), 0);
  EXPECT_EQ(camera.camMode, 5);
  EXPECT_THAT(camera.port->TakeEvents(),
              ElementsAre(kStopOutput, kReadTrigger, kReadTrigger, kReadTrigger, kReadTrigger, kReadTrigger))
      << "every setting is tried, and none that could not be read is written";
  EXPECT_THAT(camera.TakeCalls(), ElementsAre("SetExp 0 0"));
}

// Selecting a mode --------------------------------------------------------------------------------------------

TEST_F(CameraModes, SelectingStopsARunningCapture) {
  Open(0xC0);
  ASSERT_EQ(camera.StartCapture(false), 1);
  Forget();
  EXPECT_EQ(camera.SelectCameraMode(2), 1);
  EXPECT_FALSE(camera.IsCaptureRunning());
  EXPECT_EQ(camera.camMode, 2);
  EXPECT_EQ(camera.port->TakeEvents().front(), kStopOutput);
}

TEST_F(CameraModes, SelectingTheModeThatIsSetStopsTheOutputAndAppliesTheExposureOnly) {
  Open(0xC0);
  camera.camMode = 3;
  camera.exposureUs = 777;
  EXPECT_EQ(camera.SelectCameraMode(3), 1);
  EXPECT_THAT(camera.port->TakeEvents(), ElementsAre(kStopOutput));
  EXPECT_THAT(camera.TakeCalls(), ElementsAre("SetExp 777 0"));
  EXPECT_EQ(camera.camMode, 3);
}

TEST_F(CameraModes, SelectingAsksNotWhatIsOffered) {
  Open(0x00);
  EXPECT_EQ(camera.SelectCameraMode(6), 1);
  EXPECT_EQ(camera.camMode, 6);
  EXPECT_EQ(camera.port->fpga[2], 0x03);
}

TEST_F(CameraModes, SelectingWhatIsNoModeProgramsNothingAndIsStored) {
  Open(0xC0);
  camera.exposureUs = 5;
  for (const int mode : {7, 1000, -1, INT_MIN}) {
    EXPECT_EQ(camera.SelectCameraMode(mode), 1);
    EXPECT_THAT(camera.port->TakeEvents(), ElementsAre(kStopOutput));
    EXPECT_THAT(camera.TakeCalls(), ElementsAre("SetExp 5 0"));
    EXPECT_EQ(camera.camMode, mode);
  }
}

// Trigger outputs ---------------------------------------------------------------------------------------------

std::vector<std::string> OutputRequests(const std::string& enabled, const std::string& level,
                                        const std::vector<std::string>& delay,
                                        const std::vector<std::string>& keep) {
  std::vector<std::string> events{kReadSync, "40 D1 03 00 " + enabled + " 00 00 00",  //
                                  kReadSync, "40 D1 03 00 " + level + " 00 00 00", kHold};
  for (const std::string& byte : delay) events.push_back("40 D1 " + byte + " 00 00 00");
  events.insert(events.end(), {kRelease, kHold});
  for (const std::string& byte : keep) events.push_back("40 D1 " + byte + " 00 00 00");
  events.emplace_back(kRelease);
  return events;
}

TEST_F(CameraModes, OutputAIsSwitchedLevelledDelayedAndTimed) {
  Open(0xC0);
  EXPECT_EQ(camera.SetTrigOutPinConf(TRIG_OUTPUT_PINA, true, 0x01020304, 0x7FFFFFFF), 0);
  EXPECT_EQ(camera.port->TakeEvents(), OutputRequests("01", "05", {"04 00 04", "05 00 03", "06 00 02", "07 00 01"},
                                                      {"08 00 FF", "09 00 FF", "0A 00 FF", "0B 00 7F"}));
  EXPECT_EQ(camera.pinAHigh, 1);
  EXPECT_EQ(camera.pinADelay, 0x01020304);
  EXPECT_EQ(camera.pinADuration, 0x7FFFFFFF);
  EXPECT_EQ(camera.pinBDuration, 0);
  EXPECT_THAT(camera.TakeCalls(), IsEmpty());
}

TEST_F(CameraModes, OutputBIsSwitchedLevelledDelayedAndTimed) {
  Open(0xC0);
  camera.port->fpga[3] = 0xFF;
  EXPECT_EQ(camera.SetTrigOutPinConf(TRIG_OUTPUT_PINB, false, 0, 1), 0);
  EXPECT_EQ(camera.port->TakeEvents(), OutputRequests("FF", "F7", {"0C 00 00", "0D 00 00", "0E 00 00", "0F 00 00"},
                                                      {"10 00 01", "11 00 00", "12 00 00", "13 00 00"}));
  EXPECT_EQ(camera.pinBHigh, 0);
  EXPECT_EQ(camera.pinBDelay, 0);
  EXPECT_EQ(camera.pinBDuration, 1);
  EXPECT_EQ(camera.pinADuration, 0);
}

TEST_F(CameraModes, ADurationOfZeroSwitchesTheOutputOffAndIsStored) {
  Open(0xC0);
  camera.port->fpga[3] = 0x02;
  EXPECT_EQ(camera.SetTrigOutPinConf(TRIG_OUTPUT_PINB, true, 100, 0), 0);
  EXPECT_EQ(camera.port->TakeEvents(), OutputRequests("00", "08", {"0C 00 64", "0D 00 00", "0E 00 00", "0F 00 00"},
                                                      {"10 00 00", "11 00 00", "12 00 00", "13 00 00"}));
  ORQ_BOOL high = 9;
  long delay = 9;
  long duration = 9;
  EXPECT_EQ(camera.GetTrigOutPinConf(TRIG_OUTPUT_PINB, &high, &delay, &duration), 0);
  EXPECT_EQ(high, 1);
  EXPECT_EQ(delay, 100);
  EXPECT_EQ(duration, 0);
}

TEST_F(CameraModes, NegativeTimesReachTheDeviceAsTheUnsignedValueOfTheirBits) {
  Open(0xC0);
  camera.port->fpga[3] = 0x05;
  EXPECT_EQ(camera.SetTrigOutPinConf(TRIG_OUTPUT_PINA, false, -7, -1), 0);
  EXPECT_EQ(camera.port->TakeEvents(), OutputRequests("04", "00", {"04 00 F9", "05 00 FF", "06 00 FF", "07 00 FF"},
                                                      {"08 00 FF", "09 00 FF", "0A 00 FF", "0B 00 FF"}));
  EXPECT_EQ(camera.pinADelay, -7);
  EXPECT_EQ(camera.pinADuration, -1);
}

TEST_F(CameraModes, TimesSaturateTo32Bits) {
  Open(0xC0);
  EXPECT_EQ(camera.SetTrigOutPinConf(TRIG_OUTPUT_PINA, true, LONG_MAX, 0x1'0000'0000), 0);
  EXPECT_EQ(camera.pinADelay, INT_MAX);
  EXPECT_EQ(camera.pinADuration, INT_MAX);
  EXPECT_EQ(camera.port->fpga[0x04], 0xFF);
  EXPECT_EQ(camera.port->fpga[0x07], 0x7F);
  EXPECT_EQ(camera.port->fpga[0x0B], 0x7F);
  EXPECT_EQ(camera.port->fpga[0x03] & 0x01, 0x01);
  // -2^32 + 1 would be a duration of 1 if it were cut to its low half.
  EXPECT_EQ(camera.SetTrigOutPinConf(TRIG_OUTPUT_PINA, true, LONG_MIN, -0xFFFF'FFFFL), 0);
  EXPECT_EQ(camera.pinADelay, INT_MIN);
  EXPECT_EQ(camera.pinADuration, INT_MIN);
  EXPECT_EQ(camera.port->fpga[0x03] & 0x01, 0x00);
}

TEST_F(CameraModes, AnUnknownOutputIsRefusedAndNothingIsTouched) {
  Open(0xC0);
  ASSERT_EQ(camera.SetTrigOutPinConf(TRIG_OUTPUT_PINA, true, 1, 2), 0);
  ASSERT_EQ(camera.SetTrigOutPinConf(TRIG_OUTPUT_PINB, true, 3, 4), 0);
  Forget();
  for (const int number : {2, 3, INT_MAX, -1, INT_MIN}) {
    const auto pin = static_cast<Trig_Output_Pin>(number);
    EXPECT_EQ(camera.SetTrigOutPinConf(pin, false, 50, 60), 16) << number;
    ORQ_BOOL high = 7;
    long delay = 8;
    long duration = 9;
    EXPECT_EQ(camera.GetTrigOutPinConf(pin, &high, &delay, &duration), 16) << number;
    EXPECT_EQ(high, 7);
    EXPECT_EQ(delay, 8);
    EXPECT_EQ(duration, 9);
  }
  EXPECT_THAT(camera.port->TakeEvents(), IsEmpty());
  EXPECT_EQ(camera.pinADelay, 1);
  EXPECT_EQ(camera.pinADuration, 2);
  EXPECT_EQ(camera.pinBDelay, 3);
  EXPECT_EQ(camera.pinBDuration, 4);
}

TEST_F(CameraModes, AnOutputsSettingsAreStoredWhateverTheDeviceAnswers) {
  Open(0xC0);
  camera.port->refusedRequests = {0xD0, 0xD1};
  EXPECT_EQ(camera.SetTrigOutPinConf(TRIG_OUTPUT_PINA, false, 10, 20), 0);
  EXPECT_EQ(camera.pinAHigh, 0);
  EXPECT_EQ(camera.pinADelay, 10);
  EXPECT_EQ(camera.pinADuration, 20);
}

TEST_F(CameraModes, OutputsStartActiveHighAndOff) {
  for (const auto pin : {TRIG_OUTPUT_PINA, TRIG_OUTPUT_PINB}) {
    ORQ_BOOL high = 9;
    long delay = 9;
    long duration = 9;
    EXPECT_EQ(camera.GetTrigOutPinConf(pin, &high, &delay, &duration), 0);
    EXPECT_EQ(high, 1);
    EXPECT_EQ(delay, 0);
    EXPECT_EQ(duration, 0);
  }
  EXPECT_THAT(camera.port->TakeEvents(), IsEmpty());
}

TEST_F(CameraModes, ValuesOfAnOutputAreWrittenWholeAndOnlyWhereWanted) {
  Open(0xC0);
  ASSERT_EQ(camera.SetTrigOutPinConf(TRIG_OUTPUT_PINA, false, -2, -3), 0);
  ORQ_BOOL high = -1;
  long delay = 0x7777'7777'7777'7777;
  long duration = 0x7777'7777'7777'7777;
  EXPECT_EQ(camera.GetTrigOutPinConf(TRIG_OUTPUT_PINA, &high, nullptr, &duration), 0);
  EXPECT_EQ(high, 0);
  EXPECT_EQ(duration, -3);
  EXPECT_EQ(camera.GetTrigOutPinConf(TRIG_OUTPUT_PINA, nullptr, &delay, nullptr), 0);
  EXPECT_EQ(delay, -2);
}

}  // namespace
