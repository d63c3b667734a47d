"""Frames one after the other, for loops of both kinds."""

import asyncio
import collections
import os
import time

from ._errors import CancelledError, StateError, TimeoutError
from ._services import chosen

_LOOK_S = 0.2  # a camera that is closed by another thread rings no bell


class Bell:
    """Wakes the coroutines of one event loop that wait for a camera; keeps the events that it takes on the way."""

    def __init__(self, device, events):
        self._device = device
        self._events = events
        self._waiters = set()
        self._loop = None

    async def wait(self, seconds):
        """Until something has happened to the camera, or `seconds` have passed."""
        loop = asyncio.get_running_loop()
        if self._waiters and self._loop is not loop:
            raise StateError("the camera is waited for in another event loop: let one loop have it")
        self._loop = loop
        future = loop.create_future()
        if not self._waiters:
            loop.add_reader(self._device.event_fd(), self._ring)
        self._waiters.add(future)
        try:
            await asyncio.wait({future}, timeout=min(seconds, _LOOK_S))
        finally:
            self._waiters.discard(future)
            if not self._waiters:
                loop.remove_reader(self._device.event_fd())

    def _ring(self):
        while (event := self._device.next_event()) is not None:
            self._events.append(event)
        for future in self._waiters:
            if not future.done():
                future.set_result(None)


async def next_frame(source, bell, seconds):
    """The next frame of a camera or reader, while other coroutines run."""
    end = None if seconds is None else time.monotonic() + seconds
    while True:
        try:
            return source.wait(0.0)
        except TimeoutError:
            left = _LOOK_S if end is None else end - time.monotonic()
            if left <= 0:
                raise
        await bell.wait(left)


class Video:
    """A running video: frames for `for` and `async for`, stopped when it is closed, left or dropped.

    The loop ends when the video is stopped or aborted, by whomever, and raises when it fails. `counters` tells what the
    reader has missed.
    """

    def __init__(self, camera, reader, depth, timeout):
        self._camera = camera
        self._timeout = timeout
        self._process = os.getpid()
        self._reader = camera._device.reader(chosen(("newest", "every"), reader, "reader"), depth)
        self._running = camera._start_video()  # ends with it

    def __iter__(self):
        return self

    def _is_over(self, error):
        """Whether that is the end of the video. A forked child is told that it has none."""
        return isinstance(error, CancelledError) or os.getpid() == self._process

    def __next__(self):
        try:
            return self._reader.wait(self._timeout)
        except (CancelledError, StateError) as error:
            if self._is_over(error):
                raise StopIteration from None
            raise

    def __aiter__(self):
        return self

    async def __anext__(self):
        try:
            return await next_frame(self._reader, self._camera._bell, self._timeout)
        except (CancelledError, StateError) as error:
            if self._is_over(error):
                raise StopAsyncIteration from None
            raise

    @property
    def counters(self):
        """Delivered, missed and waiting frames of this reader."""
        return self._reader.counters()

    def close(self):
        """Stops the video; nothing when it is over."""
        try:
            self._running.stop()
        except StateError:
            pass  # closed meanwhile

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    async def __aenter__(self):
        return self

    async def __aexit__(self, *_):
        self.close()


Events = collections.deque
