#!/bin/sh
# Times brisk on the generated configurations: wall time and peak memory.
#
#   bench/run.sh [BRISK] [generate.py options...]
#
# BRISK defaults to build-bench/brisk; nothing is built here. Extra options
# go to bench/generate.py (e.g. --builds 1000).
set -eu

here=$(cd "$(dirname "$0")" && pwd)
brisk=${1:-build-bench/brisk}
[ $# -gt 0 ] && shift
if [ ! -x "$brisk" ]; then
    echo "run.sh: $brisk: not an executable (build it first)" >&2
    exit 2
fi

work=$(mktemp -d "${TMPDIR:-/tmp}/brisk-bench.XXXXXX")
trap 'rm -rf "$work"' EXIT

python3 "$here/generate.py" "$@" "$work"

printf '%-15s %10s %8s %12s %10s\n' config lines status wall_s maxrss_kb
for conf in builds scopes combined; do
    file="$work/$conf.conf"
    # Peak memory and wall time of the brisk process alone, from wait4's
    # rusage, so no external time(1) is needed.
    python3 - "$brisk" "$file" "$work/$conf.mk" "$work/$conf.err" <<'EOF'
import os, subprocess, sys, time
brisk, conf, out, err = sys.argv[1:]
lines = sum(1 for _ in open(conf))
start = time.monotonic()
with open(err, "w") as e:
    p = subprocess.Popen([brisk, "-o", out, conf], stderr=e)
    _, status, usage = os.wait4(p.pid, 0)
    p.returncode = os.waitstatus_to_exitcode(status)
wall = time.monotonic() - start
code = p.returncode
name = os.path.basename(conf)[:-5]
print(f"{name:<15} {lines:>10} {code:>8} {wall:>12.2f} {usage.ru_maxrss:>10}")
if code != 0 or os.path.getsize(err):
    sys.stdout.write(open(err).read())
EOF
    if grep -q "name length too long" "$work/$conf.err"; then
        echo "run.sh: $conf: name length too long" >&2
        exit 1
    fi
done
