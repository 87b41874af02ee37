#!/usr/bin/env python3
"""Replays inputs against the program and fails when one of them crashes,
hangs or draws a sanitizer report. Expected results are not checked: any exit
status, and the deliberate "Not a istring" abort, pass.

    replay.py [-v] [-j JOBS] [--timeout SEC] PROGRAM CASE-OR-DIR...

-v prints, for every input, its class, status, time and standard error.
"""
import argparse
import concurrent.futures
import os
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from fuzzlib import FAULTS, classify, readCase, runCase  # noqa: E402


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument("-v", action="store_true")
    ap.add_argument("-j", type=int, default=2)
    ap.add_argument("--timeout", type=float, default=5.0)
    ap.add_argument("program")
    ap.add_argument("inputs", nargs="+")
    a = ap.parse_args()
    paths = []
    for p in a.inputs:
        if os.path.isdir(p):
            paths += sorted(os.path.join(p, n) for n in os.listdir(p) if n.endswith(".case"))
        else:
            paths.append(p)
    if not paths:
        sys.exit("no inputs")

    def one(path):
        r = runCase(a.program, readCase(path), a.timeout)
        return path, r, classify(r)

    start = time.monotonic()
    failed = []
    with concurrent.futures.ThreadPoolExecutor(max_workers=a.j) as pool:
        for path, r, (cls, key) in pool.map(one, paths):
            if a.v:
                print(f"{path}: {cls} {key} status {r.status} {r.seconds:.2f}s")
                sys.stdout.write(r.stderr.decode("latin-1")[:4000])
            if cls in FAULTS:
                failed.append(path)
                print(f"FAIL {path}: {cls} {key}")
                if not a.v:
                    sys.stdout.write(r.stderr.decode("latin-1")[:2000])
    print(f"{len(paths)} inputs, {len(failed)} failed, {time.monotonic() - start:.1f}s")
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
