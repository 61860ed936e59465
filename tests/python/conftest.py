"""Recordings for the tests: seeded random frames written by the library, and vqlog demos."""

import functools
import os
import random
import subprocess
from pathlib import Path

import pytest

import vq_corelog as vq
from vq_corelog import _core

ROOT = Path(__file__).resolve().parents[2]


@pytest.fixture(scope="session")
def vqlog():
    path = Path(os.environ.get("VQLOG", ROOT / "build/release/tools/vqlog"))
    if not path.exists():
        pytest.skip("vqlog is not built (set VQLOG)")
    return str(path)


@pytest.fixture
def small_batches(monkeypatch):
    """small_batches(rows): whole tables are read in batches of `rows` rows, most of which a
    second thread appends to the table."""
    def use(rows):
        monkeypatch.setattr(_core, "read_table",
                            functools.partial(_core.read_table, batch_rows=rows))
    return use


@pytest.fixture(scope="session")
def demo(tmp_path_factory, vqlog):
    """A 3-second, 60 Hz per-kind demo recording (GPS, world intersections, face sets)."""
    out = tmp_path_factory.mktemp("demo") / "rec"
    subprocess.run([vqlog, "demo", "--fast", "--seconds", "3", "--rate", "60", "--seed", "7",
                    "--out", str(out)], check=True, stdout=subprocess.DEVNULL, timeout=60)
    return out


def _vector(rng, n, scale=1.0):
    return tuple(rng.uniform(-scale, scale) for _ in range(n))


def random_frame(rng: random.Random, num: int) -> vq.Frame:
    """A frame whose records are each present with some chance, with random values."""
    frame = vq.Frame(num)
    if rng.random() < 0.9:
        timing = vq.Timing()
        timing.experiment_time = num / 60 + rng.uniform(0, 1e-3)
        timing.frame_time_secs = 1_700_000_000 + num // 60
        timing.frame_time_msecs = rng.randrange(1000)
        timing.approx_delay = rng.uniform(0, 0.1)
        timing.annotation_label_id = rng.randrange(-5, 5)
        frame.timing = timing
    if rng.random() < 0.8:
        head = vq.Head()
        head.tracking = rng.random() < 0.7
        head.position = _vector(rng, 3)
        head.quaternion = _vector(rng, 4)
        head.position_confidence = rng.random()
        head.model_quality_level = rng.randrange(4)
        head.right_eyeball = _vector(rng, 3)
        head.left_eyeball = _vector(rng, 3)
        frame.head = head
    if rng.random() < 0.8:
        eyes = vq.Eyes(pupil=rng.random() < 0.8, closure=rng.random() < 0.8,
                       gaze=rng.random() < 0.8)
        for eye in (eyes.right, eyes.left):
            if eyes.has_pupil:
                eye.pupil.position = _vector(rng, 3)
                eye.pupil.diameter = rng.uniform(0.002, 0.008)
            if eyes.has_closure:
                eye.closure = rng.random()
                eye.closure_confidence = rng.random()
            if eyes.has_gaze:
                eye.gaze.quality = rng.randrange(4)
                eye.gaze.eyeball = _vector(rng, 3)
                eye.gaze.pitch = rng.uniform(-1, 1)
                eye.gaze.yaw = rng.uniform(-1, 1)
        if eyes.has_closure:
            eyes.blinking = rng.random() < 0.2
            eyes.blink_frequency = rng.uniform(0, 30)
            eyes.blink_duration = rng.uniform(0, 0.4)
            eyes.perclos = rng.random()
            eyes.closure_calibration = rng.random()
        if eyes.has_gaze:
            eyes.gaze_calibrated = rng.random() < 0.5
            eyes.saccade = rng.random() < 0.1
        frame.eyes = eyes
    if rng.random() < 0.7:
        state = vq.EngineState()
        state.state = rng.randrange(-1, 2)
        if rng.random() < 0.8:
            state.head_tracker_state = rng.randrange(3)
        frame.engine_state = state
    if rng.random() < 0.6:
        inertia = vq.Inertia()
        inertia.angular_rate = _vector(rng, 3)
        inertia.acceleration = _vector(rng, 3, 10)
        frame.inertia = inertia
    return frame


def random_frames(seed: int, count: int = 150):
    rng = random.Random(seed)
    num = 0
    frames = []
    for _ in range(count):
        num += rng.choice((1, 1, 1, 2, 5))  # gaps in the frame numbers
        frame = random_frame(rng, num)
        if frame.kinds:
            frames.append(frame)
    return frames


@pytest.fixture(scope="session", params=[1, 2])
def random_recording(request, tmp_path_factory):
    """(per-kind directory, single file, frames) of seeded random frames."""
    frames = random_frames(request.param)
    base = tmp_path_factory.mktemp(f"random{request.param}")
    kinds = sorted({k for f in frames for k in f.kinds})
    with vq.Writer(base / "rec", kinds=kinds) as writer:
        writer.write_all(frames)
    with vq.Writer(base / "rec.vql", per_kind=False) as writer:
        writer.write_all(frames)
    return base / "rec", base / "rec.vql", frames


@pytest.fixture(scope="session")
def fleet(tmp_path_factory, vqlog):
    """Three 80-second, 15 Hz per-kind demo recordings of different seeds: a tiny fleet."""
    base = tmp_path_factory.mktemp("fleet")
    paths = []
    for seed in (3, 1, 2):
        out = base / f"drive-{seed}"
        subprocess.run([vqlog, "demo", "--fast", "--seconds", "80", "--rate", "15", "--seed",
                        str(seed), "--out", str(out)], check=True, stdout=subprocess.DEVNULL,
                       timeout=60)
        paths.append(out)
    return paths
