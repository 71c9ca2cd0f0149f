#include "tools/tbgen/men.h"

#include "board/bitboard.h"

Bitboard Occupancy(const Men& p) {
  Bitboard occupied = 0;
  for (int i = 0; i < p.count; i++) occupied |= squareMask[p.man[i].square];
  return occupied;
}

// Squares a man attacks on an empty board; sliders are then cut by betweenMask.
static Bitboard EmptyBoardAttacks(int type, int side, int square) {
  switch (type) {
    case Pawn: return pawnAttacks[side][square];
    case Knight: return knightAttacks[square];
    case King: return kingAttacks[square];
    default: break;
  }
  Bitboard b = 0;
  if (type != Bishop) b |= rankAttacks[square][0] | fileAttacks[square][0];
  if (type != Rook) b |= diagonalAttacks[square].attacksA1H8[0] | diagonalAttacks[square].attacksH1A8[0];
  return b;
}

static bool Slides(int type) { return type == Bishop || type == Rook || type == Queen; }

static Bitboard Attacks(const Man& m, Bitboard occupied) {
  Bitboard targets = EmptyBoardAttacks(m.type, m.side, m.square);
  if (!Slides(m.type)) return targets;
  Bitboard reached = 0;
  for (Bitboard b = targets; b;) {
    const int to = PopLowest(b);
    if (!(betweenMask[m.square][to] & occupied)) reached |= squareMask[to];
  }
  return reached;
}

bool MenAttacked(const Men& p, int square, int bySide, Bitboard occupied, int ignore) {
  for (int i = 0; i < p.count; i++) {
    const Man& m = p.man[i];
    if (i == ignore || m.side != bySide || m.square == square) continue;
    if (!(EmptyBoardAttacks(m.type, m.side, m.square) & squareMask[square])) continue;
    if (!Slides(m.type) || !(betweenMask[m.square][square] & occupied)) return true;
  }
  return false;
}

static int KingSquare(const Men& p, int side) { return p.man[side == White ? 0 : 1].square; }

bool MenIllegal(const Men& p) {
  const int other = p.toMove ^ 1;
  return MenAttacked(p, KingSquare(p, other), p.toMove, Occupancy(p));
}

bool MenInCheck(const Men& p) { return MenAttacked(p, KingSquare(p, p.toMove), p.toMove ^ 1, Occupancy(p)); }

bool MenMoveLegal(const Men& p, const MenMove& m) {
  Men after = p;
  after.man[m.man].square = m.to;
  Bitboard occupied = Occupancy(after);
  // An en-passant victim does not stand on the destination: its square empties too.
  if (m.captured >= 0 && p.man[m.captured].square != m.to) occupied &= ~squareMask[p.man[m.captured].square];
  return !MenAttacked(after, KingSquare(after, p.toMove), p.toMove ^ 1, occupied, m.captured);
}

static int ManOn(const Men& p, int square) {
  for (int i = 0; i < p.count; i++)
    if (p.man[i].square == square) return i;
  return -1;
}

// `test` asks for the legality test of the move before it is added.
static int Add(const Men& p, MenMove* list, int n, MenMove m, bool test) {
  if (!test || MenMoveLegal(p, m)) list[n++] = m;
  return n;
}

// A pawn move to the last rank comes once per promotion type.
static int AddPawnMove(const Men& p, MenMove* list, int n, int man, int to, int captured, bool test) {
  if (RankOf(to) != 0 && RankOf(to) != 7) return Add(p, list, n, {man, to, captured, 0, false}, test);
  for (int type = Queen; type >= Knight; type--) n = Add(p, list, n, {man, to, captured, type, false}, test);
  return n;
}

// The squares of the side to move's men whose moves need the legality test: all of them in check;
// otherwise the king and any man standing between it and an enemy slider aimed at it (the only
// ones a move can expose the king by).
static Bitboard MenToTest(const Men& p, Bitboard occupied) {
  const int king = KingSquare(p, p.toMove);
  if (MenAttacked(p, king, p.toMove ^ 1, occupied)) return ~Bitboard(0);
  Bitboard test = squareMask[king];
  for (int i = 0; i < p.count; i++) {
    const Man& m = p.man[i];
    if (m.side != p.toMove && Slides(m.type) && (EmptyBoardAttacks(m.type, m.side, m.square) & squareMask[king]))
      test |= betweenMask[m.square][king] & occupied;
  }
  return test;
}

