"""An open camera."""

import atexit
import collections
import difflib
import weakref

from . import _orqcam
from ._controls import AUTO, CONTROLS, reading
from ._errors import InvalidError, TimeoutError, UnsupportedError
from ._frame import BAYER, FORMATS
from ._recording import FORMS, Recording
from ._services import Services, chosen, whole
from ._video import Bell, Events, Video, next_frame

Region = collections.namedtuple("Region", "x y width height")
Region.__doc__ = "Part of the sensor: x and y in sensor pixels, width and height in delivered ones."

SETTINGS = {"off": 0, "load": 1, "keep": 2}
EVENTS = {1: "frame", 2: "lost", 3: "returned", 4: "exposure-failed", 5: "cooler", 6: "gps-lost", 7: "gps-back",
          8: "settings", 9: "uncorrected"}

ABILITIES = ("cooler", "guide-port", "gps", "trigger", "fan", "focus-motor", "hardware-bin", "high-speed", "thermometer",
             "virtual", "usb3")

Event = collections.namedtuple("Event", "kind text")
Event.__doc__ = "Something that has happened: frame, lost, returned, exposure-failed, cooler, gps-lost, gps-back ..."

_open = weakref.WeakSet()


def _nothing():
    """As a reference whose object is gone."""


@atexit.register
def _close_all():
    """Threads of the library must not outlive the interpreter that they call."""
    for camera in list(_open):
        try:
            camera.close()
        except Exception:
            pass


