// The library classes of the typical engine frame, X(Class) once each. A record whose class is
// exactly one of them is written and read without its virtual hooks (recordwriter_internal.h,
// recordreader_internal.h), and its records are recycled with their buffers
// (sharedrecord_internal.h). All are of fixed size, so a kept record holds little memory.
#pragma once

#define VQ_EOD_FRAME_CLASSES(X) \
    X(EngineOutputData)         \
    X(TimingOutputData)         \
    X(HeadOutputDataV2)         \
    X(EyeOutputData)            \
    X(PupilOutputData)          \
    X(EyeClosureOutputData)     \
    X(GazeOutputData)           \
    X(EngineStateOutputData)
