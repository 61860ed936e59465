"""Column batches of the library's column reader as NumPy, pandas and Arrow."""

from __future__ import annotations

import functools
from dataclasses import dataclass
from typing import Dict, List, Optional

import numpy as np

from . import _core

TABLES = ("frame", "gaze_intersections", "head_intersections")
"""The tables: one row per frame, and the long tables of intersections keyed by frame_num."""


@dataclass(frozen=True)
class ColumnInfo:
    """One column of the table of columns.

    Attributes:
        name: the column's name ("head_position_x").
        type: "bool", "int8", "int32", "uint32", "int64", "float32", "float64",
            "timestamp_ns" or "string".
        unit: "m", "rad", "s", "deg", "km/h", "px", "1" (a ratio 0..1), "Hz", "engine" (the
            engine's own unit) or "" (a count, code, flag or text).
        frame: the reference frame of a position or direction, else "".
        kind: the record class that gives the column, or "frame".
        description: one line.
        legend: the codes of a coded integer, else "".
    """

    name: str
    type: str
    unit: str
    frame: str
    kind: str
    description: str
    legend: str


def schema(table: str = "frame") -> Dict[str, ColumnInfo]:
    """The columns of a table, in their order, by name."""
    return dict(_schema(table))


@functools.lru_cache(maxsize=None)
def _schema(table: str) -> Dict[str, ColumnInfo]:
    return {c["name"]: ColumnInfo(**c) for c in _core.columns(table)}


_NUMPY_TYPES = {
    "bool": np.bool_, "int8": np.int8, "int32": np.int32, "uint32": np.uint32,
    "int64": np.int64, "float32": np.float32, "float64": np.float64,
    "timestamp_ns": "datetime64[ns]", "string": object,
}
_PANDAS_NULLABLE = {
    "bool": "boolean", "int8": "Int8", "int32": "Int32", "uint32": "UInt32", "int64": "Int64",
}


class Batch:
    """Columns of some rows: per column its values and validity (None: every row valid)."""

    def __init__(self, raw: dict, infos: Dict[str, ColumnInfo]) -> None:
        self.rows: int = raw["rows"]
        self.names: List[str] = [name for name, _, _ in raw["columns"]]
        self.values = {name: values for name, values, _ in raw["columns"]}
        self.valid = {name: valid for name, _, valid in raw["columns"]}
        self.infos = infos

    @staticmethod
    def concat(batches: List["Batch"], infos: Dict[str, ColumnInfo], names: List[str]) -> "Batch":
        """One batch of the rows of ``batches``, which it empties: column by column, each
        batch's arrays are dropped once copied (each column owns its memory), so the memory
        beyond the result is one column's. A single batch is returned as it is."""
        if len(batches) == 1:
            return batches[0]
        raw = {"rows": sum(b.rows for b in batches), "columns": []}
        for name in names:
            parts = [b.values.pop(name) for b in batches]
            valids = [b.valid.pop(name) for b in batches]
            if infos[name].type == "string":
                values = _concat_text(parts)
            elif parts:
                values = np.concatenate(parts)
            else:
                values = np.empty(0, _NUMPY_TYPES[infos[name].type])
            valid = None
            if any(v is not None for v in valids):
                valid = np.concatenate([np.ones(b.rows, bool) if v is None else v
                                        for b, v in zip(batches, valids)])
            del parts, valids
            raw["columns"].append((name, values, valid))
        return Batch(raw, infos)

    @staticmethod
    def empty(infos: Dict[str, ColumnInfo], names: List[str]) -> "Batch":
        """A batch of no rows."""
        text = (np.zeros(1, np.int32), np.empty(0, np.uint8))
        columns = [(n, text if infos[n].type == "string" else
                    np.empty(0, _NUMPY_TYPES[infos[n].type]), None) for n in names]
        return Batch({"rows": 0, "columns": columns}, infos)

    def arrow_text(self, name: str):
        """A text column as a pyarrow string array on the reader's own buffers."""
        import pyarrow as pa

        offsets, chars = self.values[name]
        bitmap, nulls = self._bitmap(name)
        return pa.StringArray.from_buffers(self.rows, pa.py_buffer(offsets), pa.py_buffer(chars),
                                           bitmap, nulls)

    def _bitmap(self, name: str):
        """(Arrow validity bitmap or None, number of nulls) of a column."""
        import pyarrow as pa

        valid = self.valid[name]
        if valid is None:
            return None, 0
        return (pa.py_buffer(np.packbits(valid, bitorder="little")),
                self.rows - int(np.count_nonzero(valid)))

    def arrow_column(self, name: str):
        """The column as a pyarrow array on the reader's buffers: only the validity bitmap (and
        a flag column's values) are packed into bits, nothing else is copied."""
        import pyarrow as pa

        info = self.infos[name]
        if info.type == "string":
            return self.arrow_text(name)
        values = self.values[name]
        bitmap, nulls = self._bitmap(name)
        if values.dtype == np.bool_:
            values = np.packbits(values, bitorder="little")
        return pa.Array.from_buffers(_arrow_type(info.type), self.rows,
                                     [bitmap, pa.py_buffer(values)], nulls)

    def numpy_column(self, name: str):
        """The column as a NumPy array: NaN (NaT) where floats (times) are missing, a masked
        array where integers or flags are, an object array of str or None for text."""
        info = self.infos[name]
        values = self.values[name]
        if info.type == "string":
            # Labels repeat: one str object per distinct text, shared by its rows.
            encoded = self.arrow_text(name).dictionary_encode()
            words = np.array(encoded.dictionary.to_pylist() + [None], dtype=object)
            return words[encoded.indices.fill_null(len(words) - 1).to_numpy()]
        if info.type == "timestamp_ns":
            return values.view("datetime64[ns]")
        valid = self.valid[name]
        if valid is None or info.type.startswith("float"):
            return values
        return np.ma.masked_array(values, mask=~valid)

    def to_numpy(self) -> Dict[str, np.ndarray]:
        return {name: self.numpy_column(name) for name in self.names}

    def pandas_column(self, name: str):
        """The column as a pandas array on the reader's buffers (a nullable column's mask is
        the one array made)."""
        import pandas as pd

        info = self.infos[name]
        values = self.values[name]
        if info.type == "string":
            return pd.arrays.ArrowStringArray(self.arrow_text(name))
        if info.type.startswith("float") or name == "frame_num":
            return values
        if info.type == "timestamp_ns":
            return _utc_times(values)
        valid = self.valid[name]
        mask = np.zeros(self.rows, bool) if valid is None else np.logical_not(valid)
        if info.type == "bool":
            return pd.arrays.BooleanArray(values, mask)
        return pd.arrays.IntegerArray(values, mask)

    def to_pandas(self):
        import pandas as pd

        # copy=False: each column stays an array of its own, on the reader's memory (pandas
        # would otherwise gather the columns of each dtype into one new two-dimensional block).
        return pd.DataFrame({name: self.pandas_column(name) for name in self.names}, copy=False)

    def to_arrow(self):
        import pyarrow as pa

        arrays, fields = [], []
        for name in self.names:
            info = self.infos[name]
            array = self.arrow_column(name)
            arrays.append(array)
            fields.append(pa.field(name, array.type, nullable=self.valid[name] is not None
                                   or info.type == "string", metadata=field_metadata(info)))
        return pa.Table.from_arrays(arrays, schema=pa.schema(fields))


