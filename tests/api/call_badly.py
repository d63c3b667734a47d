#!/usr/bin/env python3
"""Calls every function of the C interface with every bad argument, with structs of older and newer headers, in the
middle of a video, on a lost and on a closed camera, and in a forked child.

    call_badly.py LIBRARY_FOLDER CC

Writes a C program from the header, so that a new function cannot be missed, and runs it.
"""

import os
import subprocess
import sys
import tempfile
from pathlib import Path

import interface

HERE = Path(__file__).resolve().parent
INCLUDE = HERE.parent.parent / "include"
HEADERS = sorted((INCLUDE / "orqcam").glob("*.h"))

HANDLES = {"orq_camera": "camera", "orq_camera_list": "list", "orq_reader": "reader", "orq_frame": "frame",
           "orq_watch": "watch", "orq_setting_list": "settings", "orq_hot_pixel_table": "table",
           "orq_recording": "recording", "orq_star_list": "stars"}

# Where null is a value: "function parameter".
MAY_BE_NULL = {
    "orq_frame_find_stars area",
    "orq_recording_plan_get options", "orq_recording_start options", "orq_ser_extract options",
    "orq_camera_open name", "orq_camera_open options", "orq_region_set applied", "orq_reader_open options",
    "orq_frame_save options", "orq_frame_save_files options", "orq_save_check options", "orq_dark_choice_set path", "orq_dark_take path", "orq_dark_check path", "orq_dark_copy to", "orq_frame_preview options", "orq_dark_take options", "orq_dark_take callback", "orq_dark_take user",
    "orq_dark_take info", "orq_flash_save callback", "orq_flash_save user", "orq_flash_restore backup_folder",
    "orq_flash_restore callback", "orq_flash_restore user", "orq_user_id_set backup_folder",
    "orq_user_id_set callback", "orq_user_id_set user", "orq_hot_pixels_save backup_folder",
    "orq_hot_pixels_save callback", "orq_hot_pixels_save user", "orq_dark_use path", "orq_log_set callback", "orq_log_set user", "orq_watch_cameras user", "orq_control_get mode",
    "orq_flash_compare callback", "orq_flash_compare user", "orq_hot_pixels_find options", "orq_hot_pixels_find callback",
    "orq_hot_pixels_find user", "orq_hot_pixels_find info", "orq_settings_get_owner camera_name", "orq_settings_forget owner",
}
# What a closed camera still answers.
WORKS_CLOSED = {"orq_camera_close", "orq_camera_reopen", "orq_camera_event_fd", "orq_event_next",
                "orq_camera_unplug_virtual", "orq_camera_replug_virtual", "orq_stream_get_counters", "orq_flash_get_backup"}
# What ends a video, or the camera.
ENDS_VIDEO = {"orq_camera_close", "orq_camera_reopen", "orq_camera_unplug_virtual", "orq_camera_replug_virtual",
              "orq_capture_abort", "orq_exposure_abort", "orq_video_stop"}
# Refused as long as a capture runs.
NOT_IN_VIDEO = {"orq_exposure_start", "orq_video_start", "orq_trigger_set_mode", "orq_flash_save", "orq_flash_restore",
                "orq_user_id_set", "orq_hot_pixels_save", "orq_hot_pixels_read", "orq_flash_compare"}
# Values that mean nothing nearly everywhere. Whatever they are answered with, it is documented.
ODD = {
    "int32_t": ["INT32_MIN", "-1", "INT32_MAX"], "uint32_t": ["UINT32_MAX"], "int64_t": ["INT64_MIN", "INT64_MAX"],
    "uint64_t": ["UINT64_MAX"], "double": ["(double)NAN", "-(double)INFINITY", "1e308"],
    "const char*": ['""', '"\\xff\\xfe"', "endless"],
}
VALUES = {
    "orq_status": "0", "int32_t": "0", "uint32_t": "1", "uint64_t": "1000", "int64_t": "1", "double": "1.0", "size_t": "1",
    "const char*": '"x"', "void*": "&user", "int32_t*": "&i32", "uint32_t*": "&u32", "int64_t*": "&i64",
    "size_t*": "&bytes", "double*": "&f64", "const uint8_t**": "&data", "orq_log_callback": "log_line",
    "orq_watch_callback": "watched", "orq_dark_callback": "dark_told", "orq_flash_callback": "flash_told",
    "const uint8_t*": "&byte", "uint8_t*": "&byte", "char*": "text",
}
TEXTS = {"orq_camera_open name": '"virtual:k1c"', "orq_keyword_set keyword": '"OBSERVAT=here"'}


