"""Controls as attributes: a number that knows its limits."""

AUTO = "auto"

# Attribute, number of the control, what it is.
CONTROLS = (
    ("gain", 0, "Gain, in the camera's steps."),
    ("exposure_us", 1, "Exposure of videos, and of expose() without a time, in microseconds."),
    ("gamma", 2, "Brightness curve; 50: none."),
    ("wb_r", 3, "White balance of red, 1 to 99; 50 is neutral."),
    ("wb_b", 4, "White balance of blue, 1 to 99; 50 is neutral."),
    ("offset", 5, "Offset: what is added so that the noise of a black pixel is seen whole."),
    ("bandwidth", 6, "Percent of the full readout rate."),
    ("overclock", 7, "Readout clock beyond the standard one."),
    ("temperature", 8, "Temperature of the sensor, degrees Celsius; read only."),
    ("flip", 9, "Sum of 1 (left and right are swapped) and 2 (top and bottom)."),
    ("auto_max_gain", 10, "The highest gain that automatic control sets."),
    ("auto_max_exposure_ms", 11, "The longest exposure that automatic control sets, milliseconds."),
    ("auto_target_brightness", 12, "Mean brightness that automatic control looks for, of 255."),
    ("hardware_bin", 13, "1: binned in the camera."),
    ("high_speed", 14, "1: read out faster, with fewer bits."),
    ("cooler_power", 15, "Percent of the cooler's full drive; read only."),
    ("target_temperature", 16, "Target of the cooler, degrees Celsius."),
    ("cooler_on", 17, "1: the cooler is on."),
    ("mono_bin", 18, "1: colours are binned together, which leaves none."),
    ("fan_on", 19, "1: the fan runs."),
    ("pattern_adjust", 20, "Correction of a fixed pattern."),
    ("anti_dew_heater", 21, "1: the window is heated."),
    ("fan_speed", 22, "Speed of the fan."),
    ("led_brightness", 23, "Brightness of the power light."),
    ("hub_reset", 24, "1 resets the camera's USB hub."),
    ("gps_support", 25, "1: the camera has a GPS; read only."),
    ("gps_start_line", 26, "Sensor line at which the GPS takes the start of an exposure."),
    ("gps_end_line", 27, "Sensor line at which the GPS takes its end."),
    ("rolling_interval", 28, "From the start of one row to that of the next, microseconds; read only."),
    ("readout_mode", 29, "Readout mode of the sensor, from 0; its `description` names them."),
)


class _Described:
    """What a value read from a camera knows beside itself."""

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

    def _describe(self, info, auto):
        self.name = info.name
        self.description = info.description
        self.min, self.max, self.default = (
            each if info.scale == 1 else each / info.scale for each in (info.minimum, info.maximum, info.default))
        self.step = 1 if info.scale == 1 else 1 / info.scale
        self.unit = info.unit
        self.auto = auto
        self.can_auto = bool(info.automatic)
        self.writable = bool(info.writable)
        return self


class IntControl(int, _Described):
    """The value of a control that counts in whole steps."""


class FloatControl(float, _Described):
    """The value of a control that is finer than its unit."""


def reading(info, raw, auto):
    """A control's value with its description."""
    value = IntControl(raw) if info.scale == 1 else FloatControl(raw / info.scale)
    return value._describe(info, auto)
