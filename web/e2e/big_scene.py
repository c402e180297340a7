#!/usr/bin/env python3
"""A scene with one waving grid of 317 x 317 = 100,489 vertices and a cache object that records
its deformation: the large cache of the playback measurement in docs/serve.md.

    python3 web/e2e/big_scene.py big.json && wkcache record big.json -o big.wkc
"""
import json
import math
import sys

SEGMENTS = 316  # vertices per side: SEGMENTS + 1
SIZE = 200.0
KEYS = 9        # keyed every 10 frames over frames 0 to 80


def grid(phase):
    points = []
    for j in range(SEGMENTS + 1):
        for i in range(SEGMENTS + 1):
            x = -SIZE / 2 + SIZE * i / SEGMENTS
            y = -SIZE / 2 + SIZE * j / SEGMENTS
            z = 8.0 * math.sin(x / 15.0 + phase) * math.cos(y / 20.0 + phase / 2)
            points.append([round(x, 3), round(y, 3), round(z, 3)])
    return points


scene = {
    "wkcacheScene": 1,
    "frameRate": 30,
    "animationRange": [0, 80],
    "nodes": [
        {"name": "Wave",
         "object": {"type": "deformingMesh",
                    "mesh": {"type": "plane", "width": SIZE, "length": SIZE,
                             "segments": [SEGMENTS, SEGMENTS]},
                    "keys": [{"frame": 10 * k, "vertices": grid(k * 0.8)} for k in range(KEYS)]}},
        {"name": "Cache",
         "object": {"type": "cache", "nodes": ["Wave"], "recStart": 0, "recEnd": 80,
                    "pb_recWriteDeform": True}},
    ],
}
with open(sys.argv[1], "w") as out:
    json.dump(scene, out)