def target(parameter_type):
    return parameter_type.replace("const ", "").rstrip("*").strip()


def is_handle(parameter):
    return parameter.type.count("*") == 1 and target(parameter.type) in HANDLES


def is_struct(parameter, structs):
    return parameter.type.count("*") == 1 and target(parameter.type) in structs


def good(function, parameter, structs):
    key = f"{function.name} {parameter.name}"
    if key in TEXTS:
        return TEXTS[key]
    if is_handle(parameter):
        return HANDLES[target(parameter.type)]
    if is_struct(parameter, structs):
        return f"&{target(parameter.type)}_"
    if parameter.type.count("*") == 2 and target(parameter.type) in HANDLES:
        return f"&new_{HANDLES[target(parameter.type)]}"
    if parameter.type not in VALUES:
        sys.exit(f"{function.name}: no value is known for a parameter of type {parameter.type}")
    return VALUES[parameter.type]


def call(function, arguments):
    return f"{function.name}({', '.join(arguments)})"


def expect(function, arguments, status, what):
    wanted = call(function, arguments)
    if function.result == "void":
        return f"{wanted}; calls++;"
    return f'expect({wanted}, {status}, "{function.name}: {what}");'


def other_sizes(function, arguments, structs):
    """Calls with the structs of older headers, which end earlier, and of newer ones."""
    lines = []
    for i, parameter in enumerate(function.parameters):
        if not is_struct(parameter, structs) or function.result != "orq_status":
            continue
        name, is_input = target(parameter.type), parameter.type.startswith("const")
        for size in ("8", f"sizeof({name}) + 64"):
            odd = arguments.copy()
            odd[i] = f"({parameter.type})sized({size}, sizeof({name}))"
            lines.append(f'expect_size({call(function, odd)}, sizeof({name}), {int(is_input)}, '
                         f'"{function.name}: {parameter.name} of {size} bytes");')
    return lines


def odd_values(function, arguments):
    lines = []
    for i, parameter in enumerate(function.parameters):
        for value in ODD.get(parameter.type, []) if function.result == "orq_status" else []:
            odd = arguments.copy()
            odd[i] = value
            text = value.replace("\\", "/").replace('"', "'")
            lines.append(f'expect_any({call(function, odd)}, "{function.name}: {parameter.name} is {text}");')
    return lines


def on_cameras(functions, structs, without, line):
    """A line for every function that takes a camera and may fail."""
    lines = []
    for function in functions:
        takes_camera = any(parameter.type == "orq_camera*" for parameter in function.parameters)
        if function.result == "orq_status" and takes_camera and function.name not in without:
            lines.append(line(function, [good(function, parameter, structs) for parameter in function.parameters]))
    return lines


def in_video(function, arguments):
    if function.name in NOT_IN_VIDEO:
        return expect(function, arguments, "ORQ_ERROR_STATE", "in a video")
    return f'expect_any({call(function, arguments)}, "{function.name}: in a video");'


def of_lost(function, arguments):
    return f'expect_any({call(function, arguments)}, "{function.name}: lost camera");'


def of_closed(function, arguments):
    return expect(function, arguments, "ORQ_ERROR_STATE", "closed camera")


