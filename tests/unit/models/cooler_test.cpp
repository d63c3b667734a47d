// The cooler's controls, its loop and its ends, on a scripted port.
#include "models/cooling/Cooler.h"

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <utility>
#include <vector>

#include "support/Bounded.h"
#include "support/ParameterModel.h"

namespace orq {
namespace {

using test::ParameterModel;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::Ge;
using testing::Le;

/// Answers temperature requests with a word, and keeps what was written to the cooler's registers.
class CoolerPort : public test::FakePort {
 public:
  std::atomic<int> word{0x1900};  ///< of the thermometers, second byte in the high half
  std::atomic<bool> deaf{false};  ///< temperature requests are refused
  std::atomic<bool> refuseDrive{false};
  std::atomic<bool> refuseWatchdog{false};
  std::atomic<bool> gone{false};
  std::atomic<int> drives{0};  ///< writes to the cooler's drive
  std::atomic<int> drive{-1};  ///< the last one

  int ControlTransfer(const SetupPacket& setup, std::span<std::uint8_t> data, unsigned timeoutMs) override {
    if (gone) return kUsbNoDevice;
    const bool temperature = setup.request == 0xB3 || setup.request == 0xC7;
    const bool drives0 = setup.request == 0xD1 && setup.value == 0xE0;
    const bool readsDrive = setup.request == 0xD0 && setup.value == 0xE0;
    const bool watchdog = setup.request == 0xD1 && setup.value == 0xE2;
    const bool refused =
        (temperature && deaf) || ((drives0 || readsDrive) && refuseDrive) || (watchdog && refuseWatchdog);
    if (refused) return kUsbPipe;
    const int result = FakePort::ControlTransfer(setup, data, timeoutMs);
    if (temperature) {
      data[0] = static_cast<std::uint8_t>(word.load());
      data[1] = static_cast<std::uint8_t>(word.load() >> 8);
    }
    if (drives0) {
      drive = setup.index;
      ++drives;
    }
    return result;
  }
};

constexpr double kQuick = 0.002;  // a loop of two milliseconds

struct Rig {
  explicit Rig(const std::function<void(ModelData&)>& change = [](ModelData&) {})
      : camera([&](ModelData& model) {
          model.cooled = true;
          model.antiDewHeater = true;
          model.thermometer = Thermometer::Tmp100;
          model.timeScale = kQuick;
          change(model);
        }) {
    camera.UsePort(port);
  }

  bool Open() {
    const bool open = camera.OpenCamera(0) == 1;
    port->TakeEvents();
    return open;
  }
  /// Waits until the loop has written the drive `more` times from now on.
  bool Steps(int more) {
    const int until = port->drives + more;
    return Until([&] { return port->drives >= until; });
  }
  template <class Done>
  static bool Until(Done done) {
    const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!done()) {
      if (std::chrono::steady_clock::now() > giveUp) return false;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
  }

