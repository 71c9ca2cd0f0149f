#include "search/pawns.h"

#include <cstring>

#include "board/bitboard.h"
#include "platform/platform.h"

PawnEntry pawnTable[PawnTableEntries];
uint32_t pawnHits, pawnComputed, pawnReplacements, pawnStores;
uint32_t pawnSlotsUsed;

Bitboard adjacentFiles[8];
Bitboard passedMask[2][64];
Bitboard supportMask[2][64];
Bitboard stopAttackers[2][64];
int fileMaskScore[256];

// Every position set-up clears the table. Most set-ups (test suites, edit mode) follow only a
// few stores, so the slots written since the last clear are remembered and only they are zeroed;
// past that many the whole table is.
constexpr int TrackedStores = 256;
static uint32_t storedSlots[TrackedStores];
static int storesSinceClear = TrackedStores + 1;  // the table starts out unknown

constexpr int DoubledPenalty = -85;
constexpr int IsolatedPenalty = -100;
constexpr int BackwardPenalty = -80;
constexpr int WingMajority = 100;
// Each pawn island beyond the first is one more weakness to defend.
constexpr int IslandPenalty = -50;

// Squares a side's ranks are counted from: rank index as seen by that side.
static inline int RelativeRank(int side, int square) { return side == White ? RankOf(square) : 7 - RankOf(square); }

void InitPawnTables() {
  AdviseHugePages(pawnTable, sizeof pawnTable);
  for (int f = 0; f < 8; f++)
    adjacentFiles[f] = (f > 0 ? fileMask[f - 1] : 0) | (f < 7 ? fileMask[f + 1] : 0);
  for (int side = Black; side <= White; side++) {
    for (int s = 0; s < 64; s++) {
      const int f = FileOf(s);
      Bitboard ahead = 0, notAhead = 0;
      for (int r = 0; r < 8; r++) {
        const bool isAhead = side == White ? r > RankOf(s) : r < RankOf(s);
        (isAhead ? ahead : notAhead) |= rankMask[r];
      }
      passedMask[side][s] = (fileMask[f] | adjacentFiles[f]) & ahead;
      supportMask[side][s] = adjacentFiles[f] & notAhead;
      const int stop = side == White ? s + 8 : s - 8;
      stopAttackers[side][s] = stop >= 0 && stop < 64 ? pawnAttacks[side][stop] : 0;
    }
  }
  for (int mask = 0; mask < 256; mask++) {
    int islands = 0;
    for (int f = 0; f < 8; f++)
      if ((mask >> f & 1) && !(f > 0 && (mask >> (f - 1) & 1))) islands++;
    fileMaskScore[mask] = islands > 1 ? IslandPenalty * (islands - 1) : 0;
  }
}

void ClearPawnTable() {
  if (storesSinceClear > TrackedStores) {
    memset(static_cast<void*>(pawnTable), 0, sizeof pawnTable);
  } else {
    for (int i = 0; i < storesSinceClear; i++) memset(static_cast<void*>(&pawnTable[storedSlots[i]]), 0, sizeof(PawnEntry));
  }
  storesSinceClear = 0;
  pawnSlotsUsed = 0;
}

static int FileMask(Bitboard pawns) {
  int mask = 0;
  for (int f = 0; f < 8; f++)
    if (pawns & fileMask[f]) mask |= 1 << f;
  return mask;
}

static int SideStructure(int side, int ownFiles, int enemyFiles, uint64_t& passed) {
  const Bitboard own = pos.pieces[side][PawnSlot];
  const Bitboard enemy = pos.pieces[side ^ 1][PawnSlot];
  int score = fileMaskScore[ownFiles];
  for (int f = 0; f < 8; f++) {
    const int n = PopCount(own & fileMask[f]);
    if (n > 1) score += DoubledPenalty * (n - 1);
  }
  for (Bitboard b = own; b;) {
    const int s = PopLowest(b);
    const int f = FileOf(s);
    if (!(own & adjacentFiles[f])) {
      score += IsolatedPenalty;
    } else if (!(own & supportMask[side][s]) && !(enemyFiles >> f & 1)) {
      if (enemy & stopAttackers[side][s]) score += BackwardPenalty;
    }
    if (RelativeRank(side, s) >= 4 && !(enemy & passedMask[side][s])) passed |= squareMask[s];
  }
  return score;
}

