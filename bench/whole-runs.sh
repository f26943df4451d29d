#!/usr/bin/env bash
# Whole runs as a user pays for them: the median wall time of many `vorp -o`
# processes on each icon given, against the same executable doing nothing
# (no arguments: a usage error), measured alternately in the same run. Each
# compile writes over the output of the one before, as a rebuild does.
#   bench/whole-runs.sh VORP [RUNS] ICON.svg...
set -euo pipefail
vorp=$1 runs=${2:-200}
shift 2
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
python3 - "$vorp" "$runs" "$out" "$@" <<'PY'
import statistics, subprocess, sys, time
vorp, runs, out, icons = sys.argv[1], int(sys.argv[2]), sys.argv[3], sys.argv[4:]
def timed(command):
    start = time.perf_counter()
    subprocess.run(command, stdout=subprocess.DEVNULL)
    return time.perf_counter() - start
nothing = []
compile = {icon: [] for icon in icons}
for _ in range(runs):
    nothing.append(timed([vorp]))
    for icon in icons:
        compile[icon].append(timed([vorp, "-o", out + "/out.vorp", icon]))
base = statistics.median(nothing)
print("do-nothing run: %.3f ms" % (base * 1e3))
for icon in icons:
    median = statistics.median(compile[icon])
    print("%-40s %.3f ms  %.2f x do-nothing" % (icon.split("/")[-1], median * 1e3, median / base))
PY
