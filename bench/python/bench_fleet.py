#!/usr/bin/env python3
"""A fleet of recordings, side by side in one run:

  * converting them into a Parquet dataset (vq_corelog.to_parquet, pinned to one core),
  * one aggregate, the mean head distance and the frames per recording, computed
      - with pandas, reading the recordings one by one (Recording.to_pandas, three columns),
      - with DuckDB over the Parquet dataset,
      - with Dask on a local cluster of 1 and of 2 worker processes (vq_corelog.dask).

Usage: bench_fleet.py [--vqlog PATH] [--recordings 100] [--seconds 60] [--rate 360]
                      [--work DIR] [--repeat 3]

Makes the demo recordings (`vqlog demo --fast`, 21,600 frames each by default) in --work (a
temporary directory unless given; kept there and reused when given). Each path runs in a child
process of its own and reports its wall time (best of --repeat), CPU time and peak resident
memory; Dask also reports each worker's peak. The aggregates' results are checked equal.
"""

import argparse
import json
import os
import resource
import subprocess
import sys
import tempfile
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
COLUMNS = ["head_position_x", "head_position_y", "head_position_z"]
# Squares as products, the arithmetic NumPy does for ``x ** 2`` in the pandas path: DuckDB's
# ``x ^ 2`` calls pow(), which alone took half of the query's CPU time. The files by the
# dataset's own depth (recording=/start_time=/file), not ``**``: DuckDB's recursive glob walks
# every directory again and cost about a sixth of the query over 100 recordings.
SQL = """SELECT recording, avg(sqrt(head_position_x * head_position_x
                                  + head_position_y * head_position_y
                                  + head_position_z * head_position_z)) AS distance,
                count(*) AS frames
         FROM read_parquet('{}/frame/*/*/*.parquet', hive_partitioning = true)
         GROUP BY recording ORDER BY recording"""


def peak_rss() -> int:
    return resource.getrusage(resource.RUSAGE_SELF).ru_maxrss * 1024


def timed(run, repeat):
    best, cpu, result = None, None, None
    for _ in range(repeat):
        wall, cpu0 = time.perf_counter(), time.process_time()
        result = run()
        wall, cpu1 = time.perf_counter() - wall, time.process_time() - cpu0
        if best is None or wall < best:
            best, cpu = wall, cpu1
    return best, cpu, result


def rows(frame):
    """[(recording, distance, frames)] of an aggregate's result, rounded for comparing."""
    frame = frame.reset_index()
    return [(r.recording, round(float(r.distance), 9), int(r.frames))
            for r in frame.itertuples(index=False)]