def field_metadata(info: ColumnInfo) -> Dict[str, str]:
    """An Arrow field's metadata: unit, description, record kind, and where they apply the
    reference frame and the legend."""
    metadata = {"unit": info.unit, "description": info.description, "kind": info.kind}
    if info.frame:
        metadata["frame"] = info.frame
    if info.legend:
        metadata["legend"] = info.legend
    return metadata


@functools.lru_cache(maxsize=None)
def _arrow_type(name: str):
    import pyarrow as pa

    return {"bool": pa.bool_(), "int8": pa.int8(), "int32": pa.int32(), "uint32": pa.uint32(),
            "int64": pa.int64(), "float32": pa.float32(), "float64": pa.float64(),
            "timestamp_ns": pa.timestamp("ns", tz="UTC"), "string": pa.string()}[name]


def _utc_times(values: np.ndarray):
    """int64 ns since 1970 (the smallest int64 where missing) as a datetime64[ns, UTC] pandas
    array on the same memory."""
    import pandas as pd

    dtype = pd.DatetimeTZDtype("ns", "UTC")
    try:  # pandas >= 2: no copy, no check
        return pd.arrays.DatetimeArray._simple_new(values.view("datetime64[ns]"), dtype=dtype)
    except (AttributeError, TypeError):
        return pd.DatetimeIndex(values.view("datetime64[ns]")).tz_localize("UTC").array


def _concat_text(parts):
    """(offsets, chars) of the texts of several (offsets, chars) pairs, one after another."""
    offsets, chars, base = [np.zeros(1, np.int32)], [], 0
    for part_offsets, part_chars in parts:
        offsets.append(part_offsets[1:] + base)
        chars.append(part_chars)
        base += len(part_chars)
    if base >= 1 << 31:
        raise OverflowError("more than 2 GiB of text in one column")
    return (np.concatenate(offsets).astype(np.int32),
            np.concatenate(chars) if chars else np.empty(0, np.uint8))


def read_batches(path: str, table: str, kinds, columns, first, last, start, end, rows: int,
                 max_frames: Optional[int] = None):
    """Batch objects of up to ``rows`` rows each, of at most ``max_frames`` frames."""
    infos = schema(table)
    reader = _core.ColumnReader(path, table, kinds, columns, first, last, start, end, rows,
                                max_frames)
    while True:
        raw = reader.next()
        if raw is None:
            return
        yield Batch(raw, infos)


READ_ROWS = 16384
"""Rows per batch where a table is read in pieces (the Parquet conversion): batches that stay in
the processor's caches while the reader fills them read about a third faster than one batch of
the whole table."""


def read_all(path: str, table: str, kinds, columns, first, last, start, end,
             float_masks: bool = True) -> Batch:
    """Every selected row in one batch, read in one call (a recording still being written is
    read as far as it goes). ``float_masks``: keep the validity of float and timestamp
    columns, which NumPy and pandas do without (NaN and NaT tell), and Arrow uses."""
    raw = _core.read_table(path, table, kinds, columns, first, last, start, end, float_masks)
    return Batch(raw, schema(table))