def program(functions, structs):
    lines = []
    for function in functions:
        arguments = [good(function, parameter, structs) for parameter in function.parameters]
        for i, parameter in enumerate(function.parameters):
            bad = arguments.copy()
            if "*" in parameter.type or parameter.type.endswith("_callback"):
                bad[i] = "NULL"
                if f"{function.name} {parameter.name}" not in MAY_BE_NULL and function.result == "orq_status":
                    lines.append(expect(function, bad, "ORQ_ERROR_INVALID", f"{parameter.name} is null"))
                elif function.result == "void":
                    lines.append(expect(function, bad, "", ""))
            if is_handle(parameter):
                for kind, other in HANDLES.items():
                    if kind == target(parameter.type):
                        continue
                    bad[i] = f"({parameter.type})(void*){other}"
                    lines.append(expect(function, bad, "ORQ_ERROR_INVALID", f"{parameter.name} is an {kind}"))
            if is_struct(parameter, structs):
                bad[i] = f"({parameter.type})&no_size"
                lines.append(expect(function, bad, "ORQ_ERROR_INVALID", f"{parameter.name} has no size"))
        lines += other_sizes(function, arguments, structs)
        lines += odd_values(function, arguments)
    lines.append("still_exposes(camera, &corner);")
    lines.append('expect(orq_video_start(camera), ORQ_OK, "video");')
    lines += on_cameras(functions, structs, ENDS_VIDEO, in_video)
    lines.append('expect(orq_video_stop(camera), ORQ_OK, "end of the video");')
    lines.append("still_exposes(camera, &corner);")
    lines.append('expect(orq_camera_unplug_virtual(camera), ORQ_OK, "unplug");')
    lines += on_cameras(functions, structs, ENDS_VIDEO, of_lost)
    lines.append('expect(orq_camera_close(camera), ORQ_OK, "close");')
    lines += on_cameras(functions, structs, WORKS_CLOSED, of_closed)
    lines.append("fflush(NULL); pid_t child = fork(); if (child == 0) { calls = failures = 0;")
    for function in functions:
        if function.result in ("orq_status", "void") and function.name != "orq_library_version":
            arguments = [good(function, parameter, structs) for parameter in function.parameters]
            lines.append(expect(function, arguments, "ORQ_ERROR_STATE", "forked child"))
    lines.append("_exit(failures != 0 || calls == 0); } int ended = 0; waitpid(child, &ended, 0);")
    lines.append('if (ended != 0) { printf("the forked child failed: %d\\n", ended); failures++; }')
    declarations = [f"{name} {name}_ = {{.size = sizeof({name})}};" for name in sorted(structs)]
    return TEMPLATE.replace("STRUCTS", "\n".join(declarations)).replace("CALLS", "\n  ".join(lines))


