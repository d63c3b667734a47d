import builtins
import datetime
from collections.abc import AsyncIterator, Iterator
from os import PathLike
from typing import Any, Literal, NamedTuple, Optional, Union

import numpy
from numpy.typing import NDArray

__version__: str
AUTO: Literal["auto"]

class Error(Exception):
    status: int

class InvalidError(Error, ValueError): ...
class NotFoundError(Error, LookupError): ...
class PermissionError(Error, builtins.PermissionError): ...
class BusyError(Error): ...
class LostError(Error, ConnectionError): ...
class TimeoutError(Error, builtins.TimeoutError): ...
class CancelledError(Error): ...
class UnsupportedError(Error): ...
class RefusedError(Error): ...
class StateError(Error): ...
class RangeError(Error, ValueError): ...
class FileError(Error, OSError): ...
class MemoryError(Error, builtins.MemoryError): ...
class InternalError(Error): ...

class IntControl(int):
    name: str
    description: str
    min: float
    max: float
    step: float
    default: float
    unit: str
    auto: bool
    can_auto: bool
    writable: bool

class FloatControl(float):
    name: str
    description: str
    min: float
    max: float
    step: float
    default: float
    unit: str
    auto: bool
    can_auto: bool
    writable: bool

_Setting = Union[int, float, Literal["auto"]]
_Path = Union[str, PathLike[str]]
_Format = Literal["raw8", "rgb24", "raw16", "y8"]

class _IntControl:
    def __get__(self, camera: object, kind: type) -> IntControl: ...
    def __set__(self, camera: object, value: _Setting) -> None: ...

class _FloatControl:
    def __get__(self, camera: object, kind: type) -> FloatControl: ...
    def __set__(self, camera: object, value: _Setting) -> None: ...

class _Region:
    def __get__(self, camera: object, kind: type) -> Region: ...
    def __set__(self, camera: object, value: Optional[tuple[int, int, int, int]]) -> None: ...

class _GpsLines:
    def __get__(self, camera: object, kind: type) -> tuple[int, int]: ...
    def __set__(self, camera: object, value: Optional[tuple[int, int]]) -> None: ...

class Region(NamedTuple):
    x: int
    y: int
    width: int
    height: int

class Event(NamedTuple):
    kind: str
    text: str

class CameraEntry:
    name: str
    model: str
    serial: str
    user_id: str
    trouble: str
    summary: str
    speed: int

class ClockState:
    synchronised: int
    max_error_us: int

class CameraInfo:
    model: str
    serial: str
    user_id: str
    firmware: str
    key: str
    speed: int
    sensor_width: int
    sensor_height: int
    pixel_um: float
    adc_bits: int
    bayer: int
    bins: int
    formats: int
    abilities: int
    width_step: int
    height_step: int
    start_x_step: int
    start_y_step: int
    least_width: int
    least_height: int
    electrons_per_adu: float

class CoolerState:
    on: bool
    target_c: float
    sensor_c: float
    power: float
    reach_c: float
    trouble: str

class FocusState:
    position: int
    moving: bool
    lower_mark: int
    upper_mark: int
    driver_id: int

class TriggerOutput:
    active_high: bool
    delay_us: int
    length_us: int

class ExposureProgress:
    running: bool
    elapsed_us: int
    exposure_us: int
    limit_us: int

class ReaderCounters:
    waiting: int
    delivered: int
    missed: int
    no_buffer: int

class StreamCounters:
    started: int
    completed: int
    failed: int
    stale: int
    dropped: int
    aborted: int
    filling: int
    failed_short: int
    failed_oversize: int
    failed_marks: int
    failed_sequence: int
    failed_stalled: int
    failed_transport: int
    failed_timed_out: int
    lost: int
    overwritten: int
    bytes: int
    bytes_discarded: int
    submit_retries: int
    halts_cleared: int
    resyncs: int
    in_flight: int
    in_flight_max: int
    longest_gap_us: int

class DarkInfo:
    model: str
    serial: str
    trouble: str
    frames: int
    exposure_us: int
    taken_unix_ns: int
    gain: int
    offset: int
    sensor_c: float
    average: int
    hot_pixels: int
    bad_rows: int
    readout_mode: int

