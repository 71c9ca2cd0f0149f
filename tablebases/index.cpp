// Index functions of the endgame tables and their inverse.
//
// Layout of one side of one table. Roles are those of the side to move (stm) and the side not to
// move (sntm); the board is the real one with the stronger side as White (the probe's invert flag
// turns a board with the stronger side as Black upside down first), turned upside down again for
// Black to move, so that the side to move's pawns always go up (the table's board).
//
//  1. King pairs. Without pawns the stm king is brought into the triangle a1-d1-d4 by one of the
//     eight board symmetries, and when it stands on the a1-d4 diagonal the sntm king into the half
//     file >= rank: 462 pairs. With pawns only the file mirror applies (stm king on files a-d):
//     1806 pairs. Pairs are numbered stm king major, both kings in ascending square order, and
//     each pair owns one contiguous subrange of the zone.
//  2. Men. Like men of one type and colour form one group, placed as a set of k of its q
//     available squares and ranked co-lexicographically (r = sum of C(position_j, j)). Within a
//     pair the groups form a mixed-radix number, the first most significant: larger groups first,
//     ties in queen-rook-bishop-knight-pawn order, all stm groups before the sntm groups.
//  3. Available squares (they fix the sizes):
//     - an stm man: its domain (pawns: ranks 2-7) less both king squares and the squares from
//       which it would give the sntm king a check no man could block (queen: adjacent squares;
//       rook: orthogonally adjacent; bishop: diagonally adjacent; knight: knight squares; pawn:
//       the squares from which it attacks). Other stm men are ignored, so two stm men of
//       different types may share a square: such indices are broken.
//     - sntm pawns: the pawn squares less the stm pawns, or, when the stm side has only its king,
//       less the king squares. They are ranked on their own side's board, where they go up: the
//       table's board turned over.
//     - sntm pieces: every square not taken by a king, an stm man, an sntm pawn or an sntm piece
//       of an earlier group.
//  4. En passant (pawns on both sides): a second zone after the whole main zone, again one
//     subrange per king pair in the same order. The sntm pawn that has just made a double step and
//     the stm pawn beside it that can take it are one of 14 placements, the least significant
//     digit; the two squares it passed over are kept empty. Other pawns avoid these four squares,
//     sntm pieces avoid them too, stm pieces are placed as in the main zone. A position with an
//     e.p. square is indexed in this zone whenever an stm pawn stands beside the pawn that moved
//     (whether or not taking is legal); otherwise, and always in the main zone, no e.p. right.
//     With capturers on both sides the left one is the capturer; the right placement's entries
//     with an stm pawn on the left are broken (the published broken counts of kppkp say so).
//  5. Trimming: the published counts end at the last index that stands for a position; the
//     broken indices after it are cut off. The index functions need not know: every legal
//     position indexes below the count.
//
// Choices the published description leaves open, made here and kept:
//  - King pairs ascend by square (stm king first), the order that ends with d4/h8 and d8/h8.
//  - Black-to-move sides are read on the board turned upside down, and each side's pawns are
//    ranked on the board where they go up. Both are proven by the one published check: the seven
//    kppkp positions with Black to move that are lost in 127 moves index to exactly the seven
//    entries the probe corrects, which neither the real board nor a board turned over for all
//    men gives (the first puts them at other king pairs, the second ranks White's pawns apart).
//  - The 14 e.p. placements are ordered by the file of the pawn that moved, the capturer on its
//    left first: a-file pawn taken from b (0), b-file from a (1), from c (2), ... h-file from g
//    (13). With capturers on both sides the left one is taken (either choice gives the
//    published broken counts).
//  - Among positions equal under the symmetries (kings both on the diagonal), the first of the
//    eight symmetries in the order identity, file mirror, rank mirror, both, then each of them
//    followed by the a1-h8 reflection, that puts the kings in place.
//  - Tables with equal material on both sides (kpkp, knkn, kbkb, krkr, kqkq) are used as named:
//    their White-to-move side for White to move and their Black-to-move side for Black to move.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#if defined(__BMI2__)
#include <immintrin.h>
#endif

#include "board/bitboard.h"
#include "board/fen.h"
#include "tablebases/index.h"
#include "tablebases/layout.h"

TableLayout tableLayouts[TableCount][2];

