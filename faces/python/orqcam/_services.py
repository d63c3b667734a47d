"""What a camera does beside frames: cooling, guiding, focusing, triggers, GPS, corrections, its flash memory."""

import operator

from ._errors import InvalidError
from ._tables import HotPixels

TRIGGERS = ("free", "software", "rising", "falling", "software-level", "high", "low")
OUTPUTS = ("a", "b")
GAINS = ("unity", "lowest-noise", "largest-range")
DIRECTIONS = {"north": 0, "south": 1, "east": 2, "west": 3}


def chosen(words, word, what):
    """The number of a word among those that there are."""
    if word not in words:
        raise InvalidError(f"{what} must be one of {', '.join(map(str, words))}, not {word!r}")
    return words[word] if isinstance(words, dict) else words.index(word)


def whole(value, what):
    """A number of things that cannot be parted: 3, numpy.int64(3)."""
    try:
        return operator.index(value)
    except TypeError:
        raise TypeError(f"{what} must be a whole number, not {value!r}: round() it") from None


def _folder(path):
    return None if path is None else str(path)


class Services:
    """What a camera does beside frames."""

    # Cooling

    @property
    def cooler(self):
        """What the cooler does: on, target_c, sensor_c, power, trouble."""
        return self._device.cooler()

    def cool(self, target_c, *, keep=False):
        """Switches the cooler on. `keep`: it stays on when the camera is closed."""
        self._device.cool(target_c, keep)

    def cooler_off(self):
        """Switches it off at once; warm_up() is gentler."""
        self._device.cooler_off()

    def await_cold(self, timeout):
        """Waits until the target has been kept for five seconds; `timeout` in seconds."""
        self._device.await_cold(timeout)

    def warm_up(self, timeout):
        """Warms the sensor up slowly and switches the cooler off."""
        self._device.warm_up(timeout)

    @property
    def supply_voltage(self):
        """Volts."""
        return self._device.supply_voltage()

    @property
    def sensor_id(self):
        """The identity that the maker of the image sensor has burnt in."""
        return self._device.sensor_id()

    # Guide port and focus motor

    def guide(self, direction, milliseconds):
        """Holds a line of the guide port on, north, south, east or west, for 1 to 60,000 ms; returns when it is off again."""
        self._device.guide(chosen(DIRECTIONS, direction, "direction"), whole(milliseconds, "milliseconds"))

    @property
    def focus(self):
        """Where the focus motor is: position (0 to 1023), moving, lower_mark and upper_mark of the lens (-1: unknown)."""
        return self._device.get_focus()

    def move_focus(self, position):
        """Moves the lens to a position, 0 to 1023, and waits until it is there."""
        self._device.move_focus(whole(position, "position"))

    # GPS

    @property
    def gps_lines(self):
        """Sensor lines at which the GPS takes the time: (start, end). Set to None, they follow the region."""
        return self._device.get_gps_lines()[:2]

    @gps_lines.setter
    def gps_lines(self, wanted):
        start, end = (0, 0) if wanted is None else wanted
        self._device.set_gps_lines(whole(start, "a line"), whole(end, "a line"), wanted is None)

    @property
    def gps_receiver(self):
        """What the receiver says now, a GpsReceiver. UnsupportedError: the camera has none."""
        return self._device.gps_receiver()

    def check_gps(self):
        """StateError when frames of the present region cannot have GPS time: a line does not lie in it."""
        self._device.check_gps()

    # Gains

    def gain_preset(self, preset):
        """A gain with a meaning: "unity" (a count is an electron), "lowest-noise", or "largest-range" (most gain that takes
        the full well). It has gain (for camera.gain), electrons_per_adu, most_electrons. UnsupportedError: not known."""
        return self._device.gain_preset(chosen(GAINS, preset, "preset"))

    # Corrections

    def take_dark(self, path, *, frames=0, overwrite=False):
        """Takes a dark of the covered sensor and writes it to a .bmp; frames 0: as many as the exposure asks for."""
        return self._device.take_dark(str(path), frames, overwrite)

    def read_dark(self, path):
        """What is known about the dark in a file: a DarkInfo. FileError: it is none; RangeError: it is of another sensor."""
        return self._device.read_dark(str(path))

    def use_dark(self, path):
        """Subtracts the dark in a file from frames to come; None: none."""
        self._device.no_dark() if path is None else self._device.use_dark(str(path))

    @property
    def hot_pixels(self):
        """The table in the camera's flash: a HotPixels. NotFoundError: there is none."""
        return HotPixels(self._device.hot_pixels())

    def find_hot_pixels(self, *, frames=0):
        """Takes a dark of the covered sensor and finds what stands out in it: a HotPixels, for save_hot_pixels() to keep."""
        return HotPixels(self._device.find_hot_pixels(frames))

    @property
    def repairs_hot_pixels(self):
        """Whether hot pixels are repaired."""
        return self._device.repairs_hot_pixels()

    def repair_hot_pixels(self, on=True):
        """Repairs the hot pixels that the table in the camera's flash lists. StateError: there is no table."""
        self._device.repair_hot_pixels(on)

    def save_hot_pixels(self, *, backup_folder=None):
        """Stores the hot pixels of the dark that was taken in the camera's flash, which is saved first (set_user_id())."""
        self._device.save_hot_pixels(_folder(backup_folder))

    # What the camera keeps

    @property
    def user_id(self):
        """Your name for the camera, which is kept in its flash; empty: none."""
        return self._device.get_user_id()

    def set_user_id(self, name, *, backup_folder=None):
        """Gives the camera a name of up to 8 printable ASCII characters; empty: none. Takes seconds.

        Flash is saved before it is overwritten, to a new file in `backup_folder`; None: in ~/.local/state/orqcam.
        """
        self._device.set_user_id(name, _folder(backup_folder))

    def save_flash(self, path, *, overwrite=False):
        """Saves what is the user's in the camera's flash, hot pixels and name, to a file. Takes seconds."""
        self._device.save_flash(str(path), overwrite)

    @property
    def flash_backup(self):
        """The file to which flash was saved before it was last overwritten; empty: it was not."""
        return self._device.flash_backup()

    def restore_flash(self, path, *, other_camera=False, backup_folder=None):
        """Makes flash like such a file and compares, after it was saved as set_user_id() does. Takes seconds.

        InvalidError: the file is of another camera and `other_camera` is false.
        """
        self._device.restore_flash(str(path), other_camera, _folder(backup_folder))

    # Triggers

    @property
    def trigger_modes(self):
        """What can begin an exposure: free, software, rising, falling, software-level, high, low."""
        return tuple(word for mode, word in enumerate(TRIGGERS) if self._device.trigger_modes() >> mode & 1)

    @property
    def trigger_mode(self):
        """What begins an exposure now."""
        return TRIGGERS[self._device.get_trigger_mode()]

    @trigger_mode.setter
    def trigger_mode(self, wanted):
        self._device.set_trigger_mode(chosen(TRIGGERS, wanted, "trigger_mode"))

    def trigger(self):
        """Begins an exposure of the capture that runs in a software mode."""
        self._device.trigger()

    def trigger_output(self, output):
        """The pulse on output "a" or "b" with each exposure: active_high, delay_us, length_us (0: none)."""
        return self._device.get_trigger_output(chosen(OUTPUTS, output, "output"))

    def set_trigger_output(self, output, length_us, *, delay_us=0, active_high=True):
        """Changes it from the next exposure on: `length_us` long (0: none), `delay_us` after the exposure's start."""
        self._device.set_trigger_output(chosen(OUTPUTS, output, "output"), active_high, whole(delay_us, "delay_us"),
                                        whole(length_us, "length_us"))