class AutomaticState:
    mean: int
    target: int
    gain: int
    exposure_us: int
    wb_r: int
    wb_b: int
    settled: bool
    on_target: bool

class FrameInfo:
    sequence: int
    start_x: int
    start_y: int
    width: int
    height: int
    bin: int
    format: int
    bayer: int
    bytes_per_pixel: int
    exposure_us: int
    time_unix_ns: int
    end_unix_ns: int
    time_uncertainty_ns: int
    time_source: int
    gain: int
    offset: int
    flips: int
    electrons_per_adu: float
    number: int
    sensor_c: float
    target_c: float
    cooler_power: int
    gamma: int
    corrections: int
    readout_mode: int
    black_level: float
    saturated: float
    real_exposure_ms: int
    after_gap: bool

class FrameGps:
    state: int
    satellites: int
    start_line: int
    end_line: int
    start_unix_ns: int
    end_unix_ns: int
    row_ns: int
    row_us: float
    predicted: int
    confirmed: int
    wrong: int
    latitude: float
    longitude: float
    altitude_m: float

class GpsReceiver:
    version: int
    readable: bool
    fix: bool
    start_satellites: int
    end_satellites: int
    start_latitude: float
    start_longitude: float
    start_altitude_m: float
    end_latitude: float
    end_longitude: float
    end_altitude_m: float
    start_utc: str
    end_utc: str
    start_position: str
    end_position: str

class Disc:
    x: float
    y: float
    diameter: float

class Statistics:
    minimum: int
    maximum: int
    values: int
    mean: float
    median: float
    deviation: float
    saturated: float
    histogram: list[int]

class Stars:
    @property
    def count(self) -> int: ...
    @property
    def measured(self) -> int: ...
    @property
    def saturated(self) -> int: ...
    @property
    def hfr(self) -> float: ...
    @property
    def fwhm(self) -> float: ...
    @property
    def arcsec_per_pixel(self) -> float: ...
    @property
    def hfr_arcsec(self) -> float: ...
    @property
    def fwhm_arcsec(self) -> float: ...
    @property
    def background(self) -> float: ...
    @property
    def noise(self) -> float: ...
    @property
    def table(self) -> NDArray[numpy.void]: ...

class Frame:
    @property
    def array(self) -> NDArray[Any]: ...
    @property
    def __array_interface__(self) -> dict[str, Any]: ...
    @property
    def address(self) -> int: ...
    @property
    def info(self) -> FrameInfo: ...
    @property
    def gps(self) -> FrameGps: ...
    @property
    def time(self) -> datetime.datetime: ...
    @property
    def time_ns(self) -> int: ...
    @property
    def time_source(self) -> Literal["computer", "gps", "gps-predicted"]: ...
    @property
    def time_uncertainty_ns(self) -> int: ...
    @property
    def exposure(self) -> float: ...
    @property
    def format(self) -> _Format: ...
    @property
    def bayer(self) -> Optional[str]: ...
    @property
    def number(self) -> int: ...
    @property
    def header(self) -> Any: ...
    def cards(self) -> list[tuple[str, Union[bool, int, float, str], str]]: ...
    def statistics(self) -> Statistics: ...
    def disc(self) -> Disc: ...
    def preview(self, max_width: int = ..., max_height: int = ..., *, stretch: bool = ...) -> NDArray[numpy.uint8]: ...
    def stars(self, area: Optional[tuple[int, int, int, int]] = ...) -> Stars: ...
    def save(self, path: _Path, *, overwrite: bool = ..., preview: bool = ..., fast: bool = ..., number: int = ...) -> str: ...

class Video:
    def __iter__(self) -> Iterator[Frame]: ...
    def __next__(self) -> Frame: ...
    def __aiter__(self) -> AsyncIterator[Frame]: ...
    async def __anext__(self) -> Frame: ...
    def __enter__(self) -> Video: ...
    def __exit__(self, *_: object) -> None: ...
    async def __aenter__(self) -> Video: ...
    async def __aexit__(self, *_: object) -> None: ...
    @property
    def counters(self) -> ReaderCounters: ...
    def close(self) -> None: ...

class RecordingState:
    end: int
    frames: int
    missed: int
    lost: int
    waiting: int
    bytes: int
    free_bytes: int
    seconds: float
    first_unix_ns: int
    last_unix_ns: int
    direct: bool
    trouble: str