def child(phase, paths, dataset, repeat, workers):
    import numpy as np
    import pandas as pd

    import vq_corelog as vq

    out = {"phase": phase}
    if phase == "parquet":
        os.sched_setaffinity(0, {sorted(os.sched_getaffinity(0))[0]})
        import pyarrow
        pyarrow.set_cpu_count(1)
        pyarrow.set_io_thread_count(1)
        out["seconds"], out["cpu"], _ = timed(lambda: vq.to_parquet(paths, dataset), 1)
    elif phase == "pandas":
        def run():
            result = []
            for path in paths:
                f = vq.read(path).to_pandas(COLUMNS)
                d = np.sqrt(f.head_position_x ** 2 + f.head_position_y ** 2
                            + f.head_position_z ** 2)
                result.append((Path(path).name, d.mean(), len(f)))
            return pd.DataFrame(result, columns=["recording", "distance", "frames"])
        out["seconds"], out["cpu"], result = timed(run, repeat)
        out["rows"] = rows(result)
    elif phase == "duckdb":
        import duckdb
        out["seconds"], out["cpu"], result = timed(
            lambda: duckdb.sql(SQL.format(dataset)).df(), repeat)
        out["rows"] = rows(result)
    else:
        import distributed

        from vq_corelog.dask import read_recordings
        with distributed.LocalCluster(n_workers=workers, threads_per_worker=1, processes=True,
                                      host="127.0.0.1", dashboard_address=None) as cluster, \
                distributed.Client(cluster) as client:
            client.wait_for_workers(workers, timeout=60)

            def run():
                # Each worker process's CPU seconds, besides this process's.
                before = client.run(time.process_time)
                f = read_recordings(paths, columns=COLUMNS)
                d = np.sqrt(f.head_position_x ** 2 + f.head_position_y ** 2
                            + f.head_position_z ** 2)
                # One output partition: a tree reduction, no shuffle of the small results.
                agg = d.groupby("recording").agg(["mean", "count"], split_out=1)
                result = client.compute(agg).result(timeout=600)
                after = client.run(time.process_time)
                out["worker_cpu"] = sorted(after[w] - before[w] for w in after)
                return result.rename(columns={"mean": "distance", "count": "frames"})
            out["seconds"], out["cpu"], result = timed(run, repeat)
            out["rows"] = rows(result.sort_index())
            out["worker_peak_rss"] = sorted(client.run(peak_rss).values())
    out["peak_rss"] = peak_rss()
    print(json.dumps(out))


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--vqlog", default=str(ROOT / "build/release/tools/vqlog"))
    parser.add_argument("--recordings", type=int, default=100)
    parser.add_argument("--seconds", type=int, default=60)
    parser.add_argument("--rate", type=int, default=360)
    parser.add_argument("--repeat", type=int, default=3)
    parser.add_argument("--work", help="directory for the recordings and the dataset")
    parser.add_argument("--child", nargs=2, help=argparse.SUPPRESS)
    args = parser.parse_args()
    if args.child:
        phase, workers = args.child
        paths = sorted(str(p) for p in Path(args.work, "recordings").iterdir())
        child(phase, paths, str(Path(args.work, "dataset")), args.repeat, int(workers))
        return 0

    work = Path(args.work or tempfile.mkdtemp(prefix="bench_fleet."))
    recordings = work / "recordings"
    recordings.mkdir(parents=True, exist_ok=True)
    started = time.perf_counter()

    def make(i):
        out = recordings / f"drive-{i:04d}"
        if not out.exists():
            subprocess.run([args.vqlog, "demo", "--fast", "--seconds", str(args.seconds),
                            "--rate", str(args.rate), "--seed", str(i + 1), "--out", str(out)],
                           check=True, stdout=subprocess.DEVNULL)
    with ThreadPoolExecutor(os.cpu_count() or 1) as pool:
        list(pool.map(make, range(args.recordings)))
    frames = args.recordings * args.seconds * args.rate
    size = sum(f.stat().st_size for f in recordings.rglob("*") if f.is_file())
    print(f"{args.recordings} recordings, {frames:,} frames, {size / 1e6:.0f} MB, made in "
          f"{time.perf_counter() - started:.1f} s ({work})")

    results = {}
    for phase, workers in [("parquet", 0), ("pandas", 0), ("duckdb", 0), ("dask", 1),
                           ("dask", 2)]:
        name = f"{phase} {workers} worker{'s' * (workers > 1)}" if workers else phase
        done = subprocess.run([sys.executable, __file__, "--work", str(work), "--repeat",
                               str(args.repeat), "--child", phase, str(workers)],
                              check=True, capture_output=True, text=True)
        results[name] = json.loads(done.stdout.strip().splitlines()[-1])
    dataset = sum(f.stat().st_size for f in (work / "dataset").rglob("*.parquet"))

    print(f"\n{'path':<16} {'wall s':>8} {'cpu s':>8} {'Mframes/s':>10} {'peak MB':>8}  workers' "
          "CPU s; workers' peak MB")
    for name, r in results.items():
        workers = " ".join(f"{m / 1e6:.0f}" for m in r.get("worker_peak_rss", []))
        cpu = " ".join(f"{c:.2f}" for c in r.get("worker_cpu", []))
        print(f"{name:<16} {r['seconds']:8.3f} {r['cpu']:8.3f} "
              f"{frames / r['seconds'] / 1e6:10.2f} {r['peak_rss'] / 1e6:8.0f}  {cpu}; {workers}")
    reference = results["pandas"]["rows"]
    for name, r in results.items():
        if "rows" in r and r["rows"] != reference:
            print(f"MISMATCH: {name} differs from pandas")
            return 1
    p = results["parquet"]
    print(f"\nParquet: {frames / p['seconds'] / 1e6:.2f} M frames/s on one core (target >= 1), "
          f"{frames / p['cpu'] / 1e6:.2f} M per CPU second, {dataset / 1e6:.0f} MB on disk")
    print(f"DuckDB over Parquet: {results['pandas']['seconds'] / results['duckdb']['seconds']:.1f}"
          " x pandas one by one (target >= 10)")
    one, two = results["dask 1 worker"], results["dask 2 workers"]
    print(f"Dask, 2 workers: {one['seconds'] / two['seconds']:.2f} x 1 worker (target >= 1.6); "
          f"workers' CPU seconds {sum(one['worker_cpu']):.2f} (1) and "
          f"{sum(two['worker_cpu']):.2f} (2)")
    return 0


if __name__ == "__main__":
    sys.exit(main())
