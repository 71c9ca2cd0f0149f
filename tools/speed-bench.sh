#!/usr/bin/env bash
# Search speed of two builds side by side: ostrel-bench of each, run in turn for several rounds
# (hyperfine, one run of each per round, so that a change in the machine's load falls on both),
# then nodes/s from the fastest and the median run, by the clock and by processor time, and the
# second build's ratio to the first. Both must give the same node count. Not part of test.sh.
#
#   tools/speed-bench.sh BASE_BENCH NEW_BENCH [DEPTH [ROUNDS]]   (depth 8 and 10 rounds by default)
#
# e.g. tools/speed-bench.sh /tmp/main/build/ostrel-bench build/ostrel-bench
# Needs hyperfine and jq (Debian packages of the same names).
set -euo pipefail
if [ $# -lt 2 ]; then
  sed -n '7p' "$0"
  exit 2
fi
base=$1 new=$2 depth=${3:-8} rounds=${4:-10}
for tool in hyperfine jq; do
  command -v "$tool" >/dev/null || { echo "speed-bench: $tool is missing" >&2; exit 2; }
done

nodes() { "$1" --depth "$depth" | awk '/^nodes /{print $2}'; }
base_nodes=$(nodes "$base")
new_nodes=$(nodes "$new")
if [ "$base_nodes" != "$new_nodes" ]; then
  echo "speed-bench: node counts differ: $base_nodes against $new_nodes" >&2
  exit 1
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
for round in $(seq "$rounds"); do
  hyperfine -N -r 1 --style none --export-json "$work/$round.json" \
    "$base --depth $depth" "$new --depth $depth" >/dev/null
done

# One line per build: the wall and user times of every run, from every round.
summary() {
  jq -s -r --argjson i "$1" '[.[].results[$i]] | [map(.times[0]), map(.user)] | map(sort) |
    map([.[0], .[(length - 1) / 2 | floor]]) | flatten | @tsv' "$work"/*.json
}
read -r base_wall_min base_wall_med base_user_min base_user_med < <(summary 0)
read -r new_wall_min new_wall_med new_user_min new_user_med < <(summary 1)

awk -v n="$base_nodes" -v d="$depth" -v r="$rounds" \
    -v bw="$base_wall_min" -v bm="$base_wall_med" -v bu="$base_user_min" -v bum="$base_user_med" \
    -v nw="$new_wall_min" -v nm="$new_wall_med" -v nu="$new_user_min" -v num="$new_user_med" 'BEGIN {
  printf "depth %d, %d rounds, nodes %d in both\n", d, r, n
  printf "%-10s %14s %14s %14s %14s\n", "nodes/s", "clock best", "clock median", "cpu best", "cpu median"
  printf "%-10s %14.0f %14.0f %14.0f %14.0f\n", "base", n / bw, n / bm, n / bu, n / bum
  printf "%-10s %14.0f %14.0f %14.0f %14.0f\n", "new", n / nw, n / nm, n / nu, n / num
  printf "%-10s %14.3f %14.3f %14.3f %14.3f\n", "ratio", bw / nw, bm / nm, bu / nu, bum / num
}'
