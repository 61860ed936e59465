"""Many recordings as one dask DataFrame, for a Dask cluster.

    >>> from vq_corelog.dask import read_recordings
    >>> frames = read_recordings(paths, columns=["head_position_z"])
    >>> frames.groupby("recording").head_position_z.mean().compute()

Each recording is one partition, read by the worker that computes it with the package's
column reader (so the workers need vq_corelog installed and the recordings on a path they
see). A compressed frame file of more than ``partition_frames`` frames is split into several
partitions along its chunk index (whole chunks of about ``partition_frames`` frames each); a
worker seeks to its block's first chunk and reads only that block. The index is the
recording's name (see :func:`vq_corelog.parquet.recording_name`), partitions in name order, so
that the divisions are the names and are known before anything is read (a split recording's
name repeats in the divisions): ``frames.loc["drive-0042"]`` reads one recording, and a
``groupby("recording")`` needs no shuffle. Columns are typed as :meth:`Recording.to_pandas`
types them.
"""

from __future__ import annotations

import os
from typing import Iterable, List, Optional, Sequence, Union

from . import _core
from ._columns import Batch, TABLES, schema
from ._recording import read
from .parquet import unique_names


def _index(name: str, rows: int):
    """The recording's name ``rows`` times, as a string[pyarrow] index (built by Arrow, not
    from a Python object per row)."""
    import pandas as pd
    import pyarrow as pa

    names = pa.repeat(pa.scalar(name, pa.string()), rows)
    return pd.Index(pd.arrays.ArrowStringArray(names), name="recording")


class _ReadRecording:
    """Reads one recording's table as a partition: called with (name, path) and the columns
    (Dask passes fewer when a computation needs fewer)."""

    def __init__(self, table: str, columns: List[str], start, end) -> None:
        self.table = table
        self.all_columns = columns
        self.start = start
        self.end = end

    def meta(self):
        infos = schema(self.table)
        frame = Batch.empty(infos, self.all_columns).to_pandas()
        frame.index = _index("", 0)
        return frame

    def __call__(self, part, columns=None):
        name, path, frames = part
        columns = self.all_columns if columns is None else list(columns)
        frame = read(path, start=self.start, end=self.end, frames=frames).to_pandas(
            columns, table=self.table)
        frame.index = _index(name, len(frame))
        return frame


def blocks(path: str, partition_frames: int, start: Optional[float] = None,
           end: Optional[float] = None) -> List[Optional[tuple]]:
    """The frame ranges ``(first, last)`` that split a recording into partitions, or ``[None]``
    for one partition of all of it. Only a compressed frame file is split: its intact chunks
    are gathered into blocks of at least ``partition_frames`` frames, block boundaries on chunk
    boundaries; chunks wholly outside the time range ``start``..``end`` are left out."""
    if os.path.isdir(path):
        return [None]
    chunks = _core.chunk_index(path)
    if not chunks or sum(c[2] for c in chunks) <= partition_frames:
        return [None]
    # Blocks meet: each starts one frame after the last of the block before, so that frames
    # of a damaged chunk between them are read (and raise) as in a whole read.
    cuts, first, count = [], None, 0
    for first_frame, last_frame, frames, first_time, last_time in chunks:
        # NaN times (untimed chunks) compare False and keep the chunk.
        if (start is not None and last_time < start) or (end is not None and first_time > end):
            continue
        if first is None:
            first = first_frame
        count += frames
        if count >= partition_frames:
            cuts.append(last_frame)
            count = 0
    if first is None:
        return [None]
    if count == 0:
        cuts.pop()  # the last block takes whatever follows its last chunk
    result = []
    for cut in cuts + [None]:
        begin = (first if start is not None else None) if not result else result[-1][1] + 1
        result.append((begin, cut))
    return result or [None]


def read_recordings(paths: Union[str, os.PathLike, Iterable[Union[str, os.PathLike]]],
                    columns: Optional[Sequence[str]] = None, start: Optional[float] = None,
                    end: Optional[float] = None, table: str = "frame",
                    partition_frames: int = 1 << 20):
    """A dask DataFrame of recordings, one partition per recording (or per block of a long
    compressed file), indexed by name.

    Args:
        paths: recordings (per-kind directories or single log files); their names (base names
            without ".vql") must differ.
        columns: the columns to read (None: all of the table's); Dask narrows this further
            when a computation uses fewer.
        start, end: a range of time_s in seconds, both ends included, in every recording.
        table: "frame", "gaze_intersections" or "head_intersections".
        partition_frames: a compressed frame file of more frames than this is split along its
            chunk index into partitions of about this many frames (at least one chunk each).

    Nothing is read until the frame is computed but the compressed files' indexes; the meta
    comes from the table of columns.
    """
    import dask.dataframe as dd

    if isinstance(paths, (str, os.PathLike)):
        paths = [paths]
    if table not in TABLES:
        raise ValueError(f"no table named {table!r}; the tables are {', '.join(TABLES)}")
    known = schema(table)
    columns = list(known) if columns is None else list(columns)
    for name in columns:
        if name not in known:
            raise ValueError(f"no column named {name!r} in the table {table}")
    names = unique_names(paths)
    if not names:
        raise ValueError("no recordings given")
    if isinstance(partition_frames, bool) or not isinstance(partition_frames, int) \
            or partition_frames < 1:
        raise ValueError(f"partition_frames is a positive integer, not {partition_frames!r}")
    reader = _ReadRecording(table, columns, start, end)
    parts = [(name, path, block) for name, path in names.items()
             for block in blocks(path, partition_frames, start, end)]
    keys = [name for name, _, _ in parts]
    return dd.from_map(reader, parts, meta=reader.meta(),
                       divisions=keys + [keys[-1]], label="vq-read-recording",
                       enforce_metadata=False, columns=columns)
