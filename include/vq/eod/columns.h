// The table of columns: every field of every record kind with a published layout, as named,
// typed and documented columns. Written once here; ColumnReader fills them, `vqlog export` writes
// them, `vqlog schema` prints them.
//
// Tables. A frame holds most records at most once; their fields are columns of the frame table,
// one row per frame. Records a frame can hold several of go to long tables, one row per record
// (or per labelled intersection), keyed by frame_num, so that nothing a frame holds is dropped:
//
//   FRAME               one row per frame
//   GAZE_INTERSECTIONS  one row per gaze intersection of every version (V1, V2: one per record;
//                       V3, V4: one per label)
//   HEAD_INTERSECTIONS  one row per head intersection (V1: one per record; V2: one per label)
//
// Where the frame table's records come from: timing, engine state, GPS and inertia records of
// the frame itself (the head tracker state inside the engine state record); head, pupil, eyelid
// and gaze records of the frame's first face set, or of the frame itself in recordings of older
// writers (a first-version head record gives the columns of the current one, its quaternion
// derived from its Euler angles); gaze_target_* from the first labelled gaze intersection (V4)
// of the world container (WorldOutputDataV2). GPS: the second version when the frame holds both.
//
// Types are those of ColumnType; a cell that a frame lacks is not valid (ColumnBatch's validity
// bytes). Units: "m", "rad", "s", "deg", "km/h", "px", "1" (a ratio 0..1), "Hz" or "" (a count,
// code, flag or text); "engine" where the records carry the engine's own unit (metres in the demo).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "vq/eod/export.h"

namespace vq::eod {

// The element type of a column, and so of its buffer in a ColumnBatch.
enum class ColumnType : unsigned char {
    BOOL,          // std::uint8_t, 0 or 1
    INT8,          // std::int8_t
    INT32,         // std::int32_t
    UINT32,        // std::uint32_t
    INT64,         // std::int64_t
    FLOAT32,       // float
    FLOAT64,       // double
    TIMESTAMP_NS,  // std::int64_t, nanoseconds since 1970-01-01T00:00:00Z (UTC)
    STRING,        // text: offsets (std::uint32_t, rows + 1) into a byte buffer, no terminators
};

// "bool", "int8", "int32", "uint32", "int64", "float32", "float64", "timestamp_ns", "string".
VQ_EOD_API const char* columnTypeName(ColumnType type);
// Bytes per element of a fixed-width type; 0 for STRING.
VQ_EOD_API std::size_t columnTypeSize(ColumnType type);

enum class Table : unsigned char { FRAME, GAZE_INTERSECTIONS, HEAD_INTERSECTIONS };

// "frame", "gaze_intersections", "head_intersections".
VQ_EOD_API const char* tableName(Table table);
// The table of a name above; false when there is none.
VQ_EOD_API bool tableOfName(const std::string& name, Table& table);

// One column.
struct ColumnInfo {
    const char* name;  // "head_position_x"
    ColumnType type;
    const char* unit;         // see above
    const char* frame;        // the reference frame of a position or direction, else ""
    const char* kind;         // the record class that gives it ("HeadOutputDataV2"), or "frame"
    const char* description;  // one line
    const char* legend;       // the codes of a coded integer ("0: not tracking; 1 ..."), else ""
};

// The columns of a table in their fixed order; the first is frame_num in every table.
VQ_EOD_API const std::vector<ColumnInfo>& columns(Table table);
// The index of a column of a table by its name, or -1.
VQ_EOD_API int columnIndex(Table table, const std::string& name);
// The object IDs whose records give values to a column (for the FRAME table, as `vqlog export`
// uses it: a column group appears when a recording holds one of its kinds). frame_num, time_s and
// timestamp_utc come with the frame itself (time_s and timestamp_utc from its timing record).
VQ_EOD_API const std::vector<char>& columnKinds(Table table, std::size_t column);

}  // namespace vq::eod
