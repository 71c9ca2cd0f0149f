#!/usr/bin/env bash
# Debian's xboard, on a virtual X display, plays a short match with Ostrel, started the way a user
# would start it, and the games it saves must have been played to a finish:
#   xboard_match.sh ENGINE self       two Ostrel instances at a fixed depth, one game each way
#   xboard_match.sh ENGINE fairymax   Ostrel against Fairy-Max on the clock
# Exits 77 (skipped) when xboard, xvfb-run or the opponent is not installed, except under CI,
# where tools/install-deps.sh has installed them and their absence is a fault.
set -u
engine=$1
opponent=${2:-self}

xboard=$(command -v xboard || echo /usr/games/xboard)
fairymax=$(command -v fairymax || echo /usr/games/fairymax)
if [ ! -x "$xboard" ] || ! command -v xvfb-run >/dev/null; then
  echo "xboard or xvfb-run is not installed (tools/install-deps.sh installs them): skipped"
  [ -n "${CI:-}" ] && exit 1
  exit 77
fi

work=$(mktemp -d "${TMPDIR:-/tmp}/ostrel-xboard-XXXXXX")
trap 'rm -rf "$work"' EXIT
mkdir "$work/first" "$work/second"
# xboard keeps its settings in the home directory: never touch the developer's.
export HOME=$work

case $opponent in
  self)
    second=$engine
    games=2
    # A depth limit keeps the games quick; xboard's clocks run all the same and must not fall.
    settings=(-tc 1 -inc 1 -depth 5 -adjudicateDrawMoves 80)
    ;;
  fairymax)
    if [ ! -x "$fairymax" ]; then
      echo "fairymax is not installed: skipped"
      [ -n "${CI:-}" ] && exit 1
      exit 77
    fi
    second=$fairymax
    games=1
    # Sudden death with an increment: Ostrel's own time control decides every move.
    settings=(-tc 0:06 -inc 0.5 -adjudicateDrawMoves 40)
    ;;
  *)
    echo "unknown opponent $opponent"
    exit 2
    ;;
esac

# -xexit: report the end of the match on standard error and exit, rather than wait in a dialog.
timeout 240 xvfb-run -a "$xboard" \
  -fcp "$engine" -fd "$work/first" -scp "$second" -sd "$work/second" \
  "${settings[@]}" -mg "$games" -autoflag -xexit -saveSettingsOnExit false \
  -sgf "$work/games.pgn" -debug -debugfile "$work/xboard.debug" >"$work/xboard.out" 2>&1
status=$?

fail() {
  echo "FAILED: $*"
  echo "--- xboard's messages"
  grep -v -e '^ALSA' -e '^aplay' "$work/xboard.out" | tail -20
  echo "--- saved games"
  cat "$work/games.pgn" 2>/dev/null
  echo "--- end of xboard's log"
  tail -60 "$work/xboard.debug" 2>/dev/null
  exit 1
}

[ "$status" -eq 0 ] || fail "xboard exited with status $status (124: still running after 240 s)"
[ -s "$work/games.pgn" ] || fail "no game was saved"

# Each game ends in "{how it ended} RESULT"; the comment may be broken over lines.
endings=$(tr '\n' ' ' <"$work/games.pgn" | grep -o '{[^{}]*} *\(1-0\|0-1\|1/2-1/2\|\*\)')
printf '%s\n' "$endings"
finished=$(printf '%s\n' "$endings" | grep -c -e '1-0$' -e '0-1$' -e '1/2-1/2$')
[ "$finished" -eq "$games" ] || fail "$finished of $games games finished"
# A loss on time, an illegal move, a false claim or a crash is a finished game but a faulty one.
if printf '%s\n' "$endings" | grep -i -e 'time' -e 'illegal' -e 'false' -e 'claim' -e 'exit' -e 'crash'; then
  fail "a game ended by a fault"
fi
echo "$games games finished"