class Camera(Services):
    """An open camera: `with orqcam.open("virtual:k1c") as camera:` closes it at the end.

    Controls are attributes: `camera.gain = 120`, `camera.gain.max`, `camera.gain = "auto"`. All calls may come from any
    thread at any time; what waits lets other threads run, and Ctrl-C ends it.
    """

    def __init__(self, name="", *, settings="off", settings_folder="", frame_memory_mb=0, resume=False):
        self._name = name if isinstance(name, str) else str(whole(name, "an index"))
        self._device = _orqcam.Camera(self._name, chosen(SETTINGS, settings, "settings"), str(settings_folder),
                                      frame_memory_mb, resume)
        self._infos = {info.id: info for info in self._device.controls()}
        self._events = Events()
        self._bell = Bell(self._device, self._events)
        self._running = _nothing
        _open.add(self)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def __repr__(self):
        return f"<orqcam.Camera {self._name!r}>"

    def __setattr__(self, name, value):
        if not name.startswith("_") and not hasattr(type(self), name):
            settable = [each for each in dir(type(self)) if getattr(getattr(type(self), each), "fset", None)]
            near = difflib.get_close_matches(name, settable, 1)
            raise AttributeError(f"a camera has no {name!r} to set" + (f": did you mean {near[0]!r}?" if near else ""))
        super().__setattr__(name, value)

    def close(self):
        """Ends the capture and closes the device; who waits is cancelled. Frames live on. Closing again does nothing."""
        self._device.close()

    def reopen(self):
        """Opens again after close() or a loss, with everything as it was. NotFoundError: it is not back yet."""
        self._device.reopen()

    @property
    def info(self):
        """What the camera is and offers: model, serial, sensor_width, pixel_um, adc_bits ..."""
        return self._device.info()

    @property
    def bins(self):
        """The bins that it offers: (1, 2, 4) or so."""
        return _bits(range(32), self.info.bins)

    @property
    def formats(self):
        """The formats that it offers, of raw8, rgb24, raw16 and y8."""
        return _bits(FORMATS, self.info.formats)

    @property
    def abilities(self):
        """What it has, of: cooler, guide-port, gps, trigger, fan, focus-motor, hardware-bin, high-speed, thermometer, virtual
        (it is none of glass), usb3."""
        return _bits(ABILITIES, self.info.abilities)

    # Controls

    @property
    def controls(self):
        """The controls that this camera offers, by attribute, each as it is now."""
        return {name: self._get(number) for name, number, _ in CONTROLS if number in self._infos}

    def _info(self, number):
        if number not in self._infos:
            raise UnsupportedError("this camera has no such control: camera.controls are those that it has")
        return self._infos[number]

    def _get(self, number):
        info = self._info(number)
        raw, auto = self._device.get_control(number)
        return reading(info, raw, auto)

    def _set(self, number, value):
        info = self._info(number)
        if isinstance(value, str):
            if value != AUTO:
                raise InvalidError(f"a control takes a number or {AUTO!r}, not {value!r}")
            self._device.automatic(number)
        else:
            self._device.set_control(number, round(value * info.scale))

    @property
    def automatic_state(self):
        """What automatic exposure, gain and white balance have come to."""
        return self._device.automatic_state()

    def await_settled(self, timeout):
        """Waits until automatic control has had nothing to change for some frames of the running video."""
        self._device.await_settled(timeout)

    def keep_settings(self):
        """Keeps the controls as they are now, for later runs. StateError: it was opened with settings "off"."""
        self._device.keep_settings()

    # Geometry

    def _changed_region(self, **changes):
        names = ("x", "y", "width", "height", "bin", "format")
        wanted = dict(zip(names, self._device.get_region()))
        wanted.update(changes)
        return tuple(whole(wanted[name], name) for name in names)

    def _change_region(self, **changes):
        self._device.set_region(self._changed_region(**changes))

    @property
    def region(self):
        """Part of the sensor that frames show. Set to (x, y, width, height), or None for all of it.

        The camera takes the nearest that it offers: read it back, or ask fit() before. Frames keep theirs in frame.info.
        """
        return Region(*self._device.get_region()[:4])

    @region.setter
    def region(self, wanted):
        if wanted is None:
            info, now = self.info, self._device.get_region()
            wanted = (0, 0, info.sensor_width // now[4], info.sensor_height // now[4])
        x, y, width, height = wanted
        self._change_region(x=x, y=y, width=width, height=height)

    def fit(self, region):
        """What `region` would become if it were set to (x, y, width, height): the nearest that the camera offers."""
        x, y, width, height = region
        return Region(*self._device.fit(self._changed_region(x=x, y=y, width=width, height=height))[:4])

    @property
    def bin(self):
        """Pixels of the sensor that make one, along each side. The part of the sensor stays when it is set."""
        return self._device.get_region()[4]

    @bin.setter
    def bin(self, wanted):
        _, _, width, height, before, _ = self._device.get_region()
        if wanted < 1:
            raise InvalidError("a bin is 1 or more")
        self._change_region(bin=wanted, width=width * before // wanted, height=height * before // wanted)

    @property
    def format(self):
        """raw8, rgb24, raw16 or y8."""
        return FORMATS[self._device.get_region()[5]]

    @format.setter
    def format(self, wanted):
        self._change_region(format=chosen(FORMATS, wanted, "format"))

    @property
    def bayer(self):
        """Colours of the top left pixels of frames to come, "RGGB" and so on; None: they are of no or of whole colours."""
        return BAYER[self._device.bayer() + 1]

    # Frames

    def expose(self, seconds=None, *, timeout=None):
        """One exposure of `seconds` (None: as exposure_us says) and its frame.

        TimeoutError: it is not there in `timeout` seconds (None: no such limit), and is aborted. The times that a camera
        offers are camera.exposure_us.min to .max; RangeError beyond them.
        """
        try:
            return self._device.expose(_microseconds(seconds), timeout)
        except TimeoutError:
            raise _too_late(timeout) from None

    async def expose_async(self, seconds=None, *, timeout=None):
        """expose() while other coroutines run; the exposure is aborted when it is cancelled."""
        self._device.start_exposure(_microseconds(seconds))
        try:
            return await next_frame(self._device, self._bell, timeout)
        except TimeoutError:
            self._abort_quietly()
            raise _too_late(timeout) from None
        except BaseException:
            self._abort_quietly()
            raise

    def _abort_quietly(self):
        try:
            self._device.abort()
        except Exception:  # the reason that is under way counts
            pass

    def _start_video(self):
        running = self._device.start_video()
        # While one runs there is no other: the one before is over, and must not end this one when it is dropped.
        if before := self._running():
            before.forget()
        self._running = weakref.ref(running)
        return running

    def video(self, *, reader="newest", depth=0, timeout=None):
        """Starts a video: `for frame in camera.video():`, or `async for`.

        `reader` "newest": a frame that is not fetched before the next one is replaced; "every": frames wait in line,
        `depth` of them (0: 8). TimeoutError when none comes in `timeout` seconds (None: never).
        """
        return Video(self, reader, depth, timeout)

    def record(self, path, *, frames=0, seconds=0.0, size=0, overwrite=False, form=None, ring_mb=0):
        """Writes every frame of the video from the next one on to files, beside all readers: a Recording.

        It ends after `frames` frames, `seconds` seconds or with `size` bytes, what comes first (0: no such limit). `form` is
        "ser", "cube" (one FITS file) or "folder" (a FITS file for each frame); None: as `path` ends, in .ser, .fits or /.
        Beside it a text tells the time of every frame. `ring_mb` is the memory for frames that wait for the disk (0: 256).
        FileError: it cannot be written, or is there already and `overwrite` is false.
        """
        how = (frames, seconds, size, overwrite, chosen(FORMS, form, "form"), ring_mb)
        return Recording(self._device.record(str(path), how))

    def plan_recording(self, path, *, overwrite=False, form=None, ring_mb=0):
        """What such a recording would be like, and whether it could be made: file, times_file, width, height, frame_bytes,
        ring_frames (that can wait for the disk), free_bytes and free_frames (of the disk). Errors as of record()."""
        return self._device.plan_recording(str(path), (0, 0.0, 0, overwrite, chosen(FORMS, form, "form"), ring_mb))

    def abort(self):
        """Ends an exposure, a video or other long work; from any thread."""
        self._device.abort()

    @property
    def progress(self):
        """How far the exposure under way is: running, elapsed_us, exposure_us."""
        return self._device.progress()

    @property
    def counters(self):
        """What the stream that runs, or ran last, has counted: a StreamCounters; also of a camera that is lost or closed."""
        return self._device.counters()

    # Files

    def label(self, *, image_type="light", object="", observer=""):
        """What files of frames to come say."""
        kinds = ("light", "dark", "bias", "flat")
        self._device.label(chosen(kinds, image_type, "image_type"), object, observer)

    def keyword(self, keyword):
        """Adds a keyword to headers of frames to come: "TELESCOP=Newton 150/750 / its comment"."""
        self._device.keyword(keyword)

    def clear_keywords(self):
        """Removes all of them."""
        self._device.clear_keywords()

    def apply_profile(self):
        """Adds what the user's profile says (`orqcam profile`) to headers of frames to come, where nothing else is said."""
        self._device.apply_profile()

    def time_mark(self, on):
        """Prints local date and time into frames to come, or not: 8-bit formats of at least 200 x 23 pixels."""
        self._device.time_mark(on)

    # Events

    def next_event(self):
        """What has happened to the camera: an Event, or None when nothing has."""
        event = self._events.popleft() if self._events else self._device.next_event()
        return event and Event(EVENTS.get(event.kind, str(event.kind)), event.text)

    async def events(self):
        """What happens to the camera, as it happens: `async for event in camera.events()`."""
        while True:
            while (event := self.next_event()) is not None:
                yield event
            await self._bell.wait(float("inf"))

    @property
    def event_fd(self):
        """Descriptor for select() and event loops, readable while there is an event. The library's own."""
        return self._device.event_fd()

    # Virtual cameras

    def unplug(self):
        """Pulls the cable of a virtual camera."""
        self._device.unplug()

    def replug(self):
        """Plugs it in again."""
        self._device.replug()


def _bits(words, sum_):
    return tuple(word for bit, word in enumerate(words) if sum_ >> bit & 1)


def _too_late(seconds):
    return TimeoutError(f"no frame came within {seconds} s, and the exposure was ended: give it more time")


def _microseconds(seconds):
    if seconds is None:
        return 0
    if not 0 <= seconds < 1e9:
        raise InvalidError(f"an exposure is a number of seconds, not negative and less than thirty years, not {seconds!r}")
    return max(1, round(seconds * 1e6))


def _control(number, doc):
    return property(lambda self: self._get(number), lambda self, value: self._set(number, value), doc=doc)


for _name, _number, _doc in CONTROLS:
    setattr(Camera, _name, _control(_number, _doc))


def open(name="", **options):
    """Opens a camera: an index, "serial:HEX", "id:TEXT", or "virtual:MODEL[,option=value...]"; "": the only one there is.

    `settings`: "off", "load" or "keep", what becomes of kept settings, in `settings_folder`. `frame_memory_mb` bounds
    the frames that are held and in line (0: four of the whole sensor). `resume`: after a loss, of which waits tell by
    LostError, the camera is reopened by itself when it is back, and its video goes on.
    """
    return Camera(name, **options)


def clock_state():
    """Whether the computer's clock, which gives frames their time where there is no GPS, keeps UTC: a ClockState."""
    return _orqcam.clock_state()


def cameras(*, usb=True, virtual=False):
    """Cameras that are plugged in, and models of virtual ones: name, model, serial, user_id, speed, trouble."""
    return _orqcam.cameras(usb, virtual)
