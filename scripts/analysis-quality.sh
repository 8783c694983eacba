#!/bin/sh
# Measures the automatic analysis on the simulator's scenario library: every
# scenario at 1310 and 1550 nm, both directions, seeds 1 to 20, through
# `fibertest synth`, `fibertest analyze -o` and `fibertest evaluate --json`;
# then prints the figures per scenario and overall against the targets.
#
#   scripts/analysis-quality.sh [--tool PATH] [--seeds N] [--jobs N] [--keep DIR]
#
#   --tool PATH   the fibertest program (default build/default/tools/fibertest/fibertest)
#   --seeds N     seeds 1 to N (default 20)
#   --jobs N      shots run side by side (default 2)
#   --keep DIR    keep the traces and the evaluations in DIR
#
# Exit status 0 when every target is met, 1 when one is missed, 2 on a usage
# error or when the tool fails. Run by hand; `make test` does not run it.
set -eu

root=$(cd "$(dirname "$0")/.." && pwd)
tool="$root/build/default/tools/fibertest/fibertest"
seeds=20
jobs=2
keep=""

while [ $# -gt 0 ]; do
    case "$1" in
        --tool) tool="$2"; shift 2 ;;
        --seeds) seeds="$2"; shift 2 ;;
        --jobs) jobs="$2"; shift 2 ;;
        --keep) keep="$2"; shift 2 ;;
        -h|--help) sed -n '2,15p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
        *) echo "analysis-quality.sh: unknown option '$1'" >&2; exit 2 ;;
    esac
done
case "$seeds$jobs" in
    *[!0-9]*|"") echo "analysis-quality.sh: --seeds and --jobs need whole numbers" >&2; exit 2 ;;
esac
if [ ! -x "$tool" ]; then
    echo "analysis-quality.sh: no fibertest program at '$tool' (build it, or give --tool)" >&2
    exit 2
fi
command -v python3 >/dev/null || { echo "analysis-quality.sh: python3 is needed for the table" >&2; exit 2; }

if [ -n "$keep" ]; then
    mkdir -p "$keep"
    work=$(cd "$keep" && pwd)
else
    work=$(mktemp -d "${TMPDIR:-/tmp}/analysis-quality.XXXXXX")
    trap 'rm -rf "$work"' EXIT INT TERM
fi