// Shelter of one wing (three files from `firstFile`), from the rank of the pawn nearest the king
// on each file: on the second rank it shelters fully, on the third or fourth it has advanced (the
// fourth a little worse), beyond that or absent it is missing. A missing pawn costs most because
// it opens a line to the king; an advanced one still blocks but leaves holes.
static int ShelterIndex(int side, int firstFile) {
  static const int missingIndex[4] = {0, 8, 13, 16};
  static const int advancedIndex[4] = {0, 3, 7, 9};
  static const int farIndex[4] = {0, 1, 2, 3};
  static const int missingCount[8] = {3, 2, 2, 1, 2, 1, 1, 0};
  static const int presentCount[8] = {0, 1, 1, 2, 1, 2, 2, 3};
  const Bitboard own = pos.pieces[side][PawnSlot];
  int present = 0, advanced = 0, far = 0;
  for (int i = 0; i < 3; i++) {
    const Bitboard file = fileMask[firstFile + i];
    const int second = side == White ? 1 : 6, third = side == White ? 2 : 5, fourth = side == White ? 3 : 4;
    if (own & file & rankMask[second]) {
      present |= 1 << i;
    } else if (own & file & rankMask[third]) {
      present |= 1 << i;
      advanced |= 1 << i;
    } else if (own & file & rankMask[fourth]) {
      present |= 1 << i;
      advanced |= 1 << i;
      far |= 1 << i;
    }
  }
  return missingIndex[missingCount[present]] + advancedIndex[presentCount[advanced]] + farIndex[presentCount[far]];
}

static void ComputeEntry(PawnEntry& e) {
  const int whiteFiles = FileMask(pos.pieces[White][PawnSlot]);
  const int blackFiles = FileMask(pos.pieces[Black][PawnSlot]);
  uint64_t passed = 0;
  int score = SideStructure(White, whiteFiles, blackFiles, passed) - SideStructure(Black, blackFiles, whiteFiles, passed);

  const int qW = PopCount(Bitboard(whiteFiles & 0x0F)), qB = PopCount(Bitboard(blackFiles & 0x0F));
  const int kW = PopCount(Bitboard(whiteFiles & 0xF0)), kB = PopCount(Bitboard(blackFiles & 0xF0));
  score += qW > qB ? WingMajority : qW < qB ? -WingMajority : 0;
  score += kW > kB ? WingMajority : kW < kB ? -WingMajority : 0;

  e.key = pos.pawnKey;
  e.fileMasks = uint16_t(whiteFiles | blackFiles << 8);
  e.spare = 0;
  e.score = int16_t(score);
  e.shelter[BlackKingSideShelter] = uint16_t(ShelterIndex(Black, 5));
  e.shelter[WhiteKingSideShelter] = uint16_t(ShelterIndex(White, 5));
  e.shelter[BlackQueenSideShelter] = uint16_t(ShelterIndex(Black, 0));
  e.shelter[WhiteQueenSideShelter] = uint16_t(ShelterIndex(White, 0));
  e.passed = passed;
}

const PawnEntry& ProbePawnTable() {
  // Without pawns the key is 0, the key of an empty slot: such positions read the empty entry
  // (no structure, no shelter), always, whatever the slot holds at the moment.
  static const PawnEntry noPawns = {};
  if (!pos.pawnKey) {
    pawnHits++;
    return noPawns;
  }
  const uint32_t index = uint32_t(pos.pawnKey & (PawnTableEntries - 1));
  PawnEntry& slot = pawnTable[index];
  if (slot.key == pos.pawnKey) {
    pawnHits++;
    return slot;
  }
  pawnComputed++;
  PawnEntry fresh;
  ComputeEntry(fresh);
  if (slot.key || slot.score) pawnReplacements++;
  if (!slot.key) pawnSlotsUsed++;
  pawnStores++;
  if (storesSinceClear < TrackedStores) storedSlots[storesSinceClear] = index;
  if (storesSinceClear <= TrackedStores) storesSinceClear++;
  slot = fresh;
  return slot;
}

