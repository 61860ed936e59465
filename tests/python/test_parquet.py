"""Recordings as a Parquet dataset, queried with DuckDB and checked against pandas."""

import json

import numpy as np
import pyarrow as pa
import pyarrow.dataset  # noqa: F401 (pa.dataset)
import pyarrow.parquet as pq
import pytest

import vq_corelog as vq

duckdb = pytest.importorskip("duckdb")


@pytest.fixture(scope="module")
def dataset(fleet, tmp_path_factory):
    out = tmp_path_factory.mktemp("dataset")
    written = vq.to_parquet(fleet, out, row_group_rows=500)
    return out, written


@pytest.fixture(scope="module")
def frames(fleet):
    """The fleet's frame tables read one by one with pandas, by recording name."""
    return {p.name: vq.read(p).to_pandas() for p in fleet}


def plain(table):
    """The table's columns without schema, nullability or metadata, for comparing."""
    return pa.Table.from_arrays(table.columns, names=table.column_names)


def query(out, sql):
    frame = f"read_parquet('{out}/frame/**/*.parquet', hive_partitioning = true)"
    return duckdb.sql(sql.replace("FRAMES", frame)).df()


def test_layout_metadata_and_round_trip(dataset, fleet, frames):
    out, written = dataset
    names = sorted(p.name for p in fleet)
    for table, files in written.items():
        assert [f.split("/")[-3] for f in files] == [f"recording={n}" for n in names]
    start = frames["drive-1"]["timestamp_utc"].dropna().iloc[0]
    assert written["frame"][0].split("/")[-2] == \
        f"start_time={start.strftime('%Y%m%dT%H%M%S')}.{start.microsecond // 1000:03d}Z"
    meta = pq.ParquetFile(written["frame"][0])
    assert meta.metadata.num_row_groups == -(-len(frames["drive-1"]) // 500)
    # Units and descriptions once, as key-value metadata that pyarrow, its datasets and DuckDB
    # all show; minimum and maximum only where queries select rows.
    columns = json.loads(meta.schema_arrow.metadata[b"vq_corelog.columns"])
    assert columns["head_rotation_x_rad"]["unit"] == "rad"
    assert columns["pupil_left_diameter"]["description"] == "left pupil diameter"
    # (pyarrow < 17 adds key-value metadata only along with its own schema)
    assert (b"ARROW:schema" in meta.metadata.metadata) == \
        (not hasattr(pq.ParquetWriter, "add_key_value_metadata"))
    dataset_meta = pa.dataset.dataset(out / "frame", partitioning="hive").schema.metadata
    assert json.loads(dataset_meta[b"vq_corelog.columns"]) == columns
    kv = duckdb.sql(f"SELECT value FROM parquet_kv_metadata('{written['frame'][0]}') "
                    "WHERE key = 'vq_corelog.columns'").fetchall()[0][0]
    assert json.loads(kv) == columns
    group = meta.metadata.row_group(0)
    assert [group.column(i).path_in_schema for i in range(group.num_columns)
            if group.column(i).is_stats_set] == ["frame_num", "time_s", "timestamp_utc"]
    back, orig = pq.read_table(written["frame"][0]), vq.read(fleet[1]).to_arrow()
    assert plain(back).equals(plain(orig))
    for table in ("gaze_intersections", "head_intersections"):
        for file, path in zip(written[table], sorted(fleet)):
            assert pq.read_table(file).schema.names[:2] == ["frame_num", "version"]
            assert pq.read_metadata(file).num_rows == len(vq.read(path).table(table))


def test_duckdb_mean_head_distance(dataset, frames):
    got = query(dataset[0], """
        SELECT recording, avg(sqrt(head_position_x ^ 2 + head_position_y ^ 2
                                   + head_position_z ^ 2)) AS distance
        FROM FRAMES GROUP BY recording ORDER BY recording""")
    expected = {name: np.sqrt(f.head_position_x ** 2 + f.head_position_y ** 2
                              + f.head_position_z ** 2).mean() for name, f in frames.items()}
    assert got["recording"].tolist() == sorted(expected)
    np.testing.assert_allclose(got["distance"], [expected[n] for n in sorted(expected)],
                               rtol=1e-12)


def test_duckdb_blinks_per_minute(dataset, frames):
    got = query(dataset[0], """
        SELECT recording, minute, count(*) FILTER (WHERE onset) AS blinks FROM (
            SELECT recording, floor(time_s / 60) AS minute,
                   coalesce(blinking, false) AND NOT coalesce(lag(blinking) OVER
                       (PARTITION BY recording ORDER BY frame_num), false) AS onset
            FROM FRAMES)
        WHERE minute IS NOT NULL GROUP BY ALL ORDER BY recording, minute""")
    rows = []
    for name, f in sorted(frames.items()):
        blinking = f["blinking"].fillna(False).astype(bool)
        onset = blinking & ~blinking.shift(fill_value=False)
        counts = onset.groupby(np.floor(f["time_s"] / 60)).sum()
        rows += [(name, minute, count) for minute, count in counts.items()]
    assert [tuple(r) for r in got.itertuples(index=False)] == rows
    assert len({m for _, m, _ in rows}) >= 2 and sum(c for *_, c in rows) > 0


@pytest.mark.parametrize("kwargs, message", [
    ({"partition_cols": ["driver"]}, "partition columns are 'recording' and 'start_time'"),
    ({"tables": ["faces"]}, "no table named 'faces'"),
    ({"row_group_rows": 0}, "row_group_rows is a positive integer"),
])
def test_bad_arguments(fleet, tmp_path, kwargs, message):
    with pytest.raises(ValueError, match=message):
        vq.to_parquet(fleet, tmp_path, **kwargs)
    assert list(tmp_path.iterdir()) == []


def test_same_names_and_constant_columns(fleet, tmp_path):
    twin = tmp_path / "other" / fleet[0].name
    twin.parent.mkdir()
    twin.symlink_to(fleet[0])
    with pytest.raises(ValueError, match=f"two recordings are named '{fleet[0].name}'"):
        vq.to_parquet([fleet[0], twin], tmp_path / "out")
    written = vq.to_parquet(fleet[0], tmp_path / "flat", partition_cols=["recording"],
                            tables="frame")
    table = pq.read_table(written["frame"][0], columns=["start_time"])
    assert table.column("start_time").unique().to_pylist()[0].endswith("Z")
    # Unpartitioned: a file per recording in one folder, none replacing another.
    written = vq.to_parquet(fleet, tmp_path / "none", partition_cols=[], tables="frame")
    assert sorted(written["frame"]) == [str(tmp_path / "none" / "frame" / f"part-{p.name}.parquet")
                                        for p in sorted(fleet)]
    table = pq.read_table(tmp_path / "none" / "frame", columns=["recording"])
    assert sorted(table.column("recording").unique().to_pylist()) == sorted(p.name for p in fleet)
