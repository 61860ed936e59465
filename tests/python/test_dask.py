"""Recordings as a dask DataFrame, computed on a local cluster of two worker processes."""

import subprocess

import pandas as pd
import pytest

import vq_corelog as vq

pytest.importorskip("dask.dataframe")
distributed = pytest.importorskip("distributed")
from vq_corelog.dask import read_recordings  # noqa: E402

WAIT = 30  # seconds, for any one step on the cluster


@pytest.fixture(scope="module")
def client():
    cluster = distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True,
                                       host="127.0.0.1", dashboard_address=None,
                                       memory_limit="1GiB")
    client = distributed.Client(cluster, timeout=WAIT)
    try:
        client.wait_for_workers(2, timeout=WAIT)
        yield client
    finally:
        client.close(timeout=WAIT)
        cluster.close(timeout=WAIT)


def pandas_frames(paths, columns=None, start=None, end=None):
    """The same recordings read one by one with pandas, indexed like read_recordings."""
    parts = []
    for path in sorted(paths):
        frame = vq.read(path, start=start, end=end).to_pandas(columns)
        frame.index = pd.Index([path.name] * len(frame), dtype="string[pyarrow]",
                               name="recording")
        parts.append(frame)
    return pd.concat(parts)


def test_partitions_meta_and_divisions(fleet):
    frames = read_recordings(fleet)
    names = sorted(p.name for p in fleet)
    assert frames.npartitions == len(fleet)
    assert list(frames.divisions) == names + [names[-1]]
    assert dict(frames.dtypes) == dict(pandas_frames(fleet[:1]).dtypes)


@pytest.mark.parametrize("columns, start, end", [
    (None, None, None),
    (["frame_num", "head_position_z", "blinking", "gaze_target_label"], 10.0, 50.0),
])
def test_equal_to_pandas_on_a_cluster(client, fleet, columns, start, end):
    frames = read_recordings(fleet, columns=columns, start=start, end=end)
    expected = pandas_frames(fleet, columns, start, end)
    got = client.compute(frames).result(timeout=WAIT)
    pd.testing.assert_frame_equal(got, expected)
    means = client.compute(frames.groupby("recording")["frame_num"].count())
    pd.testing.assert_series_equal(means.result(timeout=WAIT),
                                   expected.groupby("recording")["frame_num"].count())


def test_a_long_compressed_file_splits_along_its_chunks(client, vqlog, tmp_path):
    # 21,600 frames, some 10 MB: chunks of 1 MiB make about ten of them.
    subprocess.run([vqlog, "demo", "--fast", "--seconds", "60", "--rate", "360", "--out",
                    str(tmp_path / "rec")], check=True, stdout=subprocess.DEVNULL, timeout=60)
    packed = tmp_path / "long.vqz"
    subprocess.run([vqlog, "convert", "--compress", str(tmp_path / "rec"), str(packed)],
                   check=True, stdout=subprocess.DEVNULL, timeout=60)
    assert len(vq._core.chunk_index(str(packed))) > 2
    assert vq._core.chunk_index(str(tmp_path / "rec" / "Timing.vql")) is None
    columns = ["frame_num", "time_s", "head_position_z"]
    for start, end in [(None, None), (20.0, 60.0)]:
        frames = read_recordings([packed], columns=columns, start=start, end=end,
                                 partition_frames=1)
        assert frames.npartitions > 1 and frames.known_divisions
        got = client.compute(frames).result(timeout=WAIT)
        pd.testing.assert_frame_equal(got, pandas_frames([packed], columns, start, end))


def test_projection_reads_only_the_columns_asked_for(fleet, monkeypatch):
    asked = []

    class Spy:
        def __init__(self, path, **selection):
            self.recording = vq.read(path, **selection)

        def to_pandas(self, columns, table):
            asked.append(list(columns))
            return self.recording.to_pandas(columns, table=table)

    monkeypatch.setattr("vq_corelog.dask.read", Spy)
    frames = read_recordings(fleet)
    got = frames["head_position_x"].sum().compute(scheduler="sync")
    assert asked == [["head_position_x"]] * len(fleet)
    assert got == pytest.approx(pandas_frames(fleet)["head_position_x"].sum())
    with pytest.raises(ValueError, match="no column named 'head_x' in the table frame"):
        read_recordings(fleet, columns=["head_x"])
