"""Readers, threads and event loops."""

import asyncio
import threading
import time

import orqcam
import pytest
from conftest import PATIENCE, QUICK, corner


def test_a_video_ends_when_it_is_aborted_by_another_thread(camera):
    frames = []
    threading.Timer(0.3, camera.abort).start()
    for frame in camera.video(timeout=PATIENCE):
        frames.append(frame.number)
    assert frames == sorted(set(frames)) and frames


def test_every_reader_misses_none_and_the_newest_is_new(camera):
    with camera.video(reader="every", depth=64, timeout=PATIENCE) as video:
        numbers = [next(video).number for _ in range(30)]
        assert numbers == list(range(numbers[0], numbers[0] + 30)) and video.counters.missed == 0
    with camera.video(timeout=PATIENCE) as video:
        first = next(video).number
        time.sleep(0.3)
        assert next(video).number > first
    with pytest.raises(ValueError):
        camera.video(reader="some")


def test_a_video_that_is_over_does_not_end_the_next_one(camera):
    before = camera.video(timeout=PATIENCE)
    next(before)
    camera.abort()
    with camera.video(timeout=PATIENCE) as video:
        first = next(video).number
        before.close()
        del before
        assert [next(video) for _ in range(3)][-1].number > first
    with pytest.raises(StopIteration):
        next(video)


def test_a_video_that_is_dropped_is_over(camera):
    next(camera.video(timeout=PATIENCE))
    assert camera.expose(0.01, timeout=PATIENCE).exposure == 0.01


def test_other_threads_run_while_one_waits(camera):
    camera.exposure_us = 60_000_000
    counted = 0
    waiter = threading.Thread(target=lambda: pytest.raises(orqcam.CancelledError, camera.expose, 60))
    waiter.start()
    while not camera.progress.running:
        time.sleep(0.01)
    while counted < 100_000:
        counted += 1
    camera.abort()
    waiter.join(PATIENCE)
    assert not waiter.is_alive()


def test_a_loop_over_a_closed_camera_ends(camera):
    video = camera.video()
    next(video)
    threading.Timer(0.2, camera.close).start()
    end = time.monotonic() + PATIENCE
    for _ in video:
        assert time.monotonic() < end


def test_async_for_gives_frames_while_others_run(camera):
    async def frames():
        ticks = 0

        async def tick():
            nonlocal ticks
            while True:
                ticks += 1
                await asyncio.sleep(0.001)

        ticking = asyncio.create_task(tick())
        numbers = []
        async with camera.video(timeout=PATIENCE) as video:
            async for frame in video:
                numbers.append(frame.number)
                if len(numbers) == 20:
                    break
        ticking.cancel()
        return numbers, ticks

    numbers, ticks = asyncio.run(frames())
    assert len(set(numbers)) == 20 and ticks > 5


def test_a_coroutine_is_cancelled_within_half_a_second(camera):
    camera.exposure_us = 60_000_000

    async def cancelled():
        task = asyncio.create_task(camera.expose_async(60))
        while not camera.progress.running:
            await asyncio.sleep(0.01)
        begin = time.monotonic()
        task.cancel()
        with pytest.raises(asyncio.CancelledError):
            await task
        return time.monotonic() - begin

    # The quickest of some: a busy machine delays one or the other, what waits for the exposure or polls delays all.
    assert min(asyncio.run(cancelled()) for _ in range(5)) < 0.5
    camera.expose(0.01, timeout=PATIENCE)


def test_cameras_and_events_share_a_loop():
    async def both():
        with orqcam.open(f"virtual:k1c,{QUICK}") as one, orqcam.open(f"virtual:k1m,{QUICK}") as other:
            frames = await asyncio.gather(corner(one).expose_async(0.01, timeout=PATIENCE),
                                          corner(other).expose_async(0.02, timeout=PATIENCE))
            one.unplug()
            async for event in one.events():
                if event.kind == "lost":
                    break
            return [frame.exposure for frame in frames]

    assert asyncio.run(asyncio.wait_for(both(), PATIENCE)) == [0.01, 0.02]
