"""Recordings as a Parquet dataset, for SQL engines (DuckDB, Spark, Trino) and Dask.

Layout of ``out_dir``, one dataset per table, Hive-style::

    out_dir/frame/recording=<name>/start_time=<start>/part-0.parquet
    out_dir/gaze_intersections/recording=<name>/start_time=<start>/part-0.parquet
    out_dir/head_intersections/recording=<name>/start_time=<start>/part-0.parquet

(With ``partition_cols`` leaving "recording" out, the file is ``part-<name>.parquet`` instead of
``part-0.parquet``, so that recordings of one start time, or of one folder, keep a file each.)
``<name>`` is the recording's file or directory name without ".vql"; ``<start>`` is the
timestamp_utc of its first timed frame (looked for among the first 16,384 frames)
in ISO 8601 basic form, UTC, milliseconds
("20261123T023118.250Z"; no colons, so that every file system and object store takes it), or
"__HIVE_DEFAULT_PARTITION__" when none of those frames has a timing record. Values that are not partition
columns are stored as constant string columns of every row instead, so that each file still
says where its rows came from.

Each file's columns are typed as in :func:`vq_corelog.schema` (every column nullable but
frame_num). The units and descriptions are in the file's key-value metadata, once per file:
"vq_corelog.columns" holds, as JSON, per column its unit, description, record kind, and where
they apply its reference frame and legend ({"time_s": {"type": "float64", "unit": "s",
...}}); "vq_corelog.table" names the table; "vq_corelog.recording" holds, as JSON, the
recording's name, start and source path. pyarrow shows them as the schema's metadata
(``pyarrow.parquet.read_schema(f).metadata``, also through ``pyarrow.dataset``), DuckDB as
``parquet_kv_metadata(f)``. Fields carry no metadata of their own, and the files hold no
pyarrow schema ("ARROW:schema", which repeats every field's metadata and the file's): the
Parquet types alone read back as the same Arrow types, and a frame table's footer is 20 KB
instead of 67 KB (with pyarrow older than 17, which cannot add key-value metadata to a file
otherwise, the pyarrow schema is stored too).

Row groups hold up to ``row_group_rows`` rows (128 Ki by default: large enough for scans to
read long runs, small enough for a reader to hold one), in pages of up to 1 MiB. Columns are
snappy-compressed and plain-encoded, text columns dictionary-encoded. Minimum and maximum are
written for frame_num, time_s and timestamp_utc (and the constant columns) only: those are the
columns queries select rows by, and statistics on the other columns cost a tenth of the write.
"""

from __future__ import annotations

import datetime
import itertools
import json
import os
from typing import Dict, Iterable, List, Sequence, Union

from ._columns import READ_ROWS, TABLES, read_batches, schema
from ._recording import read

PARTITION_KEYS = ("recording", "start_time")
"""The partition values of a recording, in their default order."""

NULL_PARTITION = "__HIVE_DEFAULT_PARTITION__"

PathLike = Union[str, os.PathLike]


def recording_name(path: PathLike) -> str:
    """The name a recording goes by in a dataset: its base name without ".vql"."""
    name = os.path.basename(os.path.normpath(os.fspath(path)))
    return name[:-4] if name.endswith(".vql") else name


def unique_names(paths: Iterable[PathLike]) -> Dict[str, str]:
    """Recording name -> path, sorted by name; two recordings of one name are an error."""
    names: Dict[str, str] = {}
    for path in paths:
        path = os.fspath(path)
        name = recording_name(path)
        if not name or "=" in name:
            raise ValueError(f"{path}: a recording's name may not be empty or hold '='")
        if name in names:
            raise ValueError(f"two recordings are named {name!r}: {names[name]} and {path}")
        names[name] = path
    return dict(sorted(names.items()))