class MissingFrames(NamedTuple):
    first: int
    last: int
    cause: str

class RecordingPlan:
    file: str
    times_file: str
    width: int
    height: int
    bin: int
    format: int
    form: int
    frame_bytes: int
    ring_frames: int
    free_bytes: int
    free_frames: int

class SerInfo:
    colour: str
    width: int
    height: int
    depth: int
    frames: int
    whole_frames: int
    frame_bytes: int
    bytes: int
    stamps: int
    unstamped: int
    backwards: int
    differing: int
    first_unix_ns: int
    last_unix_ns: int
    header_unix_ns: int
    header_frames: int
    described: bool
    whole: bool
    observer: str
    instrument: str
    telescope: str
    trouble: str

class SerRepaired(NamedTuple):
    changed: bool
    frames: int
    timed: int

class GainPreset:
    gain: int
    electrons_per_adu: float
    most_electrons: float

class HotPixels:
    @property
    def shape(self) -> tuple[int, int]: ...
    @property
    def pixels(self) -> NDArray[numpy.int32]: ...
    @property
    def bad_rows(self) -> list[int]: ...
    @property
    def left_out(self) -> int: ...
    def __len__(self) -> int: ...
    def save(self, path: _Path, *, overwrite: bool = ...) -> None: ...

_Form = Optional[Literal["ser", "cube", "folder"]]

class Recording:
    def __enter__(self) -> Recording: ...
    def __exit__(self, *_: object) -> None: ...
    def stop(self) -> None: ...
    def wait(self, timeout: Optional[float] = ...) -> None: ...
    @property
    def end(self) -> Optional[str]: ...
    @property
    def state(self) -> RecordingState: ...
    @property
    def missing(self) -> list[MissingFrames]: ...

