"""What the library tells, as read-only objects that show what they know."""

import reprlib

from . import _orqcam

DOCS = {
    "AutomaticState": """What automatic exposure, gain and white balance have come to.

mean: brightness of the frame that was measured last, 1 to 255 (0: none was); target: for it; gain; exposure_us; wb_r, wb_b:
white balance (0: not automatic); settled: nothing has had to be changed for some frames; on_target.""",
    "CameraEntry": """A camera in a list.

name: what open() takes; model; serial: 16 hexadecimal digits (empty: none); user_id: your name for it; speed: 3 for USB 3,
2 for USB 2, 0 unknown; trouble: why it could not be asked (empty: it could); summary: of virtual ones, what they are like.""",
    "CameraInfo": """What a camera is.

model, key (its short name, "k1c"), serial, user_id, firmware; speed: 3 for USB 3, 2 for USB 2, 0 unknown; sensor_width,
sensor_height: pixels; pixel_um: edge of a pixel, micrometres (0: unknown); adc_bits; electrons_per_adu: of the converter's
counts at the present gain (0: unknown); bayer: number of the pattern of the whole sensor (-1: none), which camera.bayer has as
a word; bins, formats, abilities: bits, which camera.bins, camera.formats and camera.abilities have as words; width_step,
height_step, start_x_step, start_y_step, least_width, least_height: the regions that there are, sizes in delivered pixels,
starts in sensor pixels.""",
    "ClockState": """Whether the computer's clock keeps UTC, as its system knows.

synchronised: 1: something (NTP, PTP, a receiver) steers it, 0: nothing does, -1: unknown; max_error_us: how far it may be off
then, microseconds.""",
    "CoolerState": """What the cooler does.

on; target_c, sensor_c: degrees Celsius (sensor_c NaN: the thermometer does not answer); power: percent of the full drive;
reach_c: how cold it gets, once that is known to fall short of the target (NaN: not known); trouble: why it cannot regulate.""",
    "DarkInfo": """How a dark was taken, and what it shows.

frames (0, of a file: nothing is known about it), exposure_us, taken_unix_ns, gain, offset, readout_mode (-1: unknown), sensor_c
(degrees Celsius, NaN: unknown), model, serial: of the camera; average: of the whole dark, 0 to 255; hot_pixels: more than 30
above it; bad_rows: of which at least half is hot; trouble: of a file, why its description does not count.""",
    "Disc": "A bright disc in a frame, a planet. x, y: its centre, pixels from the top left corner; diameter: pixels.",
    "ExposureProgress": """How far an exposure is.

running: an exposure or its readout is under way; elapsed_us: since it began; exposure_us; limit_us: a frame that comes later
than that is given up. Microseconds.""",
    "FocusState": """Where the focus motor is.

position: 0 to 1023; moving; lower_mark, upper_mark: of the lens (-1: unknown); driver_id: of the motor's driver, 0 to 255.""",
    "FrameGps": """What the GPS says about a frame.

state: 0 none, 1 fix, 2 predicted, 3 no fix, 4 the region does not hold both lines, 5 missed, 6 unsettled, 7 contradictory,
8 less certain than the computer's time, 9 unreadable; satellites; start_line, end_line: sensor lines at which time is taken;
start_unix_ns, end_unix_ns: start of their exposures, nanoseconds since 1970, UTC (0: unknown); row_ns, row_us: from the start
of one row to the next; latitude, longitude: degrees, north and east positive (NaN: unknown); altitude_m; predicted, confirmed,
wrong: frames of this capture with predicted time, predictions that were right and wrong.""",
    "FrameInfo": """What is known about a frame.

sequence: the camera's own number, which wraps at 2**32; number: of the frames since the camera was opened, from 1; start_x,
start_y: sensor pixels; width, height: pixels; bin; format, bayer: numbers, which frame.format and frame.bayer have as words;
bytes_per_pixel; exposure_us; time_unix_ns: start of the exposure of the row that was read out first, end_unix_ns: end of that of
the last, nanoseconds since 1970, UTC; time_uncertainty_ns; time_source: frame.time_source has its word; gain; offset; gamma
(50: none); flips: 1 left and right, 2 top and bottom; electrons_per_adu: of the pixel values (0: unknown); sensor_c, target_c:
degrees Celsius (NaN: unknown, not cooled); cooler_power: percent (-1: no cooler); corrections: 1 dark, 2 hot pixels;
readout_mode; black_level, saturated: what a pixel without charge and a full one read (NaN: unknown); real_exposure_ms: as the
camera has measured it (-1: it has not); after_gap: the first one of a video that goes on after a loss.""",
    "GainPreset": """A gain with a meaning.

gain: for camera.gain; electrons_per_adu: of the converter's counts; most_electrons: that a pixel can tell.""",
    "GpsReceiver": """The GPS receiver, and what it latched last at the two lines.

version; readable: False: too old to be read, its times are with the frames only; fix: it has latched valid time and position;
start_satellites, end_satellites; start_latitude, end_latitude, start_longitude, end_longitude: degrees, north and east positive;
start_altitude_m, end_altitude_m; start_utc, end_utc: "2026-11-21T04:42:31.1234567", start of the line's exposure;
start_position, end_position: as the receiver words them.""",
    "ReaderCounters": """What a reader has done since it was opened, in frames.

waiting: in line now; delivered; missed: replaced or left out, because the reader was slow; no_buffer: that nobody could have
since the capture began, as all memory was held.""",
    "RecordingPlan": """What a recording would be like.

file, times_file: names; width, height: pixels; bin; format, form: numbers; frame_bytes; ring_frames: that can wait for the disk;
free_bytes, free_frames: of the disk.""",
    "RecordingState": """How far a recording is.

end: a number, which recording.end has as a word; frames: in the file; missed: left out because the disk was too slow; lost:
that did not come from the camera; waiting: for the disk; bytes: of the finished file, if it ended now; free_bytes: of the disk;
seconds: since the first frame; first_unix_ns, last_unix_ns: times of the first frame and the last (0: none yet); direct: written
past the system's cache; trouble: of an end that nobody wanted (empty: nothing is wrong).""",
    "SerInfo": """A SER file: what its header says, and what it holds.

colour: "mono", "RGGB" and so on; width, height: pixels; depth: bits of a sample; frames: that are there; header_frames: that the
header announces (0: the recording was not finished); whole_frames: that ser_repair() would keep; frame_bytes; bytes: of the file;
stamps: time stamps, of them unstamped: that are no time, backwards: earlier than the one before, differing: from the text beside
the file; first_unix_ns, last_unix_ns, header_unix_ns: UTC (0: none); described: the text of a recording is beside it; whole;
observer, instrument, telescope; trouble: what is wrong with it (empty: nothing).""",
    "Statistics": """What a frame's pixel values are like, all colours together.

minimum, maximum, mean, median, deviation: 0 to 255, or 0 to 65535 with 16 bits; values: how many there are; saturated: share of
them that is full, 0 to 1; histogram: a list of 256: how many have these highest eight bits.""",
    "StreamCounters": """What the stream that runs, or ran last, has counted.

started (frames of which at least one byte came) is the sum of completed, failed, stale (exposed before this capture), dropped
(the computer was too slow), aborted and filling. failed is the sum of failed_short, failed_oversize, failed_marks, failed_sequence,
failed_stalled, failed_transport and failed_timed_out. lost: numbers that never arrived; overwritten: that expose() and "newest"
passed over; bytes, bytes_discarded; submit_retries, halts_cleared, resyncs; in_flight, in_flight_max: transfers;
longest_gap_us: between two transfers.""",
    "TriggerOutput": """The pulse on a trigger output with each exposure.

active_high: high during the pulse; delay_us: from the start of the exposure; length_us (0: no pulse). Microseconds.""",
}


def _repr(told):
    """Every field with its value, but lists in short."""
    names = [name for name, member in vars(type(told)).items() if isinstance(member, property)]
    return f"{type(told).__name__}({', '.join(f'{name}={_short(getattr(told, name))}' for name in names)})"


def _short(value):
    return reprlib.repr(value) if isinstance(value, list) else repr(value)


for _name, _doc in DOCS.items():
    _kind = getattr(_orqcam, _name)
    _kind.__doc__, _kind.__module__, _kind.__repr__ = _doc, "orqcam", _repr
    globals()[_name] = _kind
__all__ = list(DOCS)