def start_text(ns) -> str:
    """A timestamp (ns since 1970, UTC) as a partition value, or the null partition."""
    if ns is None:
        return NULL_PARTITION
    ms = int(ns) // 1_000_000
    when = datetime.datetime(1970, 1, 1) + datetime.timedelta(milliseconds=ms)
    return when.strftime("%Y%m%dT%H%M%S") + f".{ms % 1000:03d}Z"


STATISTICS = ("frame_num", "time_s", "timestamp_utc")
"""The columns whose minimum and maximum a file holds (with its constant columns)."""

WRITE_BATCH_ROWS = 65536
"""Values Parquet's column writers encode at a time: pyarrow's 1,024 spent a twelfth of the
write on per-batch work; a page may exceed its 1 MiB by one batch."""


def arrow_schema(table: str):
    """The Arrow schema of a table's files (without partition columns), with its metadata."""
    import pyarrow as pa

    from ._columns import Batch

    infos = schema(table)
    empty = Batch.empty(infos, list(infos)).to_arrow().schema
    fields = [f.remove_metadata().with_nullable(f.name != "frame_num") for f in empty]
    columns = {name: {k: v for k, v in vars(info).items() if k != "name" and v}
               for name, info in infos.items()}
    return pa.schema(fields, metadata={"vq_corelog.table": table,
                                       "vq_corelog.columns": json.dumps(columns)})


def _first_timestamp(batch):
    if batch is None or batch.rows == 0:
        return None
    times = batch.values["timestamp_utc"]
    valid = batch.valid["timestamp_utc"]
    if valid is not None:
        times = times[valid]
    return int(times[0]) if len(times) else None


def _batches(recording, table: str, rows: int, columns=None):
    return read_batches(recording.path, table, None, columns, None, None, None, None, rows)


def _write_recording(path: str, name: str, out_dir: str, tables: Sequence[str],
                     partition_cols: Sequence[str], row_group_rows: int, compression: str,
                     schemas) -> Dict[str, str]:
    import numpy as np
    import pyarrow as pa
    import pyarrow.parquet as pq

    recording = read(path)
    values = {"recording": name}
    constants = [k for k in PARTITION_KEYS if k not in partition_cols]
    written = {}
    for table in tables:
        base = schemas[table]
        # Read in batches that stay in the caches (the reader sizes its buffers by them, so a
        # batch of a whole row group would cost more to allocate than to fill for a short
        # recording), gathered into row groups of exactly row_group_rows rows as they come.
        batches = _batches(recording, table, READ_ROWS)
        first = next(batches, None)
        if "start_time" not in values:  # from the frame table's first batch where it is read
            if table != "frame":
                first_times = next(_batches(recording, "frame", READ_ROWS, ["timestamp_utc"]),
                                   None)
            values["start_time"] = start_text(_first_timestamp(
                first if table == "frame" else first_times))
        fields = list(base) + [pa.field(k, pa.string(), nullable=False) for k in constants]
        meta = dict(base.metadata)
        meta[b"vq_corelog.recording"] = json.dumps(
            {"recording": name, "start_time": values["start_time"],
             "path": os.path.abspath(path)}).encode()
        file_schema = pa.schema(fields, metadata=meta)
        texts = [f.name for f in fields if f.type == pa.string()]
        statistics = [f.name for f in fields if f.name in STATISTICS or f.name in constants]
        folder = os.path.join(out_dir, table, *(f"{k}={values[k]}" for k in partition_cols))
        os.makedirs(folder, exist_ok=True)
        # Without a directory of its own, a recording's file takes its name, so that the
        # recordings of one folder do not replace each other.
        file = "part-0.parquet" if "recording" in partition_cols else f"part-{name}.parquet"
        target = os.path.join(folder, file)
        partial = os.path.join(folder, f".{file}.partial")  # hidden from readers
        try:
            with pq.ParquetWriter(partial, file_schema, compression=compression,
                                  use_dictionary=texts, write_statistics=statistics,
                                  write_batch_size=WRITE_BATCH_ROWS,
                                  store_schema=not hasattr(pq.ParquetWriter,
                                                           "add_key_value_metadata")) as writer:
                if hasattr(writer, "add_key_value_metadata"):
                    writer.add_key_value_metadata(meta)
                pending, rows = [], 0
                for batch in itertools.chain([first] if first else [], batches):
                    arrays = [batch.arrow_column(f.name) for f in base]
                    arrays += [pa.DictionaryArray.from_arrays(
                        np.zeros(batch.rows, np.int32), [values[k]]).cast(pa.string())
                        for k in constants]
                    pending.append(pa.Table.from_arrays(arrays, schema=file_schema))
                    rows += batch.rows
                    if rows >= row_group_rows:
                        # Whole row groups now, the rest waits for the next batches.
                        gathered = pa.concat_tables(pending)
                        whole = rows - rows % row_group_rows
                        writer.write_table(gathered.slice(0, whole), row_group_size=row_group_rows)
                        pending = [gathered.slice(whole)] if whole < rows else []
                        rows -= whole
                if pending:
                    writer.write_table(pa.concat_tables(pending), row_group_size=row_group_rows)
            os.replace(partial, target)
        finally:
            if os.path.exists(partial):
                os.remove(partial)
        written[table] = target
    return written


