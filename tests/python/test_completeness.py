"""What the C++ interface has, Python has, too: by the same name in Python's spelling, or as is said here."""

import inspect
import re
import sys
from pathlib import Path

import orqcam
from orqcam import expert

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests/api"))
import interface  # noqa: E402

WRAPPER = (ROOT / "include/orqcam/orqcam.hpp").read_text(encoding="utf-8")
CLASSES = {"Camera": orqcam.Camera, "Frame": orqcam.Frame, "Reader": orqcam.Video, "Video": orqcam.Video,
           "Recording": orqcam.Recording, "HotPixels": orqcam.HotPixels, "Error": orqcam.Error, "": orqcam, "expert": expert}

# C++ name: Python's, where that is another.
RENAMED = {
    "Camera.startExposure": "expose_async", "Camera.wait": "expose", "Camera.reader": "video", "Camera.control": "controls",
    "Camera.controlValue": "controls", "Camera.isAutomatic": "controls", "Camera.automatic": "controls",
    "Camera.exposure": "exposure_us", "Camera.labels": "label", "Camera.noDark": "use_dark", "Camera.unplugVirtual": "unplug",
    "Camera.replugVirtual": "replug", "Camera.eventDescriptor": "event_fd", "Camera.triggerOutput": "set_trigger_output",
    "Frame.data": "address", "Frame.size": "array", "Frame.pixels": "array", "Frame.width": "array", "Frame.height": "array",
    "Frame.saveFiles": "save", "Reader.wait": "__next__", "Video.begin": "__iter__", "Video.end": "__iter__",
    "HotPixels.counts": "shape", "serInfo": "ser_info", "repairSer": "ser_repair", "extractSer": "ser_extract",
    "libraryVersion": "__version__", "Camera.focus": "move_focus", "expert.receive": "request_in", "expert.send": "request_out",
}
# What Python does without, and why.
HANDLES = "of C++: handles, statuses"
COMMAND = "of the command line and its files, which users call"
LEFT_OUT = {
    "check": HANDLES, "statusName": HANDLES, "bayerName": "Camera.bayer and Frame.bayer are names",
    "sized": HANDLES, "ErrorOf": HANDLES,
    "Camera.get": HANDLES, "Frame.get": HANDLES, "Reader.get": HANDLES, "Recording.get": HANDLES, "usbVersion": COMMAND, "modelControl": COMMAND,
    "settings": COMMAND, "settingsPath": COMMAND, "settingsOwner": COMMAND, "forgetSettings": COMMAND, "logPath": COMMAND,
    "profile": COMMAND, "clearProfile": COMMAND, "checkFile": "Python writes files", "writeFile": "Python writes files",
    "Camera.abortExposure": "abort() ends what runs", "Camera.checkSaving": COMMAND, "Camera.checkDark": COMMAND,
    "Camera.checkOwnDark": COMMAND, "Camera.takeOwnDark": COMMAND, "Camera.copyDark": COMMAND, "Camera.copyToOwnDark": COMMAND,
    "Camera.darkState": COMMAND, "Camera.darkChoice": COMMAND, "Camera.chooseDark": COMMAND, "Camera.chooseNoDark": COMMAND,
    "Camera.flashFile": COMMAND, "Camera.compareFlash": COMMAND,
    "Camera.frameReadings": "of programs that count requests", "Camera.stampEvery": "of programs that count requests",
    "Watch": "cameras() is asked again", "LogSink": "of programs that have a log of their own",
}
# Structs that are no objects of Python: arguments and tuples, and what stays with what is left out.
STRUCTS = {"orq_open_options", "orq_region", "orq_labels", "orq_reader_options", "orq_save_options", "orq_preview_options",
           "orq_dark_options", "orq_recording_options", "orq_gps_lines", "orq_area", "orq_picture", "orq_card", "orq_path",
           "orq_user_id", "orq_sensor_id", "orq_saved_files", "orq_missing_frames", "orq_ser_repaired", "orq_hot_pixel_counts",
           "orq_star", "orq_star_summary", "orq_event", "orq_control_info",
           "orq_dark_progress", "orq_flash_progress", "orq_dark_state", "orq_dark_choice", "orq_flash_file",
           "orq_flash_comparison", "orq_setting", "orq_settings_owner", "orq_profile"}
FIELDS = {("orq_ser_info", "colour_name")}  # which Python has as colour


def snake(name):
    return re.sub("([A-Z])", lambda found: "_" + found.group().lower(), name)


def wrapped():
    """Every public method and function of the C++ interface: "Camera.region", "cameras"; classes with nothing to call."""
    text = re.sub(r"/\*.*?\*/", "", WRAPPER, flags=re.DOTALL)
    text = re.sub(r"namespace detail \{.*?\n\}  // namespace detail", "", text, flags=re.DOTALL)
    found = set()
    for kind, body in re.findall(r"^class (\w+)\b[^;{]*\{\n(.*?)^\};", text, flags=re.DOTALL | re.MULTILINE):
        public = body.partition("\n private:")[0]
        names = set(re.findall(r"^  (?=\w)[\w:<>,&* ]+[ *&](\w+)\(", public, flags=re.MULTILINE)) - {kind, "bool"}
        found |= {f"{kind}.{name}" for name in names} if names else {kind}
    expert_text = re.search(r"^namespace expert \{(.*?)^\}  // namespace expert", text, flags=re.DOTALL | re.MULTILINE).group(1)
    found |= {f"expert.{name}" for name in functions(expert_text)}
    return found | set(functions(text.replace(expert_text, "")))


def functions(text):
    return re.findall(r"^(?=\w)[\w:<>,&* ]+[ *&](\w+)\([^;]*?\{$", text, flags=re.MULTILINE)


def test_what_is_looked_for_is_found():
    found = wrapped()
    assert {"Camera.region", "Camera.replugVirtual", "Frame.stars", "Recording.missing", "cameras", "sized", "expert.send",
            "Reader.wait", "Video.begin", "HotPixels.save", "Watch", "LogSink", "extractSer", "clockState"} <= found
    # Not one of the library's functions is called where nothing was found.
    assert len(found) > 120 and not any(name.startswith("orq_") or ".orq_" in name for name in found)


def test_python_has_what_the_cpp_interface_has():
    there = wrapped()
    lacking = []
    for name in sorted(there - set(LEFT_OUT)):
        kind, _, method = name.rpartition(".")
        if not hasattr(CLASSES.get(kind), RENAMED.get(name, snake(method))):
            lacking.append(name)
    assert not lacking, "Python lacks them: build them, or say in LEFT_OUT why not"
    assert set(LEFT_OUT) | set(RENAMED) <= there, "said of what is not there any more"
    for name in LEFT_OUT:
        kind, _, method = name.rpartition(".")
        assert not hasattr(CLASSES[kind], snake(method)), f"{name} is not left out"


def test_python_has_every_field_of_every_struct():
    structs = {struct.name: struct.fields for struct in interface.structs(ROOT / "include/orqcam/orqcam.h")}
    assert len(structs) > 40 and STRUCTS <= set(structs), "said of what is not there any more"
    for name, fields in structs.items():
        if name in STRUCTS:
            continue
        kind = getattr(orqcam, "".join(map(str.capitalize, name.split("_")[1:])), None)
        assert inspect.isclass(kind), f"{name}: build it, or say in STRUCTS what it is in Python"
        told = {field for field in fields if field not in ("size", "reserved") and (name, field) not in FIELDS}
        assert told <= set(dir(kind)), name
