#!/usr/bin/env bash
# Perft speed against its yardsticks, measured side by side: ostrel-perft visiting every leaf
# against polyglot's perft, and ostrel-perft --bulk against Stockfish's `go perft` (which counts
# the last ply in bulk too). Each round runs every command of a pair once through hyperfine, so
# a loaded machine slows both alike; the table gives the minimum and median over the rounds of
# the wall time and of the processor time, and how many times faster Ostrel is (yardstick /
# Ostrel, by median). Polyglot's perft runs every depth up to the one asked for, as its users
# see it; Stockfish's figure includes its start-up, shown on its own line for reference.
# Measurement only, not part of ./test.sh: needs hyperfine, polyglot and stockfish (Debian).
#
#   tools/speed.sh [BUILD_DIR] [ROUNDS]        defaults: build 5
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
rounds=${2:-5}
perft=$(realpath "$build/ostrel-perft")
export PATH=$PATH:/usr/games
for tool in hyperfine polyglot stockfish python3; do
  command -v $tool > /dev/null || { echo "speed.sh needs $tool"; exit 1; }
done

start='rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1'
kiwipete='r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1'
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# pair NAME OSTREL_COMMAND YARDSTICK_COMMAND: one JSON file per round.
pair() {
  local name=$1
  for round in $(seq "$rounds"); do
    # Ostrel's start-up alone is too short for hyperfine's liking; the warning says nothing here.
    nice hyperfine --runs 1 --style none --export-json "$work/$name.$round.json" -n ostrel "$2" -n yardstick "$3" \
      2>&1 > /dev/null | { grep -v -e 'less than 5 ms' -e 'calibrate' -e '^ *$' || true; } >&2
  done
}

stockfish_perft() { echo "printf 'position fen $1\\ngo perft $2\\nquit\\n' | stockfish > /dev/null"; }

pair start6 "$perft '$start' 6" "polyglot perft -max-depth 6"
pair kiwipete5 "$perft '$kiwipete' 5" "polyglot perft -fen '$kiwipete' -max-depth 5"
pair start6bulk "$perft '$start' 6 --bulk" "$(stockfish_perft "$start" 6)"
pair kiwipete5bulk "$perft '$kiwipete' 5 --bulk" "$(stockfish_perft "$kiwipete" 5)"
pair startup "$perft '$start' 1" "$(stockfish_perft "$start" 1)"

python3 - "$work" "$rounds" <<'EOF'
import json, statistics, sys
work, rounds = sys.argv[1], int(sys.argv[2])
rows = [("start6", "start d6, every leaf", "polyglot"), ("kiwipete5", "Kiwipete d5, every leaf", "polyglot"),
        ("start6bulk", "start d6, --bulk", "stockfish"), ("kiwipete5bulk", "Kiwipete d5, --bulk", "stockfish"),
        ("startup", "start-up (depth 1)", "stockfish")]
print(f"{'':24} {'':9} {'wall min/median s':>19} {'cpu min/median s':>18}   times faster (wall, cpu)")
for key, label, yardstick in rows:
    times = {"ostrel": ([], []), "yardstick": ([], [])}
    for r in range(1, rounds + 1):
        for result in json.load(open(f"{work}/{key}.{r}.json"))["results"]:
            times[result["command"]][0].append(result["times"][0])
            times[result["command"]][1].append(result["user"] + result["system"])
    medians = {}
    for who, name in (("ostrel", "ostrel"), ("yardstick", yardstick)):
        wall, cpu = times[who]
        medians[who] = (statistics.median(wall), statistics.median(cpu))
        first = label if who == "ostrel" else ""
        print(f"{first:24} {name:9} {min(wall):8.3f} {medians[who][0]:8.3f}   {min(cpu):7.3f} {medians[who][1]:8.3f}", end="")
        print("" if who == "ostrel" else
              f"   {medians['yardstick'][0] / medians['ostrel'][0]:5.2f} {medians['yardstick'][1] / medians['ostrel'][1]:5.2f}")
EOF