namespace {

constexpr Bitboard PawnSquares = 0x00FFFFFFFFFFFF00ULL;
constexpr int PairCounts[2] = {PawnlessKingPairs, PawnKingPairs};  // [pawns]

uint32_t binomial[65][4];
uint32_t colexPairs[2016];      // [rank] = positions p1 | p2 << 8, p1 < p2
uint32_t colexTriples[41664];   // [rank] = p1 | p2 << 8 | p3 << 16
uint8_t selectInByte[256][8];   // [byte][j] = position of its j-th set bit
uint8_t transformSquare[16][64];  // [8 when turned over first | symmetry][square]
uint8_t pawnlessSymmetry[64][64];  // [stm king][sntm king] after turning over
uint16_t kingPairIndex[2][64][64];  // [pawns][stm king][sntm king], canonical kings only
uint8_t kingPairSquares[2][PawnKingPairs][2];
Bitboard stmManSquares[6][64];  // [type][sntm king]: before the stm king

// Room for the start tables and guides of every side's zones.
uint32_t startPool[TableCount * 2 * 2 * (PawnKingPairs + 1)];
uint16_t guidePool[TableCount * 2 * 2 * GuideBuckets];

inline Bitboard Bit(int s) { return Bitboard(1) << s; }

inline Bitboard TurnOver(Bitboard b) {
#if defined(_MSC_VER)
  return _byteswap_uint64(b);
#else
  return __builtin_bswap64(b);
#endif
}

int Distance(int a, int b) {
  return std::max(std::abs(FileOf(a) - FileOf(b)), std::abs(RankOf(a) - RankOf(b)));
}

// Symmetry t: bit 0 mirrors the files, bit 1 the ranks, bit 2 then reflects in the a1-h8 diagonal.
int Transform(int t, int s) {
  int f = FileOf(s), r = RankOf(s);
  if (t & 1) f = 7 - f;
  if (t & 2) r = 7 - r;
  if (t & 4) std::swap(f, r);
  return r * 8 + f;
}

bool CanonicalPawnless(int a, int b) {
  if (FileOf(a) > 3 || RankOf(a) > FileOf(a)) return false;
  return RankOf(a) != FileOf(a) || RankOf(b) <= FileOf(b);
}

// Squares from which a man of `type` checks a king on `king` so that nothing can interpose.
bool ContactCheck(int type, int s, int king) {
  const int df = FileOf(king) - FileOf(s), dr = RankOf(king) - RankOf(s);
  const int ax = std::abs(df), ay = std::abs(dr);
  switch (type) {
    case Pawn: return ax == 1 && dr == 1;  // the side to move's pawns go up
    case Knight: return (ax == 1 && ay == 2) || (ax == 2 && ay == 1);
    case Bishop: return ax == 1 && ay == 1;
    case Rook: return ax + ay == 1;
    default: return std::max(ax, ay) == 1;
  }
}

void InitCombinatorics() {
  for (int n = 0; n <= 64; n++)
    for (int k = 0; k < 4; k++)
      binomial[n][k] = k == 0 ? 1 : n < k ? 0 : binomial[n - 1][k - 1] + binomial[n - 1][k];
  for (int p2 = 1; p2 < 64; p2++)
    for (int p1 = 0; p1 < p2; p1++) {
      colexPairs[binomial[p1][1] + binomial[p2][2]] = uint32_t(p1 | p2 << 8);
      for (int p3 = p2 + 1; p3 < 64; p3++)
        colexTriples[binomial[p1][1] + binomial[p2][2] + binomial[p3][3]] = uint32_t(p1 | p2 << 8 | p3 << 16);
    }
  for (int b = 0; b < 256; b++)
    for (int s = 0, j = 0; s < 8; s++)
      if (b >> s & 1) selectInByte[b][j++] = uint8_t(s);
}

void InitGeometry() {
  for (int t = 0; t < 16; t++)
    for (int s = 0; s < 64; s++) transformSquare[t][s] = uint8_t(Transform(t & 7, t & 8 ? s ^ 56 : s));
  for (int a = 0; a < 64; a++)
    for (int b = 0; b < 64; b++) {
      int t = 0;
      while (t < 7 && !CanonicalPawnless(Transform(t, a), Transform(t, b))) t++;
      pawnlessSymmetry[a][b] = uint8_t(t);
    }
  int count[2] = {0, 0};
  for (int a = 0; a < 64; a++)
    for (int b = 0; b < 64; b++) {
      if (Distance(a, b) < 2) continue;
      const bool canonical[2] = {CanonicalPawnless(a, b), FileOf(a) < 4};
      for (int pawns = 0; pawns < 2; pawns++) {
        if (!canonical[pawns]) continue;
        kingPairIndex[pawns][a][b] = uint16_t(count[pawns]);
        kingPairSquares[pawns][count[pawns]][0] = uint8_t(a);
        kingPairSquares[pawns][count[pawns]][1] = uint8_t(b);
        count[pawns]++;
      }
    }
  for (int type = Pawn; type <= Queen; type++)
    for (int king = 0; king < 64; king++) {
      Bitboard b = type == Pawn ? PawnSquares : ~Bitboard(0);
      for (int s = 0; s < 64; s++)
        if (s == king || ContactCheck(type, s, king)) b &= ~Bit(s);
      stmManSquares[type][king] = b;
    }
}

// The groups of one zone in significance order; `men` counts men by [stm, sntm][type].
int MakeGroups(const int men[2][6], int epZone, ManGroup* groups) {
  static const int tieOrder[5] = {Queen, Rook, Bishop, Knight, Pawn};
  int n = 0;
  const int stmCount = men[0][1] + men[0][2] + men[0][3] + men[0][4] + men[0][5];
  int prior = stmCount + men[1][Pawn] + (epZone ? 4 : 0);
  for (int side = 0; side < 2; side++)
    for (int size = 3; size >= 1; size--)
      for (int type : tieOrder) {
        if (men[side][type] != size) continue;
        ManGroup& g = groups[n++];
        g.type = uint8_t(type);
        g.count = uint8_t(size);
        g.stm = uint8_t(side == 0);
        g.radix = 0;
        if (side == 0) {
          g.kind = StmMen;
          if (type == Pawn && epZone) g.radix = binomial[44][size];
        } else if (type == Pawn) {
          g.kind = SntmPawns;
          if (epZone) g.radix = binomial[44 - men[0][Pawn]][size];
          else if (stmCount) g.radix = binomial[48 - men[0][Pawn]][size];
        } else {
          g.kind = SntmPieces;
          g.radix = binomial[62 - prior][size];
          prior += size;
        }
      }
  return n;
}

// Squares open to the men of an stm group or an sntm pawn group; `block` holds the four e.p.
// squares in that zone and is empty in the main zone.
inline Bitboard GroupSquares(const TableLayout& layout, const ManGroup& g, int kA, int kB, Bitboard stmPawns,
                             Bitboard block) {
  if (g.kind == StmMen) {
    if (g.type == Pawn && block) return PawnSquares & ~block;
    return stmManSquares[g.type][kB] & ~Bit(kA);
  }
  if (block) return PawnSquares & ~block & ~stmPawns;
  return layout.stmMen ? PawnSquares & ~stmPawns : PawnSquares & ~(Bit(kA) | Bit(kB));
}

inline uint32_t Radix(const ManGroup& g, Bitboard squares) {
  return g.radix ? g.radix : binomial[PopCount(squares)][g.count];
}

// Entries of one king pair's subrange in one zone (without the 14 e.p. placements).
uint64_t PairSize(const TableLayout& layout, const ManGroup* groups, int groupCount, int kA, int kB, int epZone) {
  uint64_t size = 1;
  for (int i = 0; i < groupCount; i++)
    size *= Radix(groups[i], GroupSquares(layout, groups[i], kA, kB, 0, 0));
  return size * (epZone ? EpPlacements : 1);
}

// The guide of a zone: bucket b of its indices (b = offset * scale >> 32) starts no earlier than
// the pair guide[b], so that the decoder finds the pair of an index in a step or two.
void BuildGuide(TableLayout& layout, int zone, const uint32_t* start, int pairs, uint16_t*& guides) {
  const uint64_t size = start[pairs] - start[0];
  layout.guideScale[zone] = (uint64_t(GuideBuckets) << 32) / size;
  layout.guide[zone] = guides;
  for (int b = 0, pair = 0; b < GuideBuckets; b++) {
    while (pair < pairs - 1 && ((start[pair + 1] - 1 - start[0]) * layout.guideScale[zone] >> 32) < uint64_t(b)) pair++;
    *guides++ = uint16_t(pair);
  }
}

void BuildLayout(TableLayout& layout, const char* name, int side, uint32_t count, uint32_t*& pool,
                 uint16_t*& guides) {
  const char* second = strchr(name + 1, 'k');
  int men[2][6] = {};  // [stm, sntm][type]
  for (const char* p = name + 1; *p; p++) {
    if (p == second) continue;
    const int type = -PieceOfLetter(*p);  // names are written in lower case
    men[(p > second) != (side == 1)][type]++;
  }
  layout.pawns = strchr(name, 'p') != nullptr;
  layout.stmStrong = side == 0;
  layout.turn = side == 1 ? 56 : 0;
  layout.stmMen = men[0][1] + men[0][2] + men[0][3] + men[0][4] + men[0][5];
  layout.groupCount = MakeGroups(men, 0, layout.groups);
  layout.epGroupCount = 0;
  const int epZones = men[0][Pawn] && men[1][Pawn];
  if (epZones) {
    men[0][Pawn]--;
    men[1][Pawn]--;
    layout.epGroupCount = MakeGroups(men, 1, layout.epGroups);
  }
  layout.count = count;
  const int pairs = PairCounts[layout.pawns];
  uint64_t total = 0;
  uint32_t* start = pool;
  for (int zone = 0; zone <= epZones; zone++) {
    for (int pair = 0; pair < pairs; pair++) {
      *pool++ = uint32_t(total);
      const int kA = kingPairSquares[layout.pawns][pair][0], kB = kingPairSquares[layout.pawns][pair][1];
      total += zone ? PairSize(layout, layout.epGroups, layout.epGroupCount, kA, kB, 1)
                    : PairSize(layout, layout.groups, layout.groupCount, kA, kB, 0);
    }
    *pool++ = uint32_t(total);
    if (zone == 0) layout.mainSize = uint32_t(total);
    BuildGuide(layout, zone, pool - pairs - 1, pairs, guides);
  }
  layout.size = uint32_t(total);
  layout.mainStart = start;
  layout.epStart = epZones ? start + pairs + 1 : nullptr;
}

// Co-lexicographic rank of the set `men` among the squares `squares`.
inline uint32_t ColexRank(Bitboard men, Bitboard squares) {
  uint32_t rank = 0;
  for (int j = 1; men; j++) rank += binomial[PopCount(squares & (Bit(PopLowest(men)) - 1))][j];
  return rank;
}

// The square of the j-th set bit of b, without branches: the table's positions are random, so a
// branch here would be mispredicted half of the time.
inline int SelectBit(Bitboard b, int j) {
#if defined(__BMI2__)
  return LowestBit(_pdep_u64(Bitboard(1) << j, b));
#else
  int base = 0;
  for (int width = 32; width >= 8; width /= 2) {
    const int below = PopCount(b & ((Bitboard(1) << width) - 1));
    const int step = j >= below ? width : 0;
    j -= j >= below ? below : 0;
    b >>= step;
    base += step;
  }
  return base + selectInByte[b & 255][j & 7];
#endif
}

// The set of `count` squares of co-lexicographic rank `rank` among `squares`.
inline Bitboard ColexSet(uint32_t rank, int count, Bitboard squares) {
  const uint32_t positions = count == 1 ? rank : count == 2 ? colexPairs[rank] : colexTriples[rank];
  Bitboard men = 0;
  for (int j = 0; j < count; j++) men |= Bit(SelectBit(squares, int(positions >> (8 * j) & 255)));
  return men;
}

// The mixed-radix number of a zone's groups, first group most significant. `taken` holds the
// squares already used, which the sntm pieces' squares exclude as they are placed.
inline uint32_t GroupsIndex(const TableLayout& layout, const ManGroup* groups, int count,
                            const Bitboard (&frame)[2][6], int kA, int kB, Bitboard taken, Bitboard block) {
  uint32_t index = 0;
  for (int i = 0; i < count; i++) {
    const ManGroup& g = groups[i];
    const Bitboard men = frame[!g.stm][g.type];
    Bitboard squares;
    if (g.kind == SntmPieces) {
      squares = ~taken;
      taken |= men;
    } else {
      squares = GroupSquares(layout, g, kA, kB, frame[0][Pawn], block);
    }
    // The sntm pawns are ranked on their own side's board, the table's board turned over.
    index = index * Radix(g, squares) +
            (g.kind == SntmPawns ? ColexRank(TurnOver(men), TurnOver(squares)) : ColexRank(men, squares));
  }
  return index;
}

}  // namespace