static int GenerateMoves(const Men& p, MenMove* list, bool legal) {
  const Bitboard occupied = Occupancy(p);
  const Bitboard toTest = legal ? MenToTest(p, occupied) : 0;
  int n = 0;
  for (int i = 0; i < p.count; i++) {
    const Man& m = p.man[i];
    if (m.side != p.toMove) continue;
    const bool test = (toTest & squareMask[m.square]) != 0;
    if (m.type == Pawn) {
      const int step = m.side == White ? 8 : -8;
      const int one = m.square + step;
      if (!(occupied & squareMask[one])) {
        n = AddPawnMove(p, list, n, i, one, -1, test);
        const int startRank = m.side == White ? 1 : 6;
        if (RankOf(m.square) == startRank && !(occupied & squareMask[one + step]))
          n = Add(p, list, n, {i, one + step, -1, 0, true}, test);
      }
      for (Bitboard b = pawnAttacks[m.side][m.square] & occupied; b;) {
        const int to = PopLowest(b);
        const int victim = ManOn(p, to);
        if (p.man[victim].side != m.side) n = AddPawnMove(p, list, n, i, to, victim, test);
      }
      continue;
    }
    for (Bitboard b = Attacks(m, occupied); b;) {
      const int to = PopLowest(b);
      const int victim = ManOn(p, to);
      if (victim < 0) n = Add(p, list, n, {i, to, -1, 0, false}, test);
      else if (p.man[victim].side != m.side && p.man[victim].type != King)
        n = Add(p, list, n, {i, to, victim, 0, false}, test);
    }
  }
  return n;
}

int GenerateMenMoves(const Men& p, MenMove* list) { return GenerateMoves(p, list, true); }
int GeneratePseudoMenMoves(const Men& p, MenMove* list) { return GenerateMoves(p, list, false); }

int GenerateMenEpCaptures(const Men& p, int epSquare, MenMove* list) {
  const int victimSquare = epSquare + (p.toMove == White ? -8 : 8);
  const int victim = ManOn(p, victimSquare);
  int n = 0;
  for (int i = 0; i < p.count; i++) {
    const Man& m = p.man[i];
    if (m.side == p.toMove && m.type == Pawn && (pawnAttacks[m.side][m.square] & squareMask[epSquare]))
      n = Add(p, list, n, {i, epSquare, victim, 0, false}, true);
  }
  return n;
}

// The men with one of them on another square and the other side to move: a move forwards or back.
static Men MenShifted(const Men& p, int man, int square) {
  Men shifted = p;
  shifted.man[man].square = square;
  shifted.toMove ^= 1;
  return shifted;
}

Men MenAfter(const Men& p, const MenMove& m) { return MenShifted(p, m.man, m.to); }

int EpRightAfter(const Men& p, const MenMove& m) {
  if (!m.doubleStep) return -1;
  const Man& pawn = p.man[m.man];
  for (int i = 0; i < p.count; i++) {
    const Man& o = p.man[i];
    if (o.type == Pawn && o.side != pawn.side && RankOf(o.square) == RankOf(m.to) &&
        (FileOf(o.square) == FileOf(m.to) - 1 || FileOf(o.square) == FileOf(m.to) + 1))
      return (pawn.square + m.to) / 2;
  }
  return -1;
}

int GenerateMenUnmoves(const Men& p, MenUnmove* list) {
  const Bitboard occupied = Occupancy(p);
  const int mover = p.toMove ^ 1;
  int n = 0;
  auto add = [&](int man, int from, bool doubleStep) {
    Men before = MenBefore(p, {man, from, doubleStep});
    if (!MenIllegal(before)) list[n++] = {man, from, doubleStep};
  };
  for (int i = 0; i < p.count; i++) {
    const Man& m = p.man[i];
    if (m.side != mover) continue;
    if (m.type == Pawn) {
      const int step = m.side == White ? -8 : 8;
      const int one = m.square + step;
      const int lowest = m.side == White ? 1 : 6;  // the pawn's first rank
      if ((occupied & squareMask[one]) || (m.side == White ? RankOf(one) < lowest : RankOf(one) > lowest)) continue;
      add(i, one, false);
      const int fourth = m.side == White ? 3 : 4;
      if (RankOf(m.square) == fourth && !(occupied & squareMask[one + step])) add(i, one + step, true);
      continue;
    }
    for (Bitboard b = Attacks(m, occupied) & ~occupied; b;) add(i, PopLowest(b), false);
  }
  return n;
}

Men MenBefore(const Men& p, const MenUnmove& u) { return MenShifted(p, u.man, u.from); }