TEMPLATE = r"""
#include <orqcam/orqcam-expert.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>
extern pid_t fork(void);
static int failures = 0, calls = 0;
static void expect(orq_status status, orq_status wanted, const char* what) {
  calls++;
  if (status == wanted && (status == ORQ_OK || orq_last_error()[0] != '\0')) return;
  printf("%s: %s instead of %s (%s)\n", what, orq_status_name(status), orq_status_name(wanted), orq_last_error());
  failures++;
}
/* Whatever is wrong: an answer that the header has, and a reason. */
static void expect_any(orq_status status, const char* what) {
  calls++;
  if (status == ORQ_OK || (status < 0 && status > ORQ_ERROR_INTERNAL && orq_last_error()[0] != '\0')) return;
  printf("%s: %s (%s)\n", what, orq_status_name(status), orq_last_error());
  failures++;
}
static unsigned char odd_sized[32768];
static uint32_t odd_size;
/* A struct of another header's size: all zero as far as this library knows it. */
static void* sized(uint32_t size, size_t known) {
  odd_size = size;
  memset(odd_sized, 0xEE, sizeof odd_sized);
  memset(odd_sized, 0, size < known ? size : known);
  memcpy(odd_sized, &size, sizeof size);
  return odd_sized;
}
/* Nothing beyond it is written, and what the library does not know becomes zero. */
static void expect_size(orq_status status, size_t known, int is_input, const char* what) {
  size_t i;
  expect_any(status, what);
  for (i = odd_size; i < sizeof odd_sized && odd_sized[i] == 0xEE; i++) {}
  if (i < sizeof odd_sized) {
    printf("%s: byte %zu was written\n", what, i);
    failures++;
  }
  for (i = known; i < odd_size; i++) {
    const unsigned char wanted = status == ORQ_OK && !is_input ? 0 : 0xEE;
    if (odd_sized[i] == wanted) continue;
    printf("%s: byte %zu is %d\n", what, i, odd_sized[i]);
    failures++;
    break;
  }
}
static void still_exposes(orq_camera* camera, const orq_region* corner) {
  orq_frame* frame = NULL;
  expect(orq_capture_abort(camera), ORQ_OK, "abort");
  expect(orq_trigger_set_mode(camera, ORQ_MODE_FREE), ORQ_OK, "free running");
  expect(orq_region_set(camera, corner, NULL), ORQ_OK, "region");
  expect(orq_exposure_start(camera, 2000), ORQ_OK, "next exposure");
  expect(orq_frame_wait(camera, 30000, &frame), ORQ_OK, "next frame");
  orq_frame_release(frame);
}
static void log_line(void* user, int32_t level, const char* line) { (void)user; (void)level; (void)line; }
static void dark_told(void* user, const orq_dark_progress* progress) { (void)user; (void)progress; }
static void flash_told(void* user, const orq_flash_progress* progress) { (void)user; (void)progress; }
static void watched(void* user, int32_t in, const orq_camera_entry* entry) { (void)user; (void)in; (void)entry; }
STRUCTS
int main(int argc, char** argv) {
  (void)argc;
  static unsigned char no_size[16384];
  static char text[256], endless[5001];
  int user = 0; int32_t i32 = 0; uint32_t u32 = 0; int64_t i64 = 0; size_t bytes = sizeof text; double f64 = 0;
  uint8_t byte = 0;
  const uint8_t* data = NULL;
  orq_camera *camera = NULL, *new_camera = NULL; orq_camera_list *list = NULL, *new_list = NULL;
  orq_reader *reader = NULL, *new_reader = NULL; orq_frame *frame = NULL, *new_frame = NULL;
  orq_watch *watch = NULL, *new_watch = NULL;
  orq_setting_list *settings = NULL, *new_settings = NULL; orq_hot_pixel_table *table = NULL, *new_table = NULL;
  orq_recording *recording = NULL, *new_recording = NULL; orq_star_list *stars = NULL, *new_stars = NULL;
  const orq_dark_options one_frame = {sizeof one_frame, 1, 0, 0};
  memset(endless, 'x', sizeof endless - 1);
  const orq_region corner = {sizeof corner, 0, 0, 64, 64, 1, ORQ_FORMAT_RAW8, 0};
  expect(orq_camera_open("virtual:t46c,timescale=0", NULL, &camera), ORQ_OK, "open");
  expect(orq_region_set(camera, &corner, NULL), ORQ_OK, "region");
  expect(orq_list_cameras(ORQ_LIST_VIRTUAL, &list), ORQ_OK, "list");
  expect(orq_reader_open(camera, NULL, &reader), ORQ_OK, "reader");
  expect(orq_watch_cameras(watched, NULL, &watch), ORQ_OK, "watch");
  expect(orq_settings_list(&settings), ORQ_OK, "settings");
  expect(orq_hot_pixels_find(camera, &one_frame, NULL, NULL, NULL, &table), ORQ_OK, "table");
  expect(orq_exposure_start(camera, 1000), ORQ_OK, "exposure");
  expect(orq_frame_wait(camera, 30000, &frame), ORQ_OK, "frame");
  (void)no_size; (void)text; (void)user; (void)i32; (void)u32; (void)i64; (void)bytes; (void)f64; (void)data; (void)byte;
  (void)new_camera; (void)new_list; (void)new_reader; (void)new_frame; (void)new_watch; (void)new_settings; (void)new_table;
  (void)new_recording; (void)new_stars;
  expect(orq_recording_start(camera, argv[1], NULL, &recording), ORQ_OK, "recording");
  expect(orq_frame_find_stars(frame, NULL, &stars), ORQ_OK, "stars");
  CALLS
  orq_star_list_release(stars);
  orq_recording_release(recording);
  orq_frame_release(frame);
  orq_reader_release(reader);
  orq_camera_list_release(list);
  orq_watch_release(watch);
  orq_setting_list_release(settings);
  orq_hot_pixel_table_release(table);
  orq_camera_release(camera);
  printf("%d calls, %d failures\n", calls, failures);
  return failures != 0;
}
"""


def main():
    folder, compiler = sys.argv[1], sys.argv[2]
    functions = [one for header in HEADERS for one in interface.functions(header)]
    structs = {one.name for header in HEADERS for one in interface.structs(header)}
    with tempfile.TemporaryDirectory() as work:
        source = Path(work) / "bad_calls.c"
        source.write_text(program(functions, structs), encoding="utf-8")
        binary = Path(work) / "bad_calls"
        subprocess.run([compiler, "-x", "c", "-std=c99", "-Wall", "-Wextra", "-Werror", f"-I{INCLUDE}", source, "-o", binary,
                        f"-L{folder}", "-lorqcam", f"-Wl,-rpath,{folder}"], check=True)
        # Some calls write files: nothing of the user's.
        own = {"HOME": work, "XDG_CONFIG_HOME": work, "XDG_STATE_HOME": work}
        ran = subprocess.run([binary, Path(work) / "a.ser"], timeout=100, capture_output=True, text=True, check=False, cwd=work,
                             env=os.environ | own)
        print(ran.stdout, ran.stderr, sep="")
        return ran.returncode


if __name__ == "__main__":
    sys.exit(main())
