# Compiling several files at once: the headers that they share are read once for eight of them.
# These stay on their own, as a name of their unnamed namespaces is also one of a file that could stand beside them; a new
# "redefinition" that only this build reports is mended by a more telling name, or by a line here.
set(CMAKE_UNITY_BUILD ON)
set(CMAKE_UNITY_BUILD_BATCH_SIZE 8)
# A name of a neighbour's unnamed namespace is no name that is shadowed.
target_compile_options(orq_options INTERFACE -Wno-shadow)

set(alone
    src/api/Frames.cpp
    src/api/Recordings.cpp
    src/autoctl/WhiteBalanceDecision.cpp
    src/gps/GpsRecordV1.cpp
    src/image/frame/Interleave.cpp
    src/image/hotpixels/HotPixelTable.cpp
    src/models/camera/ModelCamera.cpp
    src/models/camera/ModelCapture.cpp
    src/models/cooling/Cooler.cpp
    src/models/flash/HotPixelStore.cpp
    src/models/frametime/GpsLatchReader.cpp
    src/models/sensors/L3Sensor.cpp
    src/session/camera/CameraAutomatic.cpp
    src/session/camera/CameraWatch.cpp
    src/session/fits/FitsTable.cpp
    src/session/fits/Keywords.cpp
    src/session/focus/FocusMotor.cpp
    src/session/pictures/Picture.cpp
    src/session/pictures/PngPreview.cpp
    src/session/recording/CubeSink.cpp
    src/session/recording/Recording.cpp
    src/session/recording/SerExtract.cpp
    src/session/recording/SerRepair.cpp
    src/session/recording/SerSink.cpp
    src/session/recording/TimesFile.cpp
    src/virtual/board/ThermalUnit.cpp
    src/virtual/device/StateFile.cpp
    src/virtual/sensor/chips/L3Chip.cpp
    faces/cli/camera/FlashWork.cpp
    faces/cli/commands/CommandGain.cpp
    faces/cli/commands/CommandProfile.cpp
    faces/cli/commands/devices/CommandFocusAid.cpp
    faces/cli/commands/frames/CommandCapture.cpp
    faces/cli/commands/frames/CommandDark.cpp
    faces/cli/commands/frames/CommandRecord.cpp
    faces/cli/commands/frames/CommandStream.cpp
    faces/cli/commands/frames/CommandTrigger.cpp
    faces/cli/options/AutoControl.cpp
    faces/cli/output/StatusLine.cpp
    faces/cli/output/frames/FrameReport.cpp
    faces/indi/panels/ServicePanel.cpp
    faces/indi/panels/TriggerPanel.cpp
    faces/network/http/Server.cpp
    faces/network/live/tasks/Recorder.cpp
    faces/network/live/view/LiveView.cpp
    tests/allocations/CountingAllocator.cpp
    tests/api/services_test.cpp
    tests/integration/corrected_frames_test.cpp
    tests/integration/corrections_test.cpp
    tests/integration/dark_session_test.cpp
    tests/integration/levels_test.cpp
    tests/integration/lifecycle_test.cpp
    tests/integration/refusals_test.cpp
    tests/integration/sensors_test.cpp
    tests/link/fault_rates_test.cpp
    tests/link/kept_settings_test.cpp
    tests/link/leftover_test.cpp
    tests/link/transfers_test.cpp
    tests/unit/camera/lifecycle_test.cpp
    tests/unit/gps/receiver_test.cpp
    tests/unit/image/dark/dark_subtraction_test.cpp
    tests/unit/image/hotpixels/hot_pixel_table_test.cpp
    tests/unit/image/hotpixels/hot_pixels_test.cpp
    tests/unit/image/hotpixels/pixel_repair_test.cpp
    tests/unit/link/stream/frame_stream_parser_test.cpp
    tests/unit/link/stream/stream_engine_test.cpp
    tests/unit/models/frame_reader_test.cpp
    tests/unit/models/hot_pixel_store_test.cpp
    tests/unit/models/overdue_test.cpp
    tests/unit/models/row_times_test.cpp
    tests/unit/session/frame/frame_time_test.cpp
    tests/unit/session/measure/light_spots_test.cpp
    tests/unit/session/measure/stars_test.cpp
    tests/unit/session/recording/ser_repair_test.cpp
    tests/unit/session/recording/times_file_test.cpp
    tests/unit/virtual/gps_test.cpp
    tests/unit/virtual/replay/fits_reader_test.cpp
    tests/unit/virtual/replay/pgm_reader_test.cpp
    tests/unit/virtual/replay/ser_reader_test.cpp
    tests/unit/virtual/sensor/frame_source_test.cpp
    tests/unit/virtual/sensor/photon_transfer_test.cpp
    tests/unit/virtual/sensor/planet_test.cpp
    tests/unit/virtual/sensor/sensor_model_test.cpp)
list(TRANSFORM alone PREPEND ${CMAKE_SOURCE_DIR}/)

# Of a source file each folder that builds with it has properties of its own.
function(orq_keep_alone folder)
  set_source_files_properties(${alone} DIRECTORY ${folder} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
  get_property(inner DIRECTORY ${folder} PROPERTY SUBDIRECTORIES)
  foreach(one ${inner})
    orq_keep_alone(${one})
  endforeach()
endfunction()
cmake_language(DEFER CALL orq_keep_alone ${CMAKE_SOURCE_DIR})