class Camera:
    def __init__(self, name: Union[str, int] = ..., *, settings: Literal["off", "load", "keep"] = ..., settings_folder: _Path = ...,
                 frame_memory_mb: int = ..., resume: bool = ...) -> None: ...
    def __enter__(self) -> Camera: ...
    def __exit__(self, *_: object) -> None: ...
    def close(self) -> None: ...
    def reopen(self) -> None: ...
    @property
    def info(self) -> CameraInfo: ...
    @property
    def bins(self) -> tuple[int, ...]: ...
    @property
    def formats(self) -> tuple[_Format, ...]: ...
    @property
    def abilities(self) -> tuple[str, ...]: ...
    @property
    def controls(self) -> dict[str, Union[IntControl, FloatControl]]: ...
    gain: _IntControl
    exposure_us: _IntControl
    gamma: _IntControl
    wb_r: _IntControl
    wb_b: _IntControl
    offset: _IntControl
    bandwidth: _IntControl
    overclock: _IntControl
    temperature: _FloatControl
    flip: _IntControl
    auto_max_gain: _IntControl
    auto_max_exposure_ms: _IntControl
    auto_target_brightness: _IntControl
    hardware_bin: _IntControl
    high_speed: _IntControl
    cooler_power: _IntControl
    target_temperature: _IntControl
    cooler_on: _IntControl
    mono_bin: _IntControl
    fan_on: _IntControl
    pattern_adjust: _IntControl
    anti_dew_heater: _IntControl
    fan_speed: _IntControl
    led_brightness: _IntControl
    hub_reset: _IntControl
    gps_support: _IntControl
    gps_start_line: _IntControl
    gps_end_line: _IntControl
    rolling_interval: _FloatControl
    readout_mode: _IntControl
    @property
    def automatic_state(self) -> AutomaticState: ...
    def await_settled(self, timeout: float) -> None: ...
    def keep_settings(self) -> None: ...
    region: _Region
    def fit(self, region: tuple[int, int, int, int]) -> Region: ...
    @property
    def bayer(self) -> Optional[str]: ...
    @property
    def bin(self) -> int: ...
    @bin.setter
    def bin(self, wanted: int) -> None: ...
    @property
    def format(self) -> _Format: ...
    @format.setter
    def format(self, wanted: _Format) -> None: ...
    def expose(self, seconds: Optional[float] = ..., *, timeout: Optional[float] = ...) -> Frame: ...
    async def expose_async(self, seconds: Optional[float] = ..., *, timeout: Optional[float] = ...) -> Frame: ...
    def video(self, *, reader: Literal["newest", "every"] = ..., depth: int = ..., timeout: Optional[float] = ...) -> Video: ...
    def record(self, path: _Path, *, frames: int = ..., seconds: float = ..., size: int = ..., overwrite: bool = ...,
               form: _Form = ..., ring_mb: int = ...) -> Recording: ...
    def plan_recording(self, path: _Path, *, overwrite: bool = ..., form: _Form = ..., ring_mb: int = ...) -> RecordingPlan: ...
    def abort(self) -> None: ...
    @property
    def progress(self) -> ExposureProgress: ...
    @property
    def counters(self) -> StreamCounters: ...
    def label(self, *, image_type: Literal["light", "dark", "bias", "flat"] = ..., object: str = ..., observer: str = ...) -> None: ...
    def keyword(self, keyword: str) -> None: ...
    def clear_keywords(self) -> None: ...
    def apply_profile(self) -> None: ...
    def time_mark(self, on: bool) -> None: ...
    def next_event(self) -> Optional[Event]: ...
    def events(self) -> AsyncIterator[Event]: ...
    @property
    def event_fd(self) -> int: ...
    @property
    def cooler(self) -> CoolerState: ...
    def cool(self, target_c: float, *, keep: bool = ...) -> None: ...
    def cooler_off(self) -> None: ...
    def await_cold(self, timeout: float) -> None: ...
    def warm_up(self, timeout: float) -> None: ...
    @property
    def supply_voltage(self) -> float: ...
    def guide(self, direction: Literal["north", "south", "east", "west"], milliseconds: int) -> None: ...
    @property
    def sensor_id(self) -> str: ...
    @property
    def focus(self) -> FocusState: ...
    def move_focus(self, position: int) -> None: ...
    gps_lines: _GpsLines
    @property
    def gps_receiver(self) -> GpsReceiver: ...
    def check_gps(self) -> None: ...
    def take_dark(self, path: _Path, *, frames: int = ..., overwrite: bool = ...) -> DarkInfo: ...
    def read_dark(self, path: _Path) -> DarkInfo: ...
    def use_dark(self, path: Optional[_Path]) -> None: ...
    def gain_preset(self, preset: Literal["unity", "lowest-noise", "largest-range"]) -> GainPreset: ...
    @property
    def hot_pixels(self) -> HotPixels: ...
    def find_hot_pixels(self, *, frames: int = ...) -> HotPixels: ...
    @property
    def repairs_hot_pixels(self) -> bool: ...
    def repair_hot_pixels(self, on: bool = ...) -> None: ...
    def save_hot_pixels(self, *, backup_folder: Optional[_Path] = ...) -> None: ...
    @property
    def user_id(self) -> str: ...
    def set_user_id(self, name: str, *, backup_folder: Optional[_Path] = ...) -> None: ...
    def save_flash(self, path: _Path, *, overwrite: bool = ...) -> None: ...
    @property
    def flash_backup(self) -> str: ...
    def restore_flash(self, path: _Path, *, other_camera: bool = ..., backup_folder: Optional[_Path] = ...) -> None: ...
    @property
    def trigger_modes(self) -> tuple[str, ...]: ...
    @property
    def trigger_mode(self) -> str: ...
    @trigger_mode.setter
    def trigger_mode(self, wanted: str) -> None: ...
    def trigger(self) -> None: ...
    def trigger_output(self, output: Literal["a", "b"]) -> TriggerOutput: ...
    def set_trigger_output(self, output: Literal["a", "b"], length_us: int, *, delay_us: int = ..., active_high: bool = ...) -> None: ...
    def unplug(self) -> None: ...
    def replug(self) -> None: ...

def open(name: Union[str, int] = ..., *, settings: Literal["off", "load", "keep"] = ..., settings_folder: _Path = ...,
         frame_memory_mb: int = ..., resume: bool = ...) -> Camera: ...
def ser_info(path: _Path) -> SerInfo: ...
def ser_repair(path: _Path) -> SerRepaired: ...
def ser_extract(path: _Path, frame: int, to: _Path, *, overwrite: bool = ...) -> str: ...
def clock_state() -> ClockState: ...
def cameras(*, usb: bool = ..., virtual: bool = ...) -> list[CameraEntry]: ...