  std::shared_ptr<CoolerPort> port = std::make_shared<CoolerPort>();
  ParameterModel camera;
};

TEST(CoolerControls, AreTheCooledModelsOwn) {
  ParameterModel warm;
  for (const ORQ_CONTROL_TYPE id :
       {ORQ_COOL_POWER_PERC, ORQ_TARGET_TEMP, ORQ_COOLER_ON, ORQ_FAN_ON, ORQ_ANTI_DEW_HEATER}) {
    EXPECT_EQ(warm.Set(id, 1), CTRL_NOT_SUPPORTED) << id;
    long value = 77;
    ORQ_BOOL automatic = 1;
    EXPECT_EQ(warm.GetControlValue(id, &value, &automatic), CTRL_NOT_SUPPORTED) << id;
    EXPECT_EQ(value, 77) << id;
    EXPECT_EQ(automatic, 0) << id;
  }
}

TEST(CoolerControls, LeaveTheOthersToTheBase) {
  Rig rig;
  EXPECT_EQ(rig.camera.Set(ORQ_FLIP, 2), CTRL_OK);
  EXPECT_EQ(rig.camera.Get(ORQ_FLIP), 2);
  EXPECT_EQ(rig.camera.Set(ORQ_GPS_SUPPORT, 1), CTRL_NOT_SUPPORTED);
}

TEST(CoolerControls, ThePowerIsReadOnly) {
  Rig rig;
  ASSERT_TRUE(rig.Open());
  EXPECT_EQ(rig.camera.Set(ORQ_COOL_POWER_PERC, 50), CTRL_NOT_SUPPORTED);
  rig.camera.coolPowerPerc = 41.6F;
  EXPECT_EQ(rig.camera.Get(ORQ_COOL_POWER_PERC), 42);
}

TEST(CoolerControls, TheTargetIsHeldToItsLimitsAndKeptWhileClosed) {
  Rig rig;
  EXPECT_EQ(rig.camera.Set(ORQ_TARGET_TEMP, -15), CTRL_OK);
  EXPECT_EQ(rig.camera.TargetTemp, -15);
  EXPECT_EQ(rig.camera.Set(ORQ_TARGET_TEMP, -400), CTRL_OK);
  EXPECT_EQ(rig.camera.Get(ORQ_TARGET_TEMP), -40);
  EXPECT_EQ(rig.camera.Set(ORQ_TARGET_TEMP, 31), CTRL_OK);
  EXPECT_EQ(rig.camera.Get(ORQ_TARGET_TEMP), 30);
}

TEST(CoolerControls, ReadWithoutPlacesForTheResult) {
  Rig rig;
  EXPECT_EQ(rig.camera.GetControlValue(ORQ_TARGET_TEMP, nullptr, nullptr), CTRL_OK);
}

TEST(CoolerControls, AClosedCameraCoolsNothing) {
  Rig rig;
  EXPECT_EQ(rig.camera.Set(ORQ_COOLER_ON, 1), CTRL_SET_FAILED);
  EXPECT_EQ(rig.camera.Get(ORQ_COOLER_ON), 0);
  EXPECT_EQ(rig.camera.Set(ORQ_COOLER_ON, 0), CTRL_OK) << "it is off";
  EXPECT_EQ(rig.camera.Set(ORQ_ANTI_DEW_HEATER, 1), CTRL_SET_FAILED);
  EXPECT_THAT(rig.port->TakeEvents(), testing::IsEmpty());
}

TEST(CoolerControls, TheHeaterIsSwitchedAtOnce) {
  Rig rig([](ModelData& model) { model.cooler.heaterDrive = 0x60; });
  ASSERT_TRUE(rig.Open());
  EXPECT_EQ(rig.camera.Set(ORQ_ANTI_DEW_HEATER, 1), CTRL_OK);
  EXPECT_EQ(rig.camera.Get(ORQ_ANTI_DEW_HEATER), 1);
  EXPECT_EQ(rig.camera.Set(ORQ_ANTI_DEW_HEATER, 0), CTRL_OK);
  EXPECT_EQ(rig.camera.Get(ORQ_ANTI_DEW_HEATER), 0);
  EXPECT_THAT(rig.port->TakeEvents(), ElementsAre("40 D1 E1 00 60 00 00 00", "40 D1 E1 00 00 00 00 00"));
  rig.port->refusedRegisters.insert({0xD1, 0xE1});
  EXPECT_EQ(rig.camera.Set(ORQ_ANTI_DEW_HEATER, 1), CTRL_SET_FAILED);
  EXPECT_EQ(rig.camera.Get(ORQ_ANTI_DEW_HEATER), 0);
}

TEST(CoolerControls, AModelWithoutHeaterHasNone) {
  Rig rig([](ModelData& model) { model.antiDewHeater = false; });
  ASSERT_TRUE(rig.Open());
  EXPECT_EQ(rig.camera.Set(ORQ_ANTI_DEW_HEATER, 1), CTRL_NOT_SUPPORTED);
  EXPECT_EQ(rig.camera.Get(ORQ_ANTI_DEW_HEATER), -1000);
}

TEST(CoolerControls, TheFanIsServedThoughItIsNotListed) {
  Rig rig;
  ASSERT_TRUE(rig.Open());
  EXPECT_EQ(rig.camera.Set(ORQ_FAN_ON, 1), CTRL_NOT_SUPPORTED) << "no adjustable fan";
  EXPECT_EQ(rig.camera.Get(ORQ_FAN_ON), -1000);
  rig.camera.fanAdjustable = true;
  EXPECT_EQ(rig.camera.Set(ORQ_FAN_ON, 1), CTRL_OK);
  EXPECT_EQ(rig.camera.fanSpeed, 255);
  EXPECT_EQ(rig.camera.Get(ORQ_FAN_ON), 1);
  EXPECT_EQ(rig.camera.Set(ORQ_FAN_ON, 0), CTRL_OK);
  EXPECT_EQ(rig.camera.fanSpeed, 0);
  EXPECT_EQ(rig.camera.Get(ORQ_FAN_ON), 0);
  EXPECT_THAT(rig.camera.Controls(), testing::Not(Contains(static_cast<int>(ORQ_FAN_ON))));
}

TEST(CoolerLoop, ArmsTheWatchdogBeforeItDrives) {
  Rig rig([](ModelData& model) { model.cooler.watchdogSeconds = 0x2A; });
  ASSERT_TRUE(rig.Open());
  EXPECT_EQ(rig.camera.Set(ORQ_COOLER_ON, 1), CTRL_OK);
  EXPECT_EQ(rig.camera.Get(ORQ_COOLER_ON), 1);
  ASSERT_TRUE(rig.Steps(1));
  const auto events = rig.port->TakeEvents();
  ASSERT_GE(events.size(), 4U);
  EXPECT_EQ(events[0], "40 D1 E2 00 2A 00 00 00");
  EXPECT_EQ(events[1], "C0 B3 00 00 00 00 02 00") << "is the thermometer there?";
  EXPECT_EQ(events[2], "40 D1 E3 00 00 00 00 00") << "the target, for the next program";
  EXPECT_EQ(events[3], "40 D1 E0 00 00 00 00 00") << "the ramp begins at the sensor's temperature";
}

TEST(CoolerLoop, FeedsTheWatchdogAlsoWhenNothingChanges) {
  Rig rig;
  ASSERT_TRUE(rig.Open());
  rig.camera.TargetTemp = 30;  // above the sensor's 20 degrees: nothing to cool
  ASSERT_EQ(rig.camera.Set(ORQ_COOLER_ON, 1), CTRL_OK);
  EXPECT_TRUE(rig.Steps(20));
  EXPECT_EQ(rig.port->drive, 0);
}

TEST(CoolerLoop, CoolsASensorThatIsTooWarm) {
  Rig rig;
  ASSERT_TRUE(rig.Open());
  rig.camera.Set(ORQ_TARGET_TEMP, -10);
  ASSERT_EQ(rig.camera.Set(ORQ_COOLER_ON, 1), CTRL_OK);
  // The sensor stays where it is, so the drive grows to its end.
  EXPECT_TRUE(Rig::Until([&] { return rig.port->drive == 255; }));
  EXPECT_TRUE(Rig::Until([&] { return rig.camera.Get(ORQ_COOL_POWER_PERC) == 100; }));
  EXPECT_EQ(rig.camera.CoolerTrouble(), "");
}

TEST(CoolerLoop, FollowsATargetThatIsSetWhileItRuns) {
  Rig rig;
  ASSERT_TRUE(rig.Open());
  rig.camera.Set(ORQ_TARGET_TEMP, 30);
  ASSERT_EQ(rig.camera.Set(ORQ_COOLER_ON, 1), CTRL_OK);
  ASSERT_TRUE(rig.Steps(5));
  EXPECT_EQ(rig.port->drive, 0);
  rig.camera.Set(ORQ_TARGET_TEMP, 0);
  EXPECT_TRUE(Rig::Until([&] { return rig.port->drive > 20; }));
  rig.camera.temperature = -30.0F;  // much too cold now
  EXPECT_TRUE(Rig::Until([&] { return rig.port->drive == 0; }));
}

TEST(CoolerLoop, HoldsATargetThatNobodyCheckedToItsLimits) {
  Rig rig;
  ASSERT_TRUE(rig.Open());
  rig.camera.temperature = -41.0F;
  rig.camera.TargetTemp = -1000;
  ASSERT_EQ(rig.camera.Set(ORQ_COOLER_ON, 1), CTRL_OK);
  ASSERT_TRUE(rig.Steps(200));
  EXPECT_EQ(rig.port->drive, 0) << "colder than the coldest target";
}

TEST(CoolerLoop, SwitchingOffEndsTheDriveAndThenTheWatchdog) {
  Rig rig;
  ASSERT_TRUE(rig.Open());
  rig.camera.Set(ORQ_TARGET_TEMP, -10);
  ASSERT_EQ(rig.camera.Set(ORQ_COOLER_ON, 1), CTRL_OK);
  EXPECT_EQ(rig.camera.Set(ORQ_COOLER_ON, 1), CTRL_OK) << "on is on";
  ASSERT_TRUE(Rig::Until([&] { return rig.port->drive > 0; }));
  EXPECT_EQ(rig.camera.Set(ORQ_COOLER_ON, 0), CTRL_OK);
  const auto events = rig.port->TakeEvents();
  ASSERT_GE(events.size(), 2U);
  EXPECT_EQ(events[events.size() - 2], "40 D1 E0 00 00 00 00 00");
  EXPECT_EQ(events[events.size() - 1], "40 D1 E2 00 00 00 00 00");
  EXPECT_EQ(rig.camera.Get(ORQ_COOLER_ON), 0);
  EXPECT_EQ(rig.camera.Get(ORQ_COOL_POWER_PERC), 0);
  EXPECT_EQ(rig.camera.Set(ORQ_COOLER_ON, 0), CTRL_OK);
  EXPECT_THAT(rig.port->TakeEvents(), testing::IsEmpty()) << "off is off";
}

TEST(CoolerLoop, StartsAFanThatStandsStill) {
  Rig rig;
  ASSERT_TRUE(rig.Open());
  rig.camera.fanAdjustable = true;
  ASSERT_EQ(rig.camera.Set(ORQ_COOLER_ON, 1), CTRL_OK);
  EXPECT_EQ(rig.camera.fanSpeed, 255);
  rig.camera.Set(ORQ_COOLER_ON, 0);
  rig.camera.fanSpeed = 90;
  ASSERT_EQ(rig.camera.Set(ORQ_COOLER_ON, 1), CTRL_OK);
  EXPECT_EQ(rig.camera.fanSpeed, 90) << "what the user chose";
}

TEST(CoolerLoop, DoesNotStartWithoutItsWatchdog) {
  Rig rig;
  ASSERT_TRUE(rig.Open());
  rig.port->refuseWatchdog = true;
  EXPECT_EQ(rig.camera.Set(ORQ_COOLER_ON, 1), CTRL_SET_FAILED);
  EXPECT_EQ(rig.camera.Get(ORQ_COOLER_ON), 0);
  EXPECT_EQ(rig.port->drive, -1) << "nothing has written it";
  rig.port->refuseWatchdog = false;
  EXPECT_EQ(rig.camera.Set(ORQ_COOLER_ON, 1), CTRL_OK);
}

TEST(CoolerLoop, HoldsTheDriveThroughFailedReadingsAndThenGivesUp) {
  Rig rig;
  ASSERT_TRUE(rig.Open());
  rig.camera.Set(ORQ_TARGET_TEMP, -10);
  ASSERT_EQ(rig.camera.Set(ORQ_COOLER_ON, 1), CTRL_OK);
  ASSERT_TRUE(Rig::Until([&] { return rig.port->drive == 255; }));
  rig.port->deaf = true;
  ASSERT_TRUE(Rig::Until([&] { return rig.port->drive == 0; }));
  EXPECT_TRUE(Rig::Until([&] { return !rig.camera.CoolerTrouble().empty(); }));
  EXPECT_THAT(rig.camera.CoolerTrouble(), testing::HasSubstr("thermometer"));
  // Refused requests leave no event: full drive was held for five of them, and written each time.
  const auto events = rig.port->TakeEvents();
  const auto lastFull = std::find(events.rbegin(), events.rend(), "40 D1 E0 00 FF 00 00 00");
  const auto lastReading = std::find(events.rbegin(), events.rend(), "C0 B3 00 00 00 00 02 00");
  EXPECT_EQ(lastReading - lastFull, Cooler::kFailuresHeld + 1) << "one drive by the last reading, five held";
  EXPECT_EQ(rig.camera.Get(ORQ_COOLER_ON), 1);
  EXPECT_EQ(rig.camera.Get(ORQ_COOL_POWER_PERC), 0);
  EXPECT_TRUE(rig.Steps(3)) << "the watchdog is fed all the same";

  rig.port->deaf = false;
  EXPECT_TRUE(Rig::Until([&] { return rig.port->drive > 100; }));
  EXPECT_EQ(rig.camera.CoolerTrouble(), "");
}

// 10 kOhm below a thermistor of 0.4654 to 505.7038 kOhm: counts 183 to 4016 of 4096, 12 to 251 of 256.
TEST(CoolerLoop, TakesAThermistorBeyondItsCurveForBroken) {
  struct Row {
    int word;
    bool there;
  };
  const std::pair<Thermometer, std::vector<Row>> kinds[] = {{Thermometer::Ad7142,
                                                             {{0x0000, false},
                                                              {182 << 4, false},
                                                              {183 << 4, true},
                                                              {0x8000, true},
                                                              {4016 << 4, true},
                                                              {4017 << 4, false},
                                                              {0xFFF0, false}}},
                                                            {Thermometer::Adc081,
                                                             {{0x0000, false},
                                                              {11 << 4, false},
                                                              {12 << 4, true},
                                                              {128 << 4, true},
                                                              {250 << 4, true},
                                                              {252 << 4, false},
                                                              {255 << 4, false}}}};
  for (const auto& [kind, rows] : kinds) {
    Rig rig([thermometer = kind](ModelData& model) { model.thermometer = thermometer; });
    ASSERT_TRUE(rig.Open());
    for (const Row& row : rows) {
      rig.port->word = row.word;
      EXPECT_EQ(ThermometerAnswers(rig.camera), row.there) << row.word;
    }
    rig.port->deaf = true;
    EXPECT_FALSE(ThermometerAnswers(rig.camera));
  }
}

TEST(CoolerLoop, TakesAnyWordOfADigitalThermometer) {
  for (const Thermometer kind : {Thermometer::Tmp100, Thermometer::Tmp451}) {
    Rig rig([&](ModelData& model) { model.thermometer = kind; });
    ASSERT_TRUE(rig.Open());
    rig.port->word = 0x1230;
    EXPECT_TRUE(ThermometerAnswers(rig.camera));
    rig.port->deaf = true;
    EXPECT_FALSE(ThermometerAnswers(rig.camera));
  }
}

TEST(CoolerLoop, TakesAZeroFarFromTheLastReadingForADeadThermometer) {
  Rig rig([](ModelData& model) { model.thermometer = Thermometer::Tmp100; });
  ASSERT_TRUE(rig.Open());
  rig.port->word = 0;
  rig.camera.sensorTemp = 20.0F;
  EXPECT_FALSE(ThermometerAnswers(rig.camera));
  rig.camera.sensorTemp = -0.5F;
  EXPECT_TRUE(ThermometerAnswers(rig.camera));
}

TEST(CoolerLoop, AsksTheSensorWhereTheThermometerIsThere) {
  Rig rig([](ModelData& model) { model.thermometer = Thermometer::Sensor; });
  ASSERT_TRUE(rig.Open());
  EXPECT_TRUE(ThermometerAnswers(rig.camera));
  EXPECT_THAT(rig.port->TakeEvents(), ElementsAre("C0 D2 3A 01 00 00 01 00"));
}

TEST(CoolerLoop, SaysWhenTheDriveIsRefused) {
  Rig rig;
  ASSERT_TRUE(rig.Open());
  ASSERT_EQ(rig.camera.Set(ORQ_COOLER_ON, 1), CTRL_OK);
  rig.port->refuseDrive = true;
  EXPECT_TRUE(Rig::Until([&] { return !rig.camera.CoolerTrouble().empty(); }));
  EXPECT_THAT(rig.camera.CoolerTrouble(), testing::HasSubstr("refuses"));
  EXPECT_EQ(rig.camera.Set(ORQ_COOLER_ON, 0), CTRL_SET_FAILED) << "the watchdog ends it";
  EXPECT_EQ(rig.camera.Get(ORQ_COOLER_ON), 0);
  rig.port->refuseDrive = false;
  EXPECT_EQ(rig.camera.Set(ORQ_COOLER_ON, 1), CTRL_OK);
  EXPECT_TRUE(rig.Steps(1));
  EXPECT_TRUE(Rig::Until([&] { return rig.camera.CoolerTrouble().empty(); }));
}

TEST(CoolerEnds, OpeningLeavesWhatIsOffAlone) {
  Rig rig;
  ASSERT_EQ(rig.camera.OpenCamera(0), 1);
  for (const std::string& event : rig.port->TakeEvents())
    for (const char* written : {"40 D1 E0", "40 D1 E1", "40 D1 E2", "40 D1 E3"})
      EXPECT_NE(event.substr(0, 8), written) << event;
  EXPECT_EQ(rig.camera.Get(ORQ_COOLER_ON), 0);
}

TEST(CoolerEnds, OpeningTakesADrivenCoolerOver) {
  Rig rig;
  rig.port->word = 0xF600;                                                 // -10 degrees
  rig.port->fpga = {{0xE0, 153}, {0xE1, 128}, {0xE2, 255}, {0xE3, 0xF6}};  // 60 %, target -10
  ASSERT_TRUE(rig.Open());
  EXPECT_EQ(rig.camera.Get(ORQ_COOLER_ON), 1);
  EXPECT_EQ(rig.camera.Get(ORQ_TARGET_TEMP), -10);
  EXPECT_EQ(rig.camera.Get(ORQ_ANTI_DEW_HEATER), 1);
  ASSERT_TRUE(rig.Steps(3));
  // Neither from nothing nor at full power; how far it has come depends on the time that three steps take.
  EXPECT_NEAR(rig.port->drive, 153, 30) << "near its target little changes";
  EXPECT_EQ(rig.port->fpga[0xE2], 20) << "the watchdog is short while a program regulates";
  rig.camera.CloseCamera();
  EXPECT_NEAR(rig.port->drive, 153, 30) << "what was found on is left on";
  EXPECT_EQ(rig.port->fpga[0xE2], 255);
}

TEST(CoolerEnds, ACoolerThatWasTakenOverIsSwitchedOffWhenAsked) {
  Rig rig;
  rig.port->fpga = {{0xE0, 153}, {0xE3, 0xF6}};
  ASSERT_TRUE(rig.Open());
  EXPECT_EQ(rig.camera.Set(ORQ_COOLER_ON, 0), CTRL_OK);
  EXPECT_EQ(rig.port->fpga[0xE0], 0);
  rig.camera.CloseCamera();
  EXPECT_EQ(rig.port->fpga[0xE0], 0);
  EXPECT_EQ(rig.port->fpga[0xE2], 0);
}

TEST(CoolerEnds, AKeptCoolerGoesOnForTheLongestThatItsWatchdogAllows) {
  Rig rig;
  ASSERT_TRUE(rig.Open());
  rig.camera.Set(ORQ_TARGET_TEMP, -7);
  ASSERT_EQ(rig.camera.Set(ORQ_COOLER_ON, 1), CTRL_OK);
  rig.camera.KeepCooling(true);
  ASSERT_TRUE(Rig::Until([&] { return rig.port->drive > 0; }));
  rig.camera.CloseCamera();
  const auto events = rig.port->TakeEvents();
  ASSERT_GE(events.size(), 4U);
  EXPECT_EQ(events[events.size() - 4], "40 D1 E2 00 FF 00 00 00");
  EXPECT_EQ(events[events.size() - 3].substr(0, 8), "40 D1 E0")
      << "its time counts from the last write of the drive";
  EXPECT_GT(rig.port->fpga[0xE0], 0);
  EXPECT_EQ(rig.port->fpga[0xE3], 0xF9) << "-7: for the next program";
}

TEST(CoolerEnds, ACameraThatDoesNotTellItsDriveDoesNotOpen) {
  Rig rig;
  rig.port->refuseDrive = true;
  EXPECT_FALSE(rig.Open());
  EXPECT_EQ(rig.camera.bOpened, 0);
}

TEST(CoolerEnds, ClosingSwitchesEverythingOffFirst) {
  Rig rig;
  ASSERT_TRUE(rig.Open());
  rig.camera.Set(ORQ_TARGET_TEMP, -10);
  ASSERT_EQ(rig.camera.Set(ORQ_ANTI_DEW_HEATER, 1), CTRL_OK);
  ASSERT_EQ(rig.camera.Set(ORQ_COOLER_ON, 1), CTRL_OK);
  ASSERT_TRUE(Rig::Until([&] { return rig.port->drive > 0; }));
  rig.camera.CloseCamera();
  const auto events = rig.port->TakeEvents();
  ASSERT_GE(events.size(), 5U);
  EXPECT_THAT(std::vector<std::string>(events.end() - 5, events.end()),
              ElementsAre("40 D1 E1 00 00 00 00 00", "40 D1 E0 00 00 00 00 00", "40 D1 E2 00 00 00 00 00",
                          "release 0", "close"));
  EXPECT_EQ(rig.camera.Get(ORQ_COOLER_ON), 0);
  EXPECT_EQ(rig.camera.Get(ORQ_ANTI_DEW_HEATER), 0);
  EXPECT_EQ(rig.camera.Get(ORQ_COOL_POWER_PERC), 0);
  EXPECT_EQ(rig.camera.Get(ORQ_TARGET_TEMP), -10) << "the wish stays";
}

TEST(CoolerEnds, TheDestructorLeavesNothingCooling) {
  const auto port = std::make_shared<CoolerPort>();
  {
    Rig rig;
    rig.camera.UsePort(port);
    ASSERT_EQ(rig.camera.OpenCamera(0), 1);
    rig.camera.Set(ORQ_TARGET_TEMP, -10);
    ASSERT_EQ(rig.camera.Set(ORQ_COOLER_ON, 1), CTRL_OK);
    ASSERT_TRUE(Rig::Until([&] { return port->drive > 0; }));
  }
  EXPECT_EQ(port->drive, 0);
  EXPECT_EQ(port->fpga[0xE2], 0);
}

TEST(CoolerEnds, AnUnplugEndsTheLoopAndAReopenWorks) {
  Rig rig;
  ASSERT_TRUE(rig.Open());
  rig.camera.Set(ORQ_TARGET_TEMP, -10);
  ASSERT_EQ(rig.camera.Set(ORQ_COOLER_ON, 1), CTRL_OK);
  ASSERT_TRUE(Rig::Until([&] { return rig.port->drive > 0; }));
  rig.port->gone = true;
  EXPECT_TRUE(Rig::Until([&] { return rig.camera.Get(ORQ_COOLER_ON) == 0; }));
  EXPECT_EQ(rig.camera.Get(ORQ_COOL_POWER_PERC), 0);
  EXPECT_THAT(rig.camera.CoolerTrouble(), testing::HasSubstr("gone"));
  EXPECT_EQ(rig.camera.Set(ORQ_COOLER_ON, 1), CTRL_SET_FAILED);
  rig.camera.CloseCamera();
  rig.port->gone = false;
  ASSERT_TRUE(rig.Open());
  ASSERT_EQ(rig.camera.Set(ORQ_COOLER_ON, 1), CTRL_OK);
  EXPECT_EQ(rig.camera.CoolerTrouble(), "");
  EXPECT_TRUE(Rig::Until([&] { return rig.port->drive > 0; }));
}

TEST(CoolerEnds, AReconnectTakesItOver) {
  Rig rig;
  ASSERT_TRUE(rig.Open());
  rig.camera.Set(ORQ_TARGET_TEMP, -10);
  ASSERT_EQ(rig.camera.Set(ORQ_COOLER_ON, 1), CTRL_OK);
  ASSERT_TRUE(Rig::Until([&] { return rig.port->drive > 0; }));
  ASSERT_EQ(rig.camera.ReConnectCamera(), 1);
  EXPECT_EQ(rig.camera.Get(ORQ_COOLER_ON), 1);
  EXPECT_EQ(rig.camera.Get(ORQ_TARGET_TEMP), -10);
  EXPECT_GT(rig.port->drive, 0);
}

TEST(CoolerEnds, SettersFromSeveralThreadsLeaveItAsTheLastOneSays) {
  Rig rig;
  ASSERT_TRUE(rig.Open());
  std::vector<std::thread> threads;
  threads.reserve(3);
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&rig, i] {
      for (int n = 0; n < 60; ++n) {
        rig.camera.Set(ORQ_COOLER_ON, (n + i) % 2);
        rig.camera.Set(ORQ_TARGET_TEMP, -n % 40);
        rig.camera.Set(ORQ_ANTI_DEW_HEATER, n % 3 == 0 ? 1 : 0);
        EXPECT_THAT(rig.camera.Get(ORQ_COOL_POWER_PERC), AllOf(Ge(0), Le(100)));
        rig.camera.CoolerTrouble();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(rig.camera.Set(ORQ_COOLER_ON, 1), CTRL_OK);
  EXPECT_TRUE(rig.Steps(2));
  EXPECT_EQ(rig.camera.Set(ORQ_COOLER_ON, 0), CTRL_OK);
  EXPECT_EQ(rig.port->drive, 0);
}

TEST(CoolerLoop, IsEndedBetweenTwoStepsHoweverFarTheyAreApart) {
  Rig rig([](ModelData& model) { model.timeScale = 86'400; });  // one step a day
  ASSERT_TRUE(rig.Open());
  ASSERT_EQ(rig.camera.Set(ORQ_COOLER_ON, 1), CTRL_OK);
  ASSERT_TRUE(Rig::Until([&] { return rig.port->drives >= 1; }));
  std::this_thread::sleep_for(std::chrono::milliseconds(100));  // it waits by now; if not, it ends the sooner
  test::MustReturn([&] { EXPECT_EQ(rig.camera.Set(ORQ_COOLER_ON, 0), CTRL_OK); });
}

}  // namespace
}  // namespace orq
