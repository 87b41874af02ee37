#!/usr/bin/env python3
"""Times brisk, GNU make and CMake on the same job: N objects over 200 templates.

    bench/compare.py [BRISK] [--sizes 1000,2000,4000] [--runs 3]

For each size N it writes
  builds.conf        the configuration of bench/generate.py --builds N,
                     run as `BRISK -o out.mk builds.conf`
  src/Makefile       the same rules written by hand, with target-specific
                     variables, run as `make -n -B -f Makefile all`
  src/CMakeLists.txt one object library of the N sources with per-source
                     options, run as `cmake -S src -B build -G "Unix Makefiles"`
                     from an empty build directory (compiler checks included)
and prints the median wall time and peak resident memory of each.
"""
import argparse
import ctypes
import os
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

sys.dont_write_bytecode = True  # keep bench/ free of __pycache__
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import generate  # noqa: E402

PR_SET_CHILD_SUBREAPER = 36
RECIPE = "$(CC) $(CFLAGS) $(DEFS) $(KDEFS) -DT{k} -DSTEM=$(STEM) -c -o $@ $<"

# exec carries the peak size of the image it replaces into the new program's
# ru_maxrss, so anything started directly from this interpreter reports at
# least the interpreter's ~14 MB. The command is forked by a small shell
# instead, and execs only when this process writes to the gate pipe, after the
# shell has exited: as a subreaper this process has inherited it by then and
# reaps it. wait4's ru_maxrss is the largest peak of the command and of every
# descendant it waited for.
LAUNCH = ('o=$1 e=$2; shift 2; exec 3<&0; '
          '{ read -r go <&3 && exec "$@" >"$o" 2>"$e" 3<&-; } >/dev/null 2>&1 & echo $!')


def run(cmd, cwd):
    """Runs cmd in cwd; returns (exit code, wall seconds, peak KB, stdout, stderr)."""
    out, err = os.path.join(cwd, ".stdout"), os.path.join(cwd, ".stderr")
    gate, release = os.pipe()
    shell = subprocess.run(["/bin/sh", "-c", LAUNCH, "sh", out, err, *cmd], cwd=cwd,
                           stdin=gate, stdout=subprocess.PIPE, text=True, check=True)
    os.close(gate)
    start = time.monotonic()
    os.write(release, b"go\n")
    os.close(release)
    _, status, usage = os.wait4(int(shell.stdout), 0)
    wall = time.monotonic() - start
    with open(out) as o, open(err) as e:
        return os.waitstatus_to_exitcode(status), wall, usage.ru_maxrss, o.read(), e.read()


def become_subreaper():
    """Lets run() reap the commands it starts; call once before it."""
    if ctypes.CDLL(None, use_errno=True).prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0) != 0:
        sys.exit(f"compare.py: prctl: {os.strerror(ctypes.get_errno())}")


