#!/usr/bin/env python3
"""A short tour of the Python package: make a recording, read it as a table and as frames,
write it again, and receive it live.

    python examples/python/tour.py [RECORDING]

Without RECORDING it writes a small recording of its own first.
"""

import math
import socket
import sys
import tempfile
import threading
from pathlib import Path

import vq_corelog as vq


def make_recording(directory: Path) -> Path:
    """Two seconds at 60 Hz of a head that sways and eyes that look left and right."""
    path = directory / "recording"
    with vq.Writer(path, kinds=["Timing", "HeadV2", "Eye"]) as writer:
        for num in range(120):
            t = num / 60
            frame = vq.Frame(num)
            frame.timing = vq.Timing()
            frame.timing.experiment_time = t
            frame.head = vq.Head()
            frame.head.tracking = True
            frame.head.position = (0.05 * math.sin(t), 0.0, 0.65)
            frame.head.quaternion = (1.0, 0.0, 0.0, 0.0)
            frame.eyes = vq.Eyes()
            for eye in (frame.eyes.right, frame.eyes.left):
                eye.gaze.quality = 3
                eye.gaze.yaw = 0.3 * math.sin(2 * t)
                eye.pupil.diameter = 0.004
            writer.write(frame)
    return path


def main() -> None:
    work = Path(tempfile.mkdtemp())
    path = Path(sys.argv[1]) if len(sys.argv) > 1 else make_recording(work)

    rec = vq.read(path)
    info = rec.info()
    print(f"{path}: {info['frames']} frames, kinds {', '.join(info['kinds'])}")

    # The frame table: one row per frame, columns as in vq.schema(), units in the schema.
    df = rec.to_pandas()
    unit = rec.schema["gaze_right_yaw_rad"].unit
    print(f"mean right gaze yaw: {df['gaze_right_yaw_rad'].mean():.4f} {unit}")
    print(df[["frame_num", "time_s", "head_position_x", "gaze_right_yaw_rad"]].head(3))

    # Frames as objects, with their records.
    first = next(iter(rec.frames()))
    print(f"frame {first.frame_num}: head at {first.head.position}, "
          f"right gaze yaw {first.eyes.right.gaze.yaw:.3f} rad, {len(first.to_bytes())} bytes")

    # Read part of it, write that part again.
    part = vq.read(path, frames=(10, 19))
    with vq.Writer(work / "part", kinds=part.info()["kinds"]) as writer:
        writer.write_all(part.frames())
    print(f"wrote {vq.read(work / 'part').info()['frames']} frames to {work / 'part'}")

    # Live: a tiny server sends the frames over TCP on 127.0.0.1, twice; connect() yields
    # them as frames, and batches() as tables of what arrived together.
    data = b"".join(f.to_bytes() for f in rec.frames())
    listener = socket.create_server(("127.0.0.1", 0))

    def serve() -> None:
        for _ in range(2):
            client, _ = listener.accept()
            with client:
                client.sendall(data)

    threading.Thread(target=serve, daemon=True).start()
    with vq.connect("127.0.0.1", listener.getsockname()[1], timeout=5) as stream:
        received = sum(1 for _ in stream)
    with vq.connect("127.0.0.1", listener.getsockname()[1], timeout=5) as stream:
        rows = sum(len(table) for table in stream.batches(frames=50, interval=0.5))
    listener.close()
    print(f"received {received} frames live, and {rows} rows of live tables")


if __name__ == "__main__":
    main()
