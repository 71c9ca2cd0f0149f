#!/usr/bin/env bash
# How many deliberate faults does the test suite find? Each mutant below changes one token (or
# removes one statement) of an engine source; the engine is rebuilt incrementally and the suite
# run until its first failure. A mutant that survives is a fault the tests cannot see. A
# measuring tool for changes to the suite; ./test.sh does not run it.
#
#   tools/mutate.sh            all mutants
#   tools/mutate.sh 3 7        only mutants 3 and 7 (numbered from 1)
#
# Leaves out the GUI matches and plays a single self-play game. Sources are restored after each
# mutant, also when the script is interrupted.
set -uo pipefail
cd "$(dirname "$0")/.."
root=$PWD
dir=build-mutate
jobs=${JOBS:-2}
limit=${MUTANT_TIMEOUT:-900}

# file @@ text that must occur exactly once @@ replacement (empty: the text is removed)
mutants=$(cat <<'LIST'
board/movegen.cpp @@ Shift(pawns & notFileA, towardA) & targets @@ Shift(pawns, towardA) & targets
board/movegen.cpp @@ CastlingSquaresSafe(E1, F1, G1, enemy) @@ CastlingSquaresSafe(E1, F1, F1, enemy)
board/movegen.cpp @@ Shift(singles, up) & empty & doubleStepRank @@ Shift(singles, up) & doubleStepRank
board/movegen.cpp @@ pushOrder[3] = {Knight, Rook, Bishop} @@ pushOrder[3] = {Knight, Rook, Rook}
board/legality.cpp @@ return between && !(between & (between - 1)) ? between & pos.colourOcc[side] : 0; @@ return between ? between & pos.colourOcc[side] : 0;
board/makemove.h @@ ~4u, ~0u, ~0u, ~0u, ~12u @@ ~4u, ~0u, ~0u, ~0u, ~4u
board/makemove.h @@ if (to - from == 2 * forward) @@ if (to - from == forward)
board/makemove.h @@ pos.material += sign * pieceValue[type]; @@ pos.material -= sign * pieceValue[type];
board/makemove.h @@ rookFrom = to > from ? from + 3 : from - 4; @@ rookFrom = to > from ? from + 3 : from - 3;
board/makemove.h @@ pos.hashKey = KeyAfterMove(m, s, capSquare); @@ pos.hashKey = KeyAfterMove(m, s, to);
board/notation.cpp @@ return FindMove(candidates, from, from - 2, King); @@ return FindMove(candidates, from, from + 2, King);
board/notation.cpp @@ SquareOf(at(2), at(3)), Pawn) @@ SquareOf(at(2), at(4)), Pawn)
board/notation.cpp @@ FindMoveRank(candidates, e - '1', to, piece) @@ FindMoveRank(candidates, e - '0', to, piece)
board/notation.cpp @@ out += sprintf(out, "%cx", 'a' + FileOf(MoveFrom(m))); @@ out += sprintf(out, "%cx", 'a' + FileOf(MoveTo(m)));
board/fen.cpp @@ pos.epSquare = 40 + (p[0] - 'a'); @@ pos.epSquare = 48 + (p[0] - 'a');
board/fen.cpp @@ if (!(b[E8] == -King && b[A8] == -Rook)) @@ if (!(b[E8] == -King && b[A8] == Rook))
board/fen.cpp @@ if (empty) *out++ = char('0' + empty), empty = 0; @@ if (empty) *out++ = char('1' + empty), empty = 0;
board/fen.cpp @@ 1000 * difference(PawnSlot) @@ 100 * difference(PawnSlot)
search/hash.cpp @@ if (stamp0 == pos.ttAge && depth <= depth0) { @@ if (stamp0 == pos.ttAge && depth < depth0) {
search/hash.cpp @@ if (x3 < (1 << b)) { @@ if (x3 <= (1 << b)) {
search/hash.h @@ if (int(e->keyStamp >> 51) < depth) return false; @@ if (int(e->keyStamp >> 51) <= depth) return false;
search/search.cpp @@ if (n.best >= n.beta) { @@ if (n.best > n.beta) {
search/search.cpp @@ if (depth < OnePly || ply >= MaxSearchPly - 2) @@ if (depth <= OnePly || ply >= MaxSearchPly - 2)
search/search.cpp @@ if (s < MatedBelow) n.depth = depth += MateThreatExtension; @@ if (s > MatedBelow) n.depth = depth += MateThreatExtension;
search/search.cpp @@ if (o == Outcome::NoEvasion) return -MateValue + 10 * ply; @@ if (o == Outcome::NoEvasion) return -MateValue - 10 * ply;
search/quiesce.cpp @@ if (standPat >= beta) return beta; @@ if (standPat > beta) return beta;
book/probe.cpp @@ if (wins > 1) bookScores[i] += wins; @@ if (wins > 0) bookScores[i] += wins;
book/probe.cpp @@ bookScores[i] <= CandidateFloor) @@ bookScores[i] < CandidateFloor)
board/littleendian.h @@ for (int i = 0; i < bytes; i++) value |= @@ for (int i = 0; i + 1 < bytes; i++) value |=
book/builder.cpp @@ AddCount(result == 1 ? r.whiteWins @@ AddCount(result == 1 ? r.blackWins
book/builder.cpp @@ count = uint16_t(sum > MaxCount ? MaxCount : sum); @@ count = uint16_t(sum);
book/pgn.cpp @@ if (--depth == 0) { @@ if (--depth == 1) {
book/master.cpp @@ m.mark = int8_t(s[1] == '!' ? 3 : @@ m.mark = int8_t(s[1] == '!' ? 2 :
book/master.cpp @@ if (memcmp(&n->move, &m, sizeof m) == 0) return n; @@ if (memcmp(&n->move, &m, sizeof m) != 0) return n;
book/master.cpp @@ if (getc(file) == 0) break; @@ if (getc(file) != 0) break;
book/master.cpp @@ node.fromRank == RankOf(MoveFrom(m)) + 1) @@ node.fromRank == RankOf(MoveFrom(m)) + 2)
shell/interpreter.cpp @@ (n / 6) * 10 @@ (n / 5) * 10
shell/interpreter.cpp @@ Wrap(int64_t(minutes) * 60) @@ Wrap(int64_t(minutes) * 6)
shell/interpreter.cpp @@ if (halfMoves == 1) interpreter.sideToMove ^= 1; @@ if (halfMoves == 2) interpreter.sideToMove ^= 1;
board/notation.h @@ return c >= '1' && c <= '8'; @@ return c >= '1' && c <= '7';
shell/interpreter.cpp @@ thinkResult.score == 0 ? "I accept\n" @@ thinkResult.score != 0 ? "I accept\n"
LIST
)

backup=$(mktemp -d)
current=""
# A fresh time stamp on the restored file, or make would keep the mutant's object file.
restore() {
  [ -n "$current" ] && cp "$backup/file" "$root/$current"
  current=""
}
trap 'restore; rm -rf "$backup"' EXIT
trap 'exit 130' INT TERM

apply() {  # file original replacement: replaces the one occurrence, or fails
  python3 - "$@" <<'PY'
import sys
path, old, new = sys.argv[1:4]
text = open(path).read()
if text.count(old) != 1:
    sys.exit(f"{path}: {text.count(old)} occurrences of: {old}")
open(path, "w").write(text.replace(old, new))
PY
}

# The suite, cheapest and most telling parts first, stopping at the first failure.
run_suite() {
  (cd "$dir" && timeout "$limit" ./tests/ostrel-tests --gtest_brief=1 --gtest_fail_fast \
      --gtest_filter=-SelfPlay.XboardGamesAreLegalToTheEnd >/dev/null 2>&1) || return 1
  (cd "$dir" && timeout "$limit" ./ostrel-bench --depth 6 2>/dev/null | grep -q '^nodes 1995801$') || return 1
  (cd "$dir" && OSTREL_SELFPLAY_GAMES=1 timeout "$limit" ./tests/ostrel-tests --gtest_brief=1 \
      --gtest_filter=SelfPlay.XboardGamesAreLegalToTheEnd >/dev/null 2>&1) || return 1
}

cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=Release -DOSTREL_NATIVE=OFF >/dev/null
nice cmake --build "$dir" -j "$jobs" >/dev/null || { echo "the unmutated build fails"; exit 1; }
if ! run_suite; then echo "the unmutated suite fails"; exit 1; fi

selected=" $* "
number=0 killed=0 survived=0 broken=0
# The list comes in on descriptor 3: the suite must not read it from standard input.
while IFS= read -r entry <&3; do
  number=$((number + 1))
  [ $# -gt 0 ] && [[ "$selected" != *" $number "* ]] && continue
  file=${entry%% @@ *}
  rest=${entry#* @@ }
  original=${rest%% @@*}
  replacement=${rest#* @@ }
  [ "$replacement" = "$rest" ] && replacement=""
  cp -p "$file" "$backup/file"
  current=$file
  if ! apply "$file" "$original" "$replacement"; then
    restore
    echo "#$number BROKEN (text not found) $file"
    broken=$((broken + 1))
    continue
  fi
  start=$SECONDS
  if ! nice cmake --build "$dir" -j "$jobs" >/dev/null 2>&1; then
    verdict="BROKEN (does not build)"
    broken=$((broken + 1))
  elif run_suite; then
    verdict=SURVIVED
    survived=$((survived + 1))
  else
    verdict=killed
    killed=$((killed + 1))
  fi
  restore
  echo "#$number $verdict $((SECONDS - start))s $file: $original"
done 3<<<"$mutants"
# Rebuild the restored sources so that the build directory matches them again.
nice cmake --build "$dir" -j "$jobs" >/dev/null 2>&1
echo "mutants killed: $killed of $((killed + survived)) (survived $survived, broken $broken)"
