"""What every camera model does alike: exposures, faults, losses, threads, coroutines."""

import asyncio
import concurrent.futures
import threading
import time

import orqcam
import pytest
from conftest import PATIENCE, QUICK, corner

MODELS = [entry.name for entry in orqcam.cameras(usb=False, virtual=True)]


@pytest.fixture(name="model", params=MODELS)
def each_model(request):
    """A camera of every model that the library has."""
    with orqcam.open(f"{request.param},{QUICK}") as opened:
        yield opened


def test_it_opens_exposes_and_describes_itself(model):
    info = model.info
    assert model.region == (0, 0, info.sensor_width, info.sensor_height)
    assert model.bins[0] == 1 and {"raw8", "raw16"} <= set(model.formats) and "virtual" in model.abilities
    corner(model)
    frame = model.expose(0.005, timeout=PATIENCE)
    assert frame.array.shape[:2] == model.region[:1:-1]
    assert frame.bayer == model.bayer and (frame.bayer is None) == (info.bayer == -1)
    for attribute, value in model.controls.items():
        assert getattr(model, attribute).min == value.min <= value.max
        if value.writable and not value.auto and attribute not in ("hub_reset", "exposure_us"):
            setattr(model, attribute, value.min)
            assert getattr(model, attribute) == value.min, attribute


@pytest.mark.parametrize("name", MODELS)
def test_a_fault_is_an_error_and_the_next_frame_is_good(name):
    with orqcam.open(f"{name},{QUICK},short@2") as camera:
        corner(camera)
        first = camera.expose(0.01, timeout=PATIENCE)
        with pytest.raises(orqcam.RefusedError, match="too short"):
            camera.expose(0.01, timeout=PATIENCE)
        assert camera.expose(0.01, timeout=PATIENCE).array.shape == first.array.shape
        assert camera.counters.failed == camera.counters.failed_short <= 1


def test_a_pulled_cable_ends_waits_and_is_mended(model):
    corner(model)
    model.exposure_us = 60_000_000
    ended = []

    def wait():
        try:
            next(model.video(timeout=PATIENCE))
        except orqcam.LostError as error:
            ended.append(error)

    waiter = threading.Thread(target=wait)
    waiter.start()
    while not model.progress.running:
        time.sleep(0.005)
    model.unplug()
    waiter.join(PATIENCE)
    assert [error.status for error in ended] == [-5] and str(ended[0])
    model.replug()
    end = time.monotonic() + PATIENCE
    while (event := model.next_event()) is None or event.kind != "returned":
        assert time.monotonic() < end
        time.sleep(0.005)
    model.reopen()
    assert model.expose(0.01, timeout=PATIENCE).array.shape == (64, 64)


def test_threads_share_a_video(model):
    corner(model)
    with concurrent.futures.ThreadPoolExecutor(3) as pool, model.video(reader="every", depth=64, timeout=PATIENCE) as video:
        works = [pool.submit(lambda: [next(video) for _ in range(4)]) for _ in range(3)]
        frames = sum((work.result(PATIENCE) for work in works), [])
    assert len({frame.number for frame in frames}) == 12
    assert {frame.array.shape[:2] for frame in frames} == {(64, 64)}


def test_coroutines_take_turns(model, monkeypatch):
    # Woken by the descriptor alone: who looks by the clock looks too late.
    monkeypatch.setattr("orqcam._video._LOOK_S", 10 * PATIENCE)
    corner(model)

    async def frames():
        async with model.video(timeout=PATIENCE) as video:
            numbers = [(await video.__anext__()).number]
            async for frame in video:
                numbers.append(frame.number)
                if len(numbers) == 4:
                    return numbers

    async def endless():
        model.exposure_us = 60_000_000
        async for _ in model.video():
            pass

    async def both():
        numbers = await frames()
        waiting = asyncio.create_task(endless())
        while not model.progress.running:
            await asyncio.sleep(0.005)
        waiting.cancel()
        with pytest.raises(asyncio.CancelledError):
            await waiting
        return numbers

    numbers = asyncio.run(asyncio.wait_for(both(), PATIENCE))
    assert numbers == sorted(set(numbers))
    assert model.expose(0.01, timeout=PATIENCE).exposure == 0.01  # the video that was cancelled does not run on
