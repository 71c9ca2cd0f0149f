#include "tools/tbgen/men.h"

#include "board/bitboard.h"
#include "board/position.h"

Bitboard Occupancy(const Men& p) {
  Bitboard occupied = 0;
  for (int i = 0; i < p.count; i++) occupied |= squareMask[p.man[i].square];
  return occupied;
}

static bool Slides(int type) { return type == Bishop || type == Rook || type == Queen; }

// Whether a man on `from` attacks `to` on an empty board; sliders by the line between the two
// squares, which costs one look-up where their attack sets would cost several.
static bool Reaches(int type, int side, int from, int to) {
  switch (type) {
    case Pawn: return (pawnAttacks[side][from] & squareMask[to]) != 0;
    case Knight: return (knightAttacks[from] & squareMask[to]) != 0;
    case King: return (kingAttacks[from] & squareMask[to]) != 0;
    default: break;
  }
  const int d = direction[from][to];
  if (d == 0 || type == Queen) return d != 0;
  return (d == 1 || d == -1 || d == 8 || d == -8) == (type == Rook);
}

// The four occupancies the rotated attack tables read, for the men as they stand, the man
// `leaveOut` (an index, or -1) taken off the board.
static OccupancyMasks MenOccupancy(const Men& p, int leaveOut = -1) {
  OccupancyMasks o = {0, 0, 0, 0};
  for (int i = 0; i < p.count; i++) {
    if (i == leaveOut) continue;
    const OccupancyMasks& m = occupancyMask[p.man[i].square];
    o.normal |= m.normal;
    o.r90 |= m.r90;
    o.a1h8 |= m.a1h8;
    o.h1a8 |= m.h1a8;
  }
  return o;
}

static Bitboard Attacks(const Man& m, const OccupancyMasks& o) {
  switch (m.type) {
    case Pawn: return pawnAttacks[m.side][m.square];
    case Knight: return knightAttacks[m.square];
    case Bishop: return BishopAttacks(m.square, o);
    case Rook: return RookAttacks(m.square, o);
    case Queen: return BishopAttacks(m.square, o) | RookAttacks(m.square, o);
    default: return kingAttacks[m.square];
  }
}

