#!/bin/sh
# Runs the automatic analysis on real traces of other makers' instruments and
# tells, for each, how many of the events the maker's own software stored
# (a loss of at least 0.1 dB, or reflective) the analysis finds within the
# tolerance of the quality figures: 2 sample spacings plus half a pulse.
#
#   scripts/real-traces-check.sh [--tool PATH] [DIR]
#
#   --tool PATH   the fibertest program (default build/default/tools/fibertest/fibertest)
#   DIR           the traces (default ../shared/traces beside the checkout)
#
# A trace on which the analysis does not complete keeps its own events and is
# not compared. Exit status 0 when the analysis ran on every trace, 1 when it
# failed on one, 2 on a usage error. Run by hand; `make test` does not run it.
set -eu

root=$(cd "$(dirname "$0")/.." && pwd)
tool="$root/build/default/tools/fibertest/fibertest"
dir="$root/../shared/traces"
while [ $# -gt 0 ]; do
    case "$1" in
        --tool) tool="$2"; shift 2 ;;
        -h|--help) sed -n '2,13p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
        -*) echo "real-traces-check.sh: unknown option '$1'" >&2; exit 2 ;;
        *) dir="$1"; shift ;;
    esac
done
if [ ! -x "$tool" ]; then
    echo "real-traces-check.sh: no fibertest program at '$tool' (build it, or give --tool)" >&2
    exit 2
fi
if [ ! -d "$dir" ]; then
    echo "real-traces-check.sh: no folder '$dir'" >&2
    exit 2
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT INT TERM
status=0
for trace in "$dir"/*.sor "$dir"/*.SOR; do
    [ -f "$trace" ] || continue
    name=$(basename "$trace")
    if ! "$tool" analyze "$trace" -o "$work/$name" > "$work/$name.txt" 2> "$work/$name.err"; then
        echo "$name: the analysis failed: $(head -n 1 "$work/$name.err")"
        status=1
        continue
    fi
    "$tool" dump "$trace" > "$work/$name.stored.json"
    "$tool" dump "$work/$name" > "$work/$name.found.json"
    if grep -q "did not complete" "$work/$name.err"; then
        # The analysis answered 0 (it needs the long path): the trace keeps
        # the events it had, and comparing them with themselves says nothing.
        echo "$name: the analysis did not complete (it needs the long path); not compared"
        continue
    fi
    python3 - "$name" "$work/$name.stored.json" "$work/$name.found.json" <<'PY'
import json, sys

name, stored_path, found_path = sys.argv[1:4]

def block(path, wanted):
    with open(path) as f:
        for b in json.load(f)["blocks"]:
            if b["name"] == wanted:
                return b["fields"]
    return None

fixed = block(stored_path, "FxdParams")
stored = (block(stored_path, "KeyEvents") or {}).get("events", [])
found = (block(found_path, "KeyEvents") or {}).get("events", [])
spacing = fixed["DS"][0] / 10000.0                      # OWT per point
tolerance = 2 * spacing + fixed["PWU"][0] / 0.2 / 2.0  # OWT: 2 spacings + half a pulse
km_per_owt = 299792.5 / (fixed["GI"] * 1e-5) * 1e-10

def counts(e):
    reflective = e["ER"] != 0 and e["EC"][:1] not in ("0", "")
    return abs(e["EL"]) >= 100 or reflective

wanted = [e for e in stored if counts(e)]
taken = set()
missed = []
for e in wanted:
    best = None
    for i, f in enumerate(found):
        d = abs(f["EPT"] - e["EPT"])
        if i not in taken and d <= tolerance and (best is None or d < best[0]):
            best = (d, i)
    if best is None:
        missed.append(e)
    else:
        taken.add(best[1])
hits = len(wanted) - len(missed)
line = f"{name}: {hits} of {len(wanted)} stored events found, {len(found)} events in all"
if missed:
    line += "; missed at km " + ", ".join(f"{e['EPT'] * km_per_owt:.4f}" for e in missed)
print(line)
PY
done
exit $status