void InitTableLayouts() {
  static bool done = false;
  if (done) return;
  done = true;
  InitCombinatorics();
  InitGeometry();
  uint32_t* pool = startPool;
  uint16_t* guides = guidePool;
  for (int table = 1; table < TableCount; table++)
    for (int side = 0; side < 2; side++)
      BuildLayout(tableLayouts[table][side], tableCatalogue[table].name, side, tableCatalogue[table].count[side],
                  pool, guides);
}

uint32_t IndexOfMen(const TableLayout& layout, const TableMen& m, int epSquare, int invert) {
  const int stm = layout.stmStrong ? 0 : 1;
  const int turn = (invert ? 56 : 0) ^ layout.turn;
  const int kingA = LowestBit(m.men[stm][King]) ^ turn, kingB = LowestBit(m.men[stm ^ 1][King]) ^ turn;
  const int symmetry = layout.pawns ? kingA >> 2 & 1 : pawnlessSymmetry[kingA][kingB];
  const uint8_t* map = transformSquare[(turn ? 8 : 0) | symmetry];
  const int kA = map[kingA ^ turn], kB = map[kingB ^ turn];
  const Bitboard kings = Bit(kA) | Bit(kB);
  const int pair = kingPairIndex[layout.pawns][kA][kB];

  // The men on the table's board, [stm, sntm][type].
  Bitboard frame[2][6] = {};
  Bitboard stmMen = 0;
  for (int i = 0; i < layout.groupCount; i++) {
    const ManGroup& g = layout.groups[i];
    Bitboard b = m.men[g.stm ? stm : stm ^ 1][g.type], men = 0;
    while (b) men |= Bit(map[PopLowest(b)]);
    frame[!g.stm][g.type] = men;
    if (g.stm) stmMen |= men;
  }
  Bitboard taken = kings | stmMen | frame[1][Pawn];

  if (layout.epStart && epSquare != NoEpSquare) {
    const int e = map[epSquare];
    const int moved = e - 8, origin = e + 8;  // the sntm pawn came down from its origin
    if (RankOf(e) == 5 && (frame[1][Pawn] & Bit(moved)) && !(taken & (Bit(e) | Bit(origin)))) {
      const int f = FileOf(e);
      const bool left = f > 0 && (frame[0][Pawn] & Bit(moved - 1));
      const bool right = f < 7 && (frame[0][Pawn] & Bit(moved + 1));
      if (left || right) {
        const int capturer = left ? moved - 1 : moved + 1;
        const Bitboard block = Bit(moved) | Bit(capturer) | Bit(e) | Bit(origin);
        frame[0][Pawn] &= ~Bit(capturer);
        frame[1][Pawn] &= ~Bit(moved);
        taken |= block;
        const uint32_t index = GroupsIndex(layout, layout.epGroups, layout.epGroupCount, frame, kA, kB, taken, block);
        return layout.epStart[pair] + index * EpPlacements + uint32_t(left ? 2 * f - 1 : 2 * f);
      }
    }
  }

  return layout.mainStart[pair] + GroupsIndex(layout, layout.groups, layout.groupCount, frame, kA, kB, taken, 0);
}