# One line a shot: scenario wavelength direction seed.
for scenario in "$root"/tests/data/scenarios/*.json; do
    name=$(basename "$scenario" .json)
    for nm in 1310 1550; do
        for direction in forward backward; do
            seed=1
            while [ "$seed" -le "$seeds" ]; do
                echo "$name $nm $direction $seed"
                seed=$((seed + 1))
            done
        done
    done
done > "$work/shots.txt"

# synth, analyze, evaluate for one shot; a failing step leaves a .fail file naming it.
export tool work root keep
one_shot='
    set -u
    name=$1 nm=$2 direction=$3 seed=$4
    base="$work/$name-$nm-$direction-$seed"
    "$tool" synth "$root/tests/data/scenarios/$name.json" -o "$base.sor" --truth "$base.truth.json" \
        --seed "$seed" --wavelength "$nm" --direction "$direction" 2>"$base.err" \
        || { echo synth >"$base.fail"; exit 0; }
    "$tool" analyze "$base.sor" -o "$base.analysed.sor" >/dev/null 2>>"$base.err" \
        || { echo analyze >"$base.fail"; exit 0; }
    "$tool" evaluate "$base.truth.json" "$base.analysed.sor" --json >"$base.eval.json" 2>>"$base.err" \
        || { echo evaluate >"$base.fail"; exit 0; }
    [ -n "$keep" ] || rm -f "$base.sor" "$base.analysed.sor"
'
started=$(date +%s)
xargs -P "$jobs" -L 1 sh -c "$one_shot" shot <"$work/shots.txt"
elapsed=$(( $(date +%s) - started ))

python3 - "$work" "$elapsed" <<'EOF'
import json, os, sys

work, elapsed = sys.argv[1], int(sys.argv[2])

def p95(values):
    """Nearest-rank 95th percentile of the absolute values."""
    if not values:
        return None
    v = sorted(abs(x) for x in values)
    return v[(95 * len(v) + 99) // 100 - 1]

class Tally:
    def __init__(self):
        self.runs = self.failed = self.detectable = self.hits = self.false = 0
        self.beyond = self.end_ok = self.refl_missing = self.refl_saturated = 0
        self.loc = []       # location error over the tolerance
        self.loc_m = []
        self.tol_m = set()
        self.loss = []
        self.refl = []
        self.failures = []

    def add(self, e):
        self.runs += 1
        self.detectable += e["detectable"]
        self.hits += e["hits"]
        self.false += e["false"]
        self.beyond += e["beyond_end"]
        self.refl_missing += e["reflectance_missing"]
        self.refl_saturated += e["reflectance_saturated"]
        self.end_ok += 1 if e["end"]["within_tolerance"] else 0
        tol = e["tolerance_km"]
        self.tol_m.add(round(tol * 1000, 2))
        for t in e["true"]:
            if t["location_error_km"] is not None:
                self.loc.append(t["location_error_km"] / tol)
                self.loc_m.append(t["location_error_km"] * 1000)
            if t["loss_error_dB"] is not None:
                self.loss.append(t["loss_error_dB"])
            if t["reflectance_error_dB"] is not None:
                self.refl.append(t["reflectance_error_dB"])

    def merge(self, o):
        for k in ("runs", "failed", "detectable", "hits", "false", "beyond", "end_ok", "refl_missing", "refl_saturated"):
            setattr(self, k, getattr(self, k) + getattr(o, k))
        self.loc += o.loc; self.loc_m += o.loc_m; self.loss += o.loss; self.refl += o.refl
        self.tol_m |= o.tol_m; self.failures += o.failures

    def figures(self):
        recall = self.hits / self.detectable if self.detectable else None
        precision = self.hits / (self.hits + self.false) if self.hits + self.false else None
        return recall, precision, p95(self.loc), p95(self.loss), p95(self.refl)

    def met(self):
        recall, precision, loc, loss, refl = self.figures()
        return {
            "recall": recall is None or recall >= 0.95,
            "precision": precision is None or precision >= 0.95,
            "location": loc is None or loc <= 1.0,
            "loss": loss is None or loss <= 0.05,
            "reflectance": refl is None or refl <= 2.0,
            "end": self.end_ok == self.runs and self.failed == 0,
            "beyond": self.beyond == 0,
        }

scenarios = {}
for line in open(os.path.join(work, "shots.txt")):
    name, nm, direction, seed = line.split()
    base = os.path.join(work, f"{name}-{nm}-{direction}-{seed}")
    tally = scenarios.setdefault(name, Tally())
    if os.path.exists(base + ".fail"):
        tally.failed += 1
        tally.runs += 1
        step = open(base + ".fail").read().strip()
        err = open(base + ".err").read().strip().splitlines()
        tally.failures.append(f"{name} {nm} nm {direction} seed {seed}: {step} failed"
                              + (f": {err[-1]}" if err else ""))
        continue
    tally.add(json.load(open(base + ".eval.json")))

def cell(text, ok, width):
    return text.rjust(width) + (" " if ok else "*")

def fixed(x, fmt, scale=1.0):
    return "-" if x is None else format(x * scale, fmt)

columns = [("scenario", 24), ("runs", 5), ("recall %", 9), ("precision %", 12), ("loc p95 m", 10),
           ("tol m", 6), ("loss p95 dB", 12), ("refl p95 dB", 12), ("end ok", 8), ("beyond", 7)]
header = "".join(name.ljust(w) if i == 0 else name.rjust(w) + " " for i, (name, w) in enumerate(columns))
print(header)
print("-" * len(header))
overall = Tally()
def row(name, t):
    recall, precision, loc, loss, refl = t.figures()
    m = t.met()
    tol = f"{min(t.tol_m):.2f}" if t.tol_m else "-"
    print(name.ljust(24) + cell(str(t.runs), True, 5)
          + cell(fixed(recall, ".1f", 100), m["recall"], 9)
          + cell(fixed(precision, ".1f", 100), m["precision"], 12)
          + cell(fixed(p95(t.loc_m), ".2f"), m["location"], 10)
          + cell(tol, True, 6)
          + cell(fixed(loss, ".3f"), m["loss"], 12)
          + cell(fixed(refl, ".2f"), m["reflectance"], 12)
          + cell(f"{t.end_ok}/{t.runs}", m["end"], 8)
          + cell(str(t.beyond), m["beyond"], 7))
for name in sorted(scenarios):
    row(name, scenarios[name])
    overall.merge(scenarios[name])
print("-" * len(header))
row("overall", overall)
print()
print("Targets: recall and precision >= 95 %, location p95 within the tolerance (2 spacings + half a pulse),")
print("loss p95 <= 0.05 dB (events >= 0.2 dB, 15 dB over the noise), reflectance p95 <= 2 dB, the end found")
print("within the tolerance in every run, no event beyond it. '*' marks a missed target; tol m is the")
print("smallest tolerance of the scenario, and the location target is checked against each run's own.")
print(f"{overall.runs} shots ({overall.detectable} detectable events, {overall.hits} found, {overall.false} false, "
      f"{overall.refl_missing} reflective reported non-reflective, "
      f"{overall.refl_saturated} saturated peaks kept out of the reflectance errors) in {elapsed} s.")
for f in overall.failures[:20]:
    print("failed:", f)
if len(overall.failures) > 20:
    print(f"... and {len(overall.failures) - 20} more failures")
sys.exit(0 if all(overall.met().values()) and all(all(t.met().values()) for t in scenarios.values()) else 1)
EOF
