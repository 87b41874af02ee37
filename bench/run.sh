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
    # Peak memory and wall time of the brisk process alone, measured the way
    # compare.py measures (without the interpreter's own peak).
    python3 - "$here" "$brisk" "$file" "$work/$conf.mk" <<'EOF'
import os, sys
sys.dont_write_bytecode = True
sys.path.insert(0, sys.argv[1])
import compare
brisk, conf, out = (os.path.abspath(a) for a in sys.argv[2:])
lines = sum(1 for _ in open(conf))
compare.become_subreaper()
code, wall, peak, _, err = compare.run([brisk, "-o", out, conf], os.path.dirname(conf))
name = os.path.basename(conf)[:-5]
print(f"{name:<15} {lines:>10} {code:>8} {wall:>12.2f} {peak:>10}")
sys.stdout.write(err)
if "name length too long" in err:
    sys.exit(f"run.sh: {name}: name length too long")
EOF
done