def to_parquet(paths: Union[PathLike, Iterable[PathLike]], out_dir: PathLike,
               partition_cols: Sequence[str] = PARTITION_KEYS,
               tables: Sequence[str] = TABLES, row_group_rows: int = 131072,
               compression: str = "snappy") -> Dict[str, List[str]]:
    """Writes recordings into a Parquet dataset, one Hive-style partition per recording.

    Args:
        paths: recordings (per-kind directories or single log files); one path alone is taken
            as a list of one. Their names (base names without ".vql") must differ.
        out_dir: the dataset's directory; made if missing. A recording written again replaces
            its files; other recordings' files stay.
        partition_cols: which of "recording" and "start_time" make the directory levels, in
            order; those left out become columns of the files instead.
        tables: the tables to write: "frame", "gaze_intersections", "head_intersections".
        row_group_rows: the most rows in one row group.
        compression: a Parquet codec pyarrow knows ("snappy", "zstd", "none", ...).

    Returns:
        Per table the files written, in the recordings' name order.

    A file is written under a temporary name and renamed when complete, so that a failure
    leaves no partial file in the dataset. Read it back with ``pyarrow.dataset.dataset(
    out_dir + "/frame", partitioning="hive")``, ``duckdb`` (``read_parquet('out/frame/**/*.
    parquet', hive_partitioning = true)``), Spark, Trino or ``dask.dataframe.read_parquet``.
    """
    if isinstance(paths, (str, os.PathLike)):
        paths = [paths]
    partition_cols = [partition_cols] if isinstance(partition_cols, str) else list(partition_cols)
    for key in partition_cols:
        if key not in PARTITION_KEYS:
            raise ValueError(f"partition columns are 'recording' and 'start_time', not {key!r}")
    if len(set(partition_cols)) != len(partition_cols):
        raise ValueError(f"a partition column is named twice in {partition_cols}")
    tables = [tables] if isinstance(tables, str) else list(tables)
    for table in tables:
        if table not in TABLES:
            raise ValueError(f"no table named {table!r}; the tables are {', '.join(TABLES)}")
    if isinstance(row_group_rows, bool) or not isinstance(row_group_rows, int) \
            or row_group_rows < 1:
        raise ValueError(f"row_group_rows is a positive integer, not {row_group_rows!r}")
    names = unique_names(paths)
    out_dir = os.fspath(out_dir)
    schemas = {table: arrow_schema(table) for table in tables}
    written: Dict[str, List[str]] = {table: [] for table in tables}
    for name, path in names.items():
        files = _write_recording(path, name, out_dir, tables, partition_cols, row_group_rows,
                                 compression, schemas)
        for table, file in files.items():
            written[table].append(file)
    return written
