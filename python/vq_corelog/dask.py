"""Many recordings as one dask DataFrame, for a Dask cluster.

    >>> from vq_corelog.dask import read_recordings
    >>> frames = read_recordings(paths, columns=["head_position_z"])
    >>> frames.groupby("recording").head_position_z.mean().compute()

Each recording is one partition, read by the worker that computes it with the package's
column reader (so the workers need vq_corelog installed and the recordings on a path they
see). The index is the recording's name (see :func:`vq_corelog.parquet.recording_name`),
partitions in name order, so that the divisions are the names and are known before anything
is read: ``frames.loc["drive-0042"]`` reads one recording, and a ``groupby("recording")``
needs no shuffle. Columns are typed as :meth:`Recording.to_pandas` types them.
"""

from __future__ import annotations

import os
from typing import Iterable, List, Optional, Sequence, Union

from ._columns import Batch, TABLES, schema
from ._recording import read
from .parquet import unique_names


def _index(name: str, rows: int):
    import numpy as np
    import pandas as pd

    return pd.Index(pd.array(np.full(rows, name, dtype=object), dtype="string[pyarrow]"),
                    name="recording")


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
        name, path = part
        columns = self.all_columns if columns is None else list(columns)
        frame = read(path, start=self.start, end=self.end).to_pandas(columns, table=self.table)
        frame.index = _index(name, len(frame))
        return frame


def read_recordings(paths: Union[str, os.PathLike, Iterable[Union[str, os.PathLike]]],
                    columns: Optional[Sequence[str]] = None, start: Optional[float] = None,
                    end: Optional[float] = None, table: str = "frame"):
    """A dask DataFrame of recordings, one partition per recording, indexed by name.

    Args:
        paths: recordings (per-kind directories or single log files); their names (base names
            without ".vql") must differ.
        columns: the columns to read (None: all of the table's); Dask narrows this further
            when a computation uses fewer.
        start, end: a range of time_s in seconds, both ends included, in every recording.
        table: "frame", "gaze_intersections" or "head_intersections".

    Nothing is read until the frame is computed; the meta comes from the table of columns.
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
    reader = _ReadRecording(table, columns, start, end)
    keys = list(names)
    return dd.from_map(reader, list(names.items()), meta=reader.meta(),
                       divisions=keys + [keys[-1]], label="vq-read-recording",
                       enforce_metadata=False, columns=columns)