bool DecodeMen(const TableLayout& layout, uint32_t index, TableMen* out, int* epSquare) {
  if (index >= layout.count) return false;
  const int epZone = index >= layout.mainSize;
  const uint32_t* start = epZone ? layout.epStart : layout.mainStart;
  int pair = layout.guide[epZone][uint64_t(index - start[0]) * layout.guideScale[epZone] >> 32];
  while (start[pair + 1] <= index) pair++;
  uint32_t rest = index - start[pair];
  const int kA = kingPairSquares[layout.pawns][pair][0], kB = kingPairSquares[layout.pawns][pair][1];
  const ManGroup* groups = epZone ? layout.epGroups : layout.groups;
  const int groupCount = epZone ? layout.epGroupCount : layout.groupCount;

  Bitboard block = 0, leftOfMoved = 0;
  int e = 0, moved = 0, capturer = 0;
  if (epZone) {
    const int placement = int(rest % EpPlacements);
    rest /= EpPlacements;
    const int f = (placement + 1) / 2;
    moved = 32 + f;
    e = moved + 8;
    capturer = placement & 1 ? moved - 1 : moved + 1;
    if (!(placement & 1) && f > 0) leftOfMoved = Bit(moved - 1);
    block = Bit(moved) | Bit(capturer) | Bit(e) | Bit(moved + 16);
  }

  // Digits, least significant first. Only stm groups and sntm pawns without stm men have radices
  // that vary with the king pair, and neither depends on where other men stand.
  uint32_t digits[4];
  for (int i = groupCount - 1; i >= 0; i--) {
    const ManGroup& g = groups[i];
    const uint32_t radix = g.radix ? g.radix : Radix(g, GroupSquares(layout, g, kA, kB, 0, block));
    digits[i] = rest % radix;
    rest /= radix;
  }

  Bitboard frame[2][6] = {};
  Bitboard taken = Bit(kA) | Bit(kB) | block;
  Bitboard clash = (Bit(kA) | Bit(kB)) & block;
  for (int pass = 0; pass < 2; pass++)  // sntm pieces go where stm men and sntm pawns leave room
    for (int i = 0; i < groupCount; i++) {
      const ManGroup& g = groups[i];
      if ((g.kind == SntmPieces) != (pass == 1)) continue;
      const Bitboard squares = g.kind == SntmPieces ? ~taken : GroupSquares(layout, g, kA, kB, frame[0][Pawn], block);
      const Bitboard men = g.kind == SntmPawns ? TurnOver(ColexSet(digits[i], g.count, TurnOver(squares)))
                                               : ColexSet(digits[i], g.count, squares);
      clash |= men & taken;
      taken |= men;
      frame[!g.stm][g.type] = men;
    }
  // A capturer on the right with another on the left is the left placement's position.
  if (clash || (frame[0][Pawn] & leftOfMoved)) return false;
  if (epZone) {
    frame[0][Pawn] |= Bit(capturer);
    frame[1][Pawn] |= Bit(moved);
  }

  const int stm = layout.stmStrong ? 0 : 1;
  memset(out, 0, sizeof *out);
  out->men[stm][King] = Bit(kA ^ layout.turn);
  out->men[stm ^ 1][King] = Bit(kB ^ layout.turn);
  for (int type = Pawn; type <= Queen; type++) {
    out->men[stm][type] = layout.turn ? TurnOver(frame[0][type]) : frame[0][type];
    out->men[stm ^ 1][type] = layout.turn ? TurnOver(frame[1][type]) : frame[1][type];
  }
  *epSquare = epZone ? e ^ layout.turn : NoEpSquare;
  return true;
}

