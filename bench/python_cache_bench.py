#!/usr/bin/env python3
"""Reading every sample of a 1,000,000-vertex cache through wkcache.Cache into numpy, next to the
same reads through the C++ reader (wkcache_bench's ReadEverySample). Target: at most 1.5 times
the C++ time.

Run from the repository root after a build:
    PYTHONPATH=build/python /usr/bin/python3 bench/python_cache_bench.py [--build build]
"""
import argparse
import json
import os
import pathlib
import subprocess
import tempfile
import time

import wkcache

NODES, SEGMENTS, SAMPLES = 1000, 31, 200  # 1000 planes of 32 x 32 vertices


def scene_text():
    nodes = [{
        "name": f"Plate{i:04d}",
        "position": {"interpolation": "linear", "keys": [
            {"frame": 0, "value": [i % 40 * 2.0, i // 40 * 2.0, 0]},
            {"frame": SAMPLES - 1, "value": [i % 40 * 2.0, i // 40 * 2.0, 10]}]},
        "object": {"type": "plane", "width": 1, "length": 1, "segments": [SEGMENTS, SEGMENTS]},
    } for i in range(NODES)]
    nodes.append({"name": "Recorder", "object": {
        "type": "cache", "nodes": [n["name"] for n in nodes],
        "recStart": 0, "recEnd": SAMPLES - 1, "recStep": 1}})
    return json.dumps({"wkcacheScene": 1, "frameRate": 30, "animationRange": [0, SAMPLES - 1],
                       "nodes": nodes})


def python_read(path):
    cache = wkcache.Cache(path)
    start = time.perf_counter()
    for s in range(cache.num_samples):
        cache.transforms(s)
        cache.visibility(s)
    return time.perf_counter() - start


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", default="build", help="the build folder (default: build)")
    parser.add_argument("--repetitions", type=int, default=5)
    args = parser.parse_args()
    with tempfile.TemporaryDirectory() as tmp:
        scene_path = pathlib.Path(tmp) / "plates.json"
        scene_path.write_text(scene_text())
        cache_path = str(pathlib.Path(tmp) / "plates.wkc")
        scene = wkcache.Scene(str(scene_path))
        if not scene.cache_objects[0].fns.record(fileName=cache_path):
            raise SystemExit("recording the benchmark cache failed")
        info = wkcache.Cache(cache_path).info
        print(f"cache: {info['totalVerts']} vertices, {info['cacheNumNodes']} elements, "
              f"{info['cacheNumSamples']} samples")
        py_best = min(python_read(cache_path) for _ in range(args.repetitions))
        bench = pathlib.Path(args.build) / "bench" / "wkcache_bench"
        out = subprocess.run(
            [str(bench), "--benchmark_filter=ReadEverySample", "--benchmark_format=json",
             f"--benchmark_repetitions={args.repetitions}"],
            env=dict(os.environ, WKCACHE_BENCH_CACHE=cache_path), capture_output=True, check=True)
        runs = [b for b in json.loads(out.stdout)["benchmarks"] if b.get("run_type") == "iteration"]
        cpp_best = min(b["real_time"] for b in runs) / 1000.0  # reported in milliseconds
        print(f"wkcache.Cache into numpy: {py_best * 1000:.1f} ms")
        print(f"C++ reader:               {cpp_best * 1000:.1f} ms")
        print(f"Python / C++ ratio: {py_best / cpp_best:.2f} (target at most 1.50)")


if __name__ == "__main__":
    main()