bool MenAttacked(const Men& p, int square, int bySide, Bitboard occupied, int ignore) {
  for (int i = 0; i < p.count; i++) {
    const Man& m = p.man[i];
    if (i == ignore || m.side != bySide || m.square == square) continue;
    if (!Reaches(m.type, m.side, m.square, square)) continue;
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

// The men stay where they were: MenAttacked looks at the enemy's alone, the captured one left out.
bool MenMoveLegal(const Men& p, const MenMove& m) {
  Bitboard occupied = (Occupancy(p) & ~squareMask[p.man[m.man].square]) | squareMask[m.to];
  // An en-passant victim does not stand on the destination: its square empties too.
  if (m.captured >= 0 && p.man[m.captured].square != m.to) occupied &= ~squareMask[p.man[m.captured].square];
  const int king = p.man[m.man].type == King ? m.to : KingSquare(p, p.toMove);
  return !MenAttacked(p, king, p.toMove ^ 1, occupied, m.captured);
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
// otherwise any man standing between its king and an enemy slider aimed at it (the only ones a
// move can expose the king by). The king's own moves are tested otherwise (KingDanger).
// `evasions` gets the squares where a man other than the king may end a move: in check, those of
// the checking man and between it and the king (none in double check), so that the test runs on
// the few moves that may be legal rather than on every one.
static Bitboard MenToTest(const Men& p, Bitboard occupied, Bitboard* evasions) {
  const int king = KingSquare(p, p.toMove);
  Bitboard pinned = 0;
  bool check = false;
  *evasions = ~Bitboard(0);
  for (int i = 0; i < p.count; i++) {
    const Man& m = p.man[i];
    if (m.side == p.toMove || !Reaches(m.type, m.side, m.square, king)) continue;
    const Bitboard line = Slides(m.type) ? betweenMask[m.square][king] : 0;
    if (line & occupied) {
      pinned |= line & occupied;
    } else {
      check = true;
      *evasions &= line | squareMask[m.square];
    }
  }
  return check ? ~Bitboard(0) : pinned;
}

// The squares the enemy attacks with the king of the side to move (man `king`) off the board, so
// that a slider checking it also covers the squares behind it: where that king may not go. One
// attack set per enemy man, where testing each of the king's moves costs a loop over every man.
static Bitboard KingDanger(const Men& p, int king) {
  const OccupancyMasks o = MenOccupancy(p, king);
  Bitboard danger = 0;
  for (int i = 0; i < p.count; i++)
    if (p.man[i].side != p.toMove) danger |= Attacks(p.man[i], o);
  return danger;
}

// The legal moves; with `quiet`, the non-capturing moves of every man but pawns go there as sets
// of destinations instead of into the list.
static int GenerateMoves(const Men& p, MenMove* list, Bitboard* quiet) {
  const OccupancyMasks o = MenOccupancy(p);
  const Bitboard occupied = o.normal;
  Bitboard evasions;
  const Bitboard toTest = MenToTest(p, occupied, &evasions);
  Bitboard enemies = 0;
  for (int i = 0; i < p.count; i++) {
    if (p.man[i].side != p.toMove && p.man[i].type != King) enemies |= squareMask[p.man[i].square];
    if (quiet) quiet[i] = 0;
  }
  int n = 0;
  for (int i = 0; i < p.count; i++) {
    const Man& m = p.man[i];
    if (m.side != p.toMove) continue;
    bool test = (toTest & squareMask[m.square]) != 0;
    if (m.type == Pawn) {
      const int step = m.side == White ? 8 : -8;
      const int one = m.square + step;
      if (!(occupied & squareMask[one])) {
        n = AddPawnMove(p, list, n, i, one, -1, test);
        const int startRank = m.side == White ? 1 : 6;
        if (RankOf(m.square) == startRank && !(occupied & squareMask[one + step]))
          n = Add(p, list, n, {i, one + step, -1, 0, true}, test);
      }
      for (Bitboard b = pawnAttacks[m.side][m.square] & enemies; b;) {
        const int to = PopLowest(b);
        n = AddPawnMove(p, list, n, i, to, ManOn(p, to), test);
      }
      continue;
    }
    Bitboard targets = Attacks(m, o);
    if (m.type == King) {
      targets &= ~KingDanger(p, i);
      test = false;
    } else {
      targets &= evasions;
    }
    Bitboard quietTargets = targets & ~occupied;
    if (test)
      for (Bitboard b = quietTargets; b;) {
        const int to = PopLowest(b);
        if (!MenMoveLegal(p, {i, to, -1, 0, false})) quietTargets &= ~squareMask[to];
      }
    if (quiet) quiet[i] = quietTargets;
    else
      for (Bitboard b = quietTargets; b;) list[n++] = {i, PopLowest(b), -1, 0, false};
    for (Bitboard b = targets & enemies; b;) {
      const int to = PopLowest(b);
      n = Add(p, list, n, {i, to, ManOn(p, to), 0, false}, test);
    }
  }
  return n;
}

int GenerateMenMoves(const Men& p, MenMove* list) { return GenerateMoves(p, list, nullptr); }

bool GenerateMenMoveSets(const Men& p, MenMoveSets* sets) {
  sets->count = GenerateMoves(p, sets->list, sets->quiet);
  bool any = sets->count > 0;
  for (int i = 0; i < p.count; i++) any |= sets->quiet[i] != 0;
  return any;
}

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

// Whether a man of `side` and `type` on `from` attacks `target` through `occupied`.
static bool AttacksFrom(int type, int side, int from, int target, Bitboard occupied) {
  if (!Reaches(type, side, from, target)) return false;
  return !Slides(type) || !(betweenMask[from][target] & occupied);
}

// An un-move is legal when, before it, the king of the side to move in `p` is not attacked. Only
// three things can attack it then: the man moved, from the square it came from; a slider whose
// one blocker on its line to the king was that man; and a man giving check now, unless the man
// moved came from a square of its line. Each is a look-up per un-move, where building the position
// before and testing it in full costs a loop over every man.
int GenerateMenUnmoves(const Men& p, MenUnmove* list) {
  const OccupancyMasks o = MenOccupancy(p);
  const Bitboard occupied = o.normal;
  const int mover = p.toMove ^ 1;
  const int king = KingSquare(p, p.toMove);
  // Per man of the mover: the squares it may have come from that leave no line open to the king.
  Bitboard keepsLines[MaxMen];
  for (int i = 0; i < p.count; i++) keepsLines[i] = ~Bitboard(0);
  for (int j = 0; j < p.count; j++) {
    const Man& a = p.man[j];
    if (a.side != mover || !Reaches(a.type, a.side, a.square, king)) continue;
    const Bitboard line = Slides(a.type) ? betweenMask[a.square][king] : 0;
    const Bitboard blockers = line & occupied;
    if (!blockers) {
      for (int i = 0; i < p.count; i++)
        if (i != j) keepsLines[i] &= line;
    } else if (!(blockers & (blockers - 1))) {
      const int blocker = ManOn(p, LowestBit(blockers));
      if (p.man[blocker].side == mover) keepsLines[blocker] &= line;
    }
  }
  int n = 0;
  auto add = [&](int man, int from, bool doubleStep) {
    const Man& m = p.man[man];
    const Bitboard before = occupied ^ squareMask[m.square] ^ squareMask[from];
    if ((keepsLines[man] & squareMask[from]) && !AttacksFrom(m.type, m.side, from, king, before))
      list[n++] = {man, from, doubleStep};
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
    for (Bitboard b = Attacks(m, o) & ~occupied; b;) add(i, PopLowest(b), false);
  }
  return n;
}

Men MenBefore(const Men& p, const MenUnmove& u) { return MenShifted(p, u.man, u.from); }