uint32_t IndexOfSquareArrays(const TableLayout& layout, const int* strong, const int* weak, int epSquare,
                             int invert) {
  // The occupied squares as one flag byte each (a loop the compiler vectorises), then eight flags
  // at a time packed into bits: the multiplication gathers byte i's low bit into bit 56 + i
  // (byte i being the i-th in memory on the little-endian hosts this engine runs on).
  uint8_t flags[64];
  for (int s = 0; s < 64; s++) flags[s] = (strong[s] | weak[s]) != 0;
  Bitboard occupied = 0;
  for (int i = 0; i < 8; i++) {
    uint64_t eight;
    memcpy(&eight, flags + 8 * i, 8);
    occupied |= (eight * 0x0102040810204080ULL) >> 56 << (8 * i);
  }
  TableMen m = {};
  while (occupied) {
    const int s = PopLowest(occupied);
    m.men[0][strong[s]] |= Bit(s);  // entry [side][0] takes the empty square of the other side
    m.men[1][weak[s]] |= Bit(s);
  }
  return IndexOfMen(layout, m, epSquare, invert);
}

bool DecodeTableIndex(int table, int side, uint32_t index, TablePosition* out) {
  if (table < 1 || table >= TableCount || side < 0 || side > 1) return false;
  TableMen m;
  if (!DecodeMen(tableLayouts[table][side], index, &m, &out->epSquare)) return false;
  memset(out->strong, 0, sizeof out->strong);
  memset(out->weak, 0, sizeof out->weak);
  for (int type = Pawn; type <= King; type++) {
    for (Bitboard b = m.men[0][type]; b;) out->strong[PopLowest(b)] = type;
    for (Bitboard b = m.men[1][type]; b;) out->weak[PopLowest(b)] = type;
  }
  return true;
}
