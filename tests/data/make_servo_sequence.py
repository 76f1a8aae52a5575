#!/usr/bin/env python3
"""Writes servo_sequence.txt: a deterministic recorded sequence of detections
and servo angles for the motion tracker's cross-target check.

A 1280x720 view on a servo that pans across azimuth 0/360 and tilts, with
24 objects of two classes walking in a wider scene, detected with box noise,
misses, low-score boxes, false positives and a few malformed boxes.

Lines:  R <degrees per pixel>
        S <frame> <azimuth> <pitch>        (no S line: the frame has no angles)
        D <frame> <x1> <y1> <x2> <y2> <score> <class>
Numbers are written with 9 significant digits, so they read back as the
same floats on every machine.
"""
import math
import random

RES = 0.02
W, H = 1280, 720
FRAMES = 400
rng = random.Random(2026)


def g(v):
    return "%.9g" % v


objs = []
for k in range(24):
    objs.append(dict(
        x=rng.uniform(-600, W + 600), y=rng.uniform(50, H - 250),
        vx=rng.uniform(-3, 3), vy=rng.uniform(-0.5, 0.5),
        w=rng.uniform(30, 90), h=0, cls=k % 2,
        t0=rng.randrange(0, 200), t1=0))
    objs[-1]["h"] = objs[-1]["w"] * rng.uniform(2.0, 2.8)
    objs[-1]["t1"] = objs[-1]["t0"] + rng.randrange(80, 300)

lines = ["R " + g(RES)]
for f in range(1, FRAMES + 1):
    az = (355.0 + 20.0 * math.sin(f / 25.0)) % 360.0
    pt = 3.0 * math.sin(f / 40.0)
    if f % 97 != 0:  # now and then a frame without angles
        lines.append("S %d %s %s" % (f, g(az), g(pt)))
    # Image offset of the scene: pan right moves the scene left.
    daz = ((az - 355.0) + 180.0) % 360.0 - 180.0
    ox, oy = -daz / RES, pt / RES
    for o in objs:
        if not (o["t0"] <= f <= o["t1"]):
            continue
        x = o["x"] + o["vx"] * (f - o["t0"]) + ox
        y = o["y"] + o["vy"] * (f - o["t0"]) + oy
        if x + o["w"] < 0 or x > W or y + o["h"] < 0 or y > H or rng.random() < 0.08:
            continue
        n = 0.04 * o["w"]
        x1, y1 = x + rng.gauss(0, n), y + rng.gauss(0, n)
        x2, y2 = x + o["w"] + rng.gauss(0, n), y + o["h"] + rng.gauss(0, n)
        score = rng.uniform(0.3, 0.75) if rng.random() < 0.15 else rng.uniform(0.85, 1.0)
        lines.append("D %d %s %s %s %s %s %d" % (f, g(x1), g(y1), g(x2), g(y2), g(score), o["cls"]))
    for _ in range(rng.randrange(0, 3)):  # false positives
        x, y = rng.uniform(0, W - 60), rng.uniform(0, H - 120)
        lines.append("D %d %s %s %s %s %s %d" % (f, g(x), g(y), g(x + 40), g(y + 100),
                                                 g(rng.uniform(0.5, 0.95)), rng.randrange(2)))
    if f % 50 == 0:  # malformed: inverted and empty boxes
        lines.append("D %d 100 100 90 150 0.9 0" % f)
        lines.append("D %d 100 100 100 150 0.9 0" % f)

with open("servo_sequence.txt", "w") as out:
    out.write("\n".join(lines) + "\n")