def sources(n):
    """(index, source path, template) of each build, as generate.py lays them out."""
    per_path = max(1, n // generate.TEMPLATES)
    for i in range(n):
        k = i % generate.TEMPLATES
        yield i, f"d{i // per_path % 10}/a{i}.c{k}", k


def write_job(n, work):
    generate.BUILDS = n  # generate.py takes its sizes from module globals
    with open(os.path.join(work, "builds.conf"), "w") as f:
        f.write(generate.builds_text())
    src = os.path.join(work, "src")
    mk = ["CC = cc", "OBJS = " + " ".join(f"a{i}.o" for i in range(n)), "", "all: $(OBJS)", ""]
    cm = ["cmake_minimum_required(VERSION 3.20)", "project(bench C)", "add_library(objs OBJECT"]
    props = []
    for i, path, k in sources(n):
        os.makedirs(os.path.join(src, os.path.dirname(path)), exist_ok=True)
        open(os.path.join(src, path), "w").close()
        obj = f"a{i}.o"
        mk += [f"{obj}: CFLAGS = -O{i % 4}", f"{obj}: DEFS = -DN{i}", f"{obj}: KDEFS = -DK{k}",
               f"{obj}: STEM = a{i}", f"{obj}: {path}", "\t" + RECIPE.format(k=k), ""]
        cm.append(f"  {path}")
        props.append(f'set_source_files_properties({path} PROPERTIES COMPILE_OPTIONS "-O{i % 4}" '
                     f'COMPILE_DEFINITIONS "N{i};K{k};T{k};STEM=a{i}" LANGUAGE C)')
    cm.append(")")
    for name, lines in (("Makefile", mk), ("CMakeLists.txt", cm + props)):
        with open(os.path.join(src, name), "w") as f:
            f.write("\n".join(lines) + "\n")


def expected_recipes(n):
    return [f"cc -O{i % 4} -DN{i} -DK{k} -DT{k} -DSTEM=a{i} -c -o a{i}.o {path}"
            for i, path, k in sources(n)]


def measure(name, cmd, cwd, runs, fault_in, fresh=None):
    """Median wall seconds and peak MB over runs; exits on the first run fault_in rejects."""
    walls, peaks = [], []
    for _ in range(runs):
        if fresh:
            shutil.rmtree(fresh, ignore_errors=True)
        code, wall, peak, out, err = run(cmd, cwd)
        fault = fault_in(code, out, err)
        if fault:
            sys.exit(f"compare.py: {name}: {fault}\n{err}".rstrip())
        walls.append(wall)
        peaks.append(peak)
    return statistics.median(walls), statistics.median(peaks) / 1024


def compare(n, brisk, runs, work):
    write_job(n, work)
    src = os.path.join(work, "src")
    recipes = expected_recipes(n)

    def exit_fault(code, out, err):
        return f"exit status {code}" if code else None

    def brisk_fault(code, out, err):
        if "name length too long" in err:
            return "name length too long"
        return exit_fault(code, out, err)

    def make_fault(code, out, err):
        if not code and out.splitlines() != recipes:
            return f"printed {len(out.splitlines())} lines, not the {n} expected recipes"
        return exit_fault(code, out, err)

    results = measure("brisk", [brisk, "-o", "out.mk", "builds.conf"], work, runs, brisk_fault)
    # brisk's output is a makefile fragment: it must ask for the same commands.
    measure("make on brisk's out.mk", ["make", "-n", "-B", "-f", "../out.mk", "all"], src, 1, make_fault)
    results += measure("make", ["make", "-n", "-B", "-f", "Makefile", "all"], src, runs, make_fault)
    build = os.path.join(work, "build")
    results += measure("cmake", ["cmake", "-S", "src", "-B", "build", "-G", "Unix Makefiles"], work, runs,
                       exit_fault, fresh=build)
    return results


def main():
    parser = argparse.ArgumentParser(description="Time brisk against GNU make and CMake.")
    parser.add_argument("brisk", nargs="?", default="build-bench/brisk")
    parser.add_argument("--sizes", default="1000,2000,4000", help="comma-separated numbers of builds")
    parser.add_argument("--runs", type=int, default=3, help="runs per measurement (median is shown)")
    args = parser.parse_args()
    brisk = os.path.abspath(args.brisk)
    if not os.access(brisk, os.X_OK):
        sys.exit(f"compare.py: {args.brisk}: not an executable (build it first)")
    become_subreaper()
    print(f"{'builds':>6}  {'brisk_s':>8} {'brisk_MB':>8}  {'make_s':>8} {'make_MB':>8}  "
          f"{'cmake_s':>8} {'cmake_MB':>8}", flush=True)
    with tempfile.TemporaryDirectory(prefix="brisk-compare.") as tmp:
        for n in (int(s) for s in args.sizes.split(",")):
            work = os.path.join(tmp, str(n))
            os.mkdir(work)
            r = compare(n, brisk, args.runs, work)
            print(f"{n:>6}  {r[0]:>8.2f} {r[1]:>8.1f}  {r[2]:>8.2f} {r[3]:>8.1f}  "
                  f"{r[4]:>8.2f} {r[5]:>8.1f}", flush=True)


if __name__ == "__main__":
    main()
