"""Writing recordings, and reading damaged ones."""

import filecmp
import os
import subprocess

import pandas as pd
import pytest

import vq_corelog as vq


def test_demo_read_and_written_again_is_byte_identical(demo, tmp_path):
    rec = vq.read(demo)
    with vq.Writer(tmp_path / "copy", kinds=rec.info()["kinds"].values()) as writer:
        assert writer.write_all(rec.frames()) == 180
    names = sorted(os.listdir(demo))
    assert sorted(os.listdir(tmp_path / "copy")) == names
    _, mismatch, errors = filecmp.cmpfiles(demo, tmp_path / "copy", names, shallow=False)
    assert (mismatch, errors) == ([], [])

    with vq.Writer(tmp_path / "a.vql", per_kind=False) as writer:
        writer.write_all(rec.frames())
    with vq.Writer(tmp_path / "b.vql", per_kind=False) as writer:
        writer.write_all(vq.read(tmp_path / "a.vql").frames())
    assert (tmp_path / "a.vql").read_bytes() == (tmp_path / "b.vql").read_bytes()


def test_random_recording_read_written_read_gives_equal_tables(random_recording, tmp_path):
    directory, single, frames = random_recording
    for source in (directory, single):
        with vq.Writer(tmp_path / source.name, kinds=vq.read(source).info()["kinds"]) as w:
            w.write_all(vq.read(source).frames())
        pd.testing.assert_frame_equal(vq.read(tmp_path / source.name).to_pandas(),
                                      vq.read(source).to_pandas())
    assert [f.to_bytes() for f in vq.read(single).frames()] == [f.to_bytes() for f in frames]


def test_compressed_file_reads_as_the_log_it_was_made_from(random_recording, vqlog, tmp_path):
    _, single, frames = random_recording
    packed = tmp_path / "packed.vqz"
    subprocess.run([vqlog, "convert", "--compress", str(single), str(packed)], check=True,
                   stdout=subprocess.DEVNULL, timeout=60)
    rec = vq.read(packed)
    assert rec.info()["format"] == "compressed"
    pd.testing.assert_frame_equal(rec.to_pandas(), vq.read(single).to_pandas())
    assert [f.to_bytes() for f in rec.frames()] == [f.to_bytes() for f in frames]


def test_frames_and_records_kept_from_a_loop_stay_whole_while_reading_goes_on(demo):
    # A frame the loop lets go of gives its records back for the next frames to be built in;
    # a frame or a record taken from a frame and kept must never be among them.
    expected = [f.to_bytes() for f in vq.read(demo).frames()]
    kept, heads = [], []
    for i, frame in enumerate(vq.read(demo).frames()):
        if i % 50 == 0:
            kept.append(frame)
        elif i % 50 == 25:
            heads.append((frame.head, frame.head.position))
    assert [f.to_bytes() for f in kept] == expected[::50]
    assert [head.position for head, _ in heads] == [position for _, position in heads]
    assert len(set(position for _, position in heads)) == len(heads)


def test_frame_bytes_round_trip_and_refusals():
    frame = vq.Frame(42)
    frame.timing = vq.Timing()
    frame.timing.experiment_time = 1.5
    again = vq.Frame.from_bytes(frame.to_bytes())
    assert again == frame and again.timing.experiment_time == 1.5 and again.frame_num == 42
    for bad in (b"", frame.to_bytes()[:-1], frame.to_bytes() + b"\0", b"\x0a\x00\x00"):
        with pytest.raises((vq.Error, ValueError)):
            vq.Frame.from_bytes(bad)


def test_writer_refuses_rather_than_drops(tmp_path):
    frame = vq.Frame(1)
    frame.timing = vq.Timing()
    frame.inertia = vq.Inertia()
    writer = vq.Writer(tmp_path / "rec", kinds=["Timing"])
    with pytest.raises(ValueError, match="kind 32"):
        writer.write(frame)
    writer.close()
    with pytest.raises(ValueError, match="closed"):
        writer.write(frame)
    with pytest.raises(vq.FileError, match="unknown object ID"):
        vq.Writer(tmp_path / "other", kinds=[0x0D])
    with pytest.raises(vq.Error) as error:
        vq.Writer(tmp_path / "missing" / "x.vql", per_kind=False)
    assert error.value.path == str(tmp_path / "missing" / "x.vql")


def _damaged(path, data):
    path.write_bytes(data)
    return path


@pytest.mark.parametrize("cut", [1, 5, 40])
def test_truncated_file_gives_the_intact_frames_then_the_error(random_recording, tmp_path, cut,
                                                               small_batches):
    _, single, frames = random_recording
    data = single.read_bytes()
    bad = _damaged(tmp_path / "bad.vql", data[:-cut])
    got = []
    with pytest.raises(vq.Error) as from_objects:
        for frame in vq.read(bad).frames():
            got.append(frame.to_bytes())
    assert got == [f.to_bytes() for f in frames[:len(got)]] and len(got) == len(frames) - 1
    small_batches(3)  # the error comes while a second thread copies
    with pytest.raises(type(from_objects.value)) as from_columns:
        vq.read(bad).to_pandas()
    assert from_columns.value.message == from_objects.value.message
    assert from_columns.value.path == str(bad)
    rows = sum(len(b) for b in _batches_until_error(vq.read(bad)))
    assert rows == len(got)


def _batches_until_error(rec):
    batches = []
    try:
        for batch in rec.batches(rows=16):
            batches.append(batch)
    except vq.Error:
        return batches
    raise AssertionError("no error")


@pytest.mark.parametrize("data", [b"\xff" * 64, b"\x09\xff\xff\xff\xff\xff\xff" + b"\0" * 9,
                                  bytes(range(256)) * 4])
def test_garbage_raises_library_errors_on_both_paths(tmp_path, data):
    bad = _damaged(tmp_path / "garbage.vql", data)
    for read in (lambda r: list(r.frames()), lambda r: r.to_numpy(), lambda r: r.info()):
        with pytest.raises(vq.Error):
            read(vq.read(bad))


@pytest.mark.parametrize("call, error, text", [
    (lambda p: vq.read(p / "nothing"), vq.FileError, "no such file"),
    (lambda p: vq.read(p).to_pandas(), vq.FileError, "(?i)no logfiles found"),
    (lambda p: list(vq.read(p).frames()), vq.FileError, "(?i)no logfiles found"),
    (lambda p: vq.read(p, kinds=["Nope"]), ValueError, "unknown record kind"),
    (lambda p: vq.read(p, frames=(-1, 3)), ValueError, "frame numbers"),
    (lambda p: vq.read(p).to_pandas(table="nope"), ValueError, "no table"),
    (lambda p: vq.read(p).to_pandas(columns=["nope"]), ValueError, "no column"),
    (lambda p: next(vq.read(p).batches(rows=0)), ValueError, "rows"),
])
def test_misuse_and_missing_input_raise_clear_errors(tmp_path, call, error, text):
    with pytest.raises(error, match=text):
        call(tmp_path)


def test_the_tour_runs(tmp_path):
    import subprocess
    import sys
    from conftest import ROOT

    out = subprocess.run([sys.executable, str(ROOT / "examples/python/tour.py")], check=True,
                         capture_output=True, text=True, timeout=60).stdout
    assert "120 frames" in out and "received 120 frames live, and 120 rows" in out