// Base danger by king square, White's view (rank 1 first; Black reads it mirrored). The back
// rank behind the wings is home; the centre files and every step forward add exposure.
static const int8_t kingBaseIndex[64] = {
  0, 0, 0, 1, 1, 0, 0, 0,
  1, 1, 1, 2, 2, 1, 1, 1,
  3, 3, 3, 4, 4, 3, 3, 3,
  5, 5, 5, 6, 6, 5, 5, 5,
  5, 5, 5, 6, 6, 5, 5, 5,
  5, 5, 5, 6, 6, 5, 5, 5,
  5, 5, 5, 6, 6, 5, 5, 5,
  5, 5, 5, 6, 6, 5, 5, 5};

static const int kingDanger[26] = {0,    45,   150,  250,  380,  450,  550,  770,  820,  845,  870,  900,  930,
                                   960,  990,  1020, 1050, 1080, 1110, 1140, 1170, 1200, 1240, 1500, 1500, 1500};

// Penalty for the king of `side` against the other side's attack.
static int KingDanger(int side, const PawnEntry& pawns) {
  const int attacker = side ^ 1;
  const Bitboard attackerQueens = pos.pieces[attacker][QueenSlot];
  // The gate compares the occupancy as a number with small constants, so only an attacker whose
  // men all stand on a1 and b1 is let off. The gate is kept exactly so: it decides the scores.
  const uint64_t attackerOcc = pos.colourOcc[attacker];
  if (attackerOcc < 4 && (!attackerQueens || attackerOcc < 2)) return 0;

  const int king = pos.kingSquare[side];
  const int file = FileOf(king);
  const int ownFiles = side == White ? pawns.fileMasks & 0xFF : pawns.fileMasks >> 8;
  const int enemyFiles = side == White ? pawns.fileMasks >> 8 : pawns.fileMasks & 0xFF;
  const int anyFiles = ownFiles | enemyFiles;
  const uint32_t kingSideRight = side == White ? WhiteKingSide : BlackKingSide;
  const uint32_t queenSideRight = side == White ? WhiteQueenSide : BlackQueenSide;
  const uint32_t rights = pos.castleFlags & (kingSideRight | queenSideRight);
  const int kingSide = pawns.shelter[side == White ? WhiteKingSideShelter : BlackKingSideShelter];
  const int queenSide = pawns.shelter[side == White ? WhiteQueenSideShelter : BlackQueenSideShelter];

  int index = kingBaseIndex[side == White ? king : king ^ 56];
  if (rights == kingSideRight) {
    index += kingSide;
  } else if (rights == queenSideRight) {
    index += queenSide;
  } else if (!rights) {
    auto open = [anyFiles](int f) { return !(anyFiles >> f & 1); };
    if (file <= 3) {
      index += queenSide;
      if (file == 3) index += (open(2) ? 2 : 0) + (open(3) ? 4 : 0) + (open(4) ? 2 : 0);
    } else {
      index += kingSide;
      if (file == 4) index += (open(3) ? 2 : 0) + (open(4) ? 4 : 0) + (open(5) ? 2 : 0);
    }
  }
  if (!(ownFiles >> file & 1)) index += attackerQueens ? (attackerQueens & fileMask[file] ? 8 : 4) : 4;
  if (!(enemyFiles >> file & 1)) index += 2;
  if (!attackerQueens) index >>= 1;
  if (index > 25) index = 25;
  return kingDanger[index];
}

int KingSafety(const PawnEntry& pawns) { return KingDanger(Black, pawns) - KingDanger(White, pawns); }
