#!/usr/bin/env python3
"""Reading a recording into Python, side by side in one run:

  * the CSV path: `vqlog export --format csv` and pandas.read_csv (the only way in before),
  * Recording.to_pandas() and to_numpy() (the column reader),
  * Recording.frames() (frame objects): iterated alone, and with frame_num and the head's
    position read from every frame, as a loop over frames reads them,
  * and, to tell the library's share from the package's, the same reads stopped before Python
    sees the values: "whole-table read" is what to_pandas and to_numpy do before any conversion
    (the column reader filling small reused batches, a second thread copying each into the
    result's arrays), "batches joined" the way to_numpy went before (fresh batches of 16,384
    rows, concatenated; a baseline in the same run), "frame decoding" what frames() does
    without Python code running (the frame reader drained by a C loop: every frame decoded into
    record objects and wrapped as a Frame, then let go).

Usage: bench_read.py [--vqlog PATH] [--seconds 600] [--rate 360] [--repeat 3] [--skip-csv]

Makes the demo recording (`vqlog demo --fast`) in a temporary directory, times each path (best
of --repeat runs, wall clock), and measures each one's peak memory in a child process of its
own (peak resident set size minus the resident size before the read).
"""

import argparse
import json
import os
import resource
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]

CHILD = r"""
import collections, io, json, resource, subprocess, sys, time
import numpy, pandas, pyarrow, vq_corelog
path, what, csv_cmd = sys.argv[1], sys.argv[2], sys.argv[3:]
def rss():
    with open("/proc/self/status") as f:
        for line in f:
            if line.startswith("VmRSS:"):
                return int(line.split()[1]) * 1024
# A first read of ten frames loads what each path loads lazily, before the measurement.
small = vq_corelog.read(path, frames=(0, 9))
small.to_pandas(); small.to_numpy(); list(small.frames())
before = rss()
cpu = time.process_time()
t = time.perf_counter()
rec = vq_corelog.read(path)
if what == "pandas":
    out = rec.to_pandas(); own = int(out.memory_usage(deep=True).sum())
elif what == "numpy":
    out = rec.to_numpy(); own = sum(a.nbytes for a in out.values() if hasattr(a, "nbytes"))
elif what == "frames":
    own = 0
    for frame in rec.frames():
        pass
elif what == "frames_field":
    own = 0
    for frame in rec.frames():
        frame.frame_num
        head = frame.head
        if head is not None:
            head.position
elif what == "reader":
    from vq_corelog import _core
    out = _core.read_table(path, "frame", None, None, None, None, None, None, False)
    own = sum(a.nbytes for _, values, valid in out["columns"]
              for a in (values if isinstance(values, tuple) else (values,)) + (valid,)
              if a is not None)
elif what == "concat":
    from vq_corelog import _columns
    infos = _columns.schema("frame")
    batches = list(_columns.read_batches(path, "frame", None, None, None, None, None, None,
                                         _columns.READ_ROWS))
    out = _columns.Batch.concat(batches, infos, list(infos)).to_numpy()
    own = sum(a.nbytes for a in out.values() if hasattr(a, "nbytes"))
elif what == "decode":
    from vq_corelog import _core
    own = 0
    reader = _core.FrameReader(path, rec.is_directory, None, None, None, None, None)
    collections.deque(reader, maxlen=0)
elif what == "csv":
    text = subprocess.run(csv_cmd, check=True, capture_output=True).stdout
    out = pandas.read_csv(io.BytesIO(text)); own = int(out.memory_usage(deep=True).sum())
seconds = time.perf_counter() - t
cpu = time.process_time() - cpu
peak = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss * 1024
print(json.dumps({"seconds": seconds, "cpu": cpu, "peak": peak - before, "own": own}))
"""


def child(path, what, csv_cmd):
    out = subprocess.run([sys.executable, "-c", CHILD, str(path), what, *csv_cmd],
                         check=True, capture_output=True, text=True).stdout
    return json.loads(out)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--vqlog", default=os.environ.get("VQLOG",
                                                          ROOT / "build/release/tools/vqlog"))
    parser.add_argument("--seconds", type=float, default=600)
    parser.add_argument("--rate", type=float, default=360)
    parser.add_argument("--repeat", type=int, default=3)
    parser.add_argument("--skip-csv", action="store_true")
    args = parser.parse_args()

    import vq_corelog

    with tempfile.TemporaryDirectory() as tmp:
        path = Path(tmp) / "demo"
        subprocess.run([str(args.vqlog), "demo", "--fast", "--seconds", str(args.seconds),
                        "--rate", str(args.rate), "--out", str(path)], check=True,
                       stdout=subprocess.DEVNULL)
        rec = vq_corelog.read(path)
        frames = rec.info()["frames"]
        csv_cmd = [str(args.vqlog), "export", "--format", "csv", str(path)]

        def timed(what):
            best = None
            for _ in range(args.repeat):
                result = child(path, what, csv_cmd)
                if best is None or result["seconds"] < best["seconds"]:
                    best = result
            return best

        print(f"recording: {frames} frames, {sum(p.stat().st_size for p in path.iterdir())} "
              f"bytes; best of {args.repeat}, peak memory above the start of the read")
        print(f"{'path':36} {'seconds':>8} {'frames/s':>11} {'CPU s':>7} {'frames/CPU s':>12} "
              f"{'peak MB':>8} {'own MB':>7}")
        rows = [("to_pandas()", "pandas"), ("to_numpy()", "numpy"),
                ("  whole-table read alone", "reader"),
                ("  to_numpy() before, batches joined", "concat"),
                ("frames(), iterate only", "frames"),
                ("frames(), frame_num + head", "frames_field"),
                ("  frame decoding alone", "decode")]
        if not args.skip_csv:
            rows.append(("vqlog export csv + read_csv", "csv"))
        for label, what in rows:
            r = timed(what)
            print(f"{label:36} {r['seconds']:8.3f} {frames / r['seconds']:11,.0f} "
                  f"{r['cpu']:7.3f} {frames / r['cpu']:12,.0f} {r['peak'] / 1e6:8.1f} "
                  f"{r['own'] / 1e6:7.1f}")


if __name__ == "__main__":
    main()
