// Pawn structure, cached by pawn key, and the king-safety term built on it.
#pragma once

#include "board/position.h"

// One formation's terms. 30 bytes, packed: the table's size in bytes is a figure users see.
#pragma pack(push, 1)
struct PawnEntry {
  uint64_t key;          // pawnKey; 0 in an empty slot
  uint16_t fileMasks;    // low byte White's files with pawns, high byte Black's
  uint16_t spare;
  int16_t score;         // White minus Black
  uint16_t shelter[4];   // ShelterSlot order
  uint64_t passed;       // passed pawns of both sides on their fifth rank or beyond
};
#pragma pack(pop)

enum ShelterSlot { BlackKingSideShelter = 0, WhiteKingSideShelter = 1, BlackQueenSideShelter = 2, WhiteQueenSideShelter = 3 };

constexpr int PawnTableEntries = 1 << 18;
constexpr int PawnTableBytes = PawnTableEntries * int(sizeof(PawnEntry));
static_assert(sizeof(PawnEntry) == 30, "pawn entries are 30 bytes");

extern PawnEntry pawnTable[PawnTableEntries];
extern uint32_t pawnHits, pawnComputed, pawnReplacements, pawnStores;
// Slots holding an entry: counted as they fill so that reporting it needs no sweep of the table.
extern uint32_t pawnSlotsUsed;

// Masks the pawn terms are made of, by side and square.
extern Bitboard adjacentFiles[8];
extern Bitboard passedMask[2][64];    // squares ahead on the pawn's own and adjacent files
extern Bitboard supportMask[2][64];   // own pawns here (adjacent files, same rank or behind) keep it from being backward
extern Bitboard stopAttackers[2][64]; // enemy pawns here attack the square in front of it
extern int fileMaskScore[256];        // by a side's file mask: pawn islands

void InitPawnTables();
void ClearPawnTable();

// The entry of the current formation, computed and stored on a miss. Valid until the next probe.
const PawnEntry& ProbePawnTable();

// Asks for the current formation's entry ahead of its probe. Packed entries may straddle two
// cache lines, so both ends are asked for.
inline void PrefetchPawnEntry() {
  const PawnEntry* e = &pawnTable[pos.pawnKey & (PawnTableEntries - 1)];
  __builtin_prefetch(e);
  __builtin_prefetch(reinterpret_cast<const char*>(e) + sizeof(PawnEntry) - 1);
}

// Danger to both kings from their shelter and open files: White's minus Black's penalty.
int KingSafety(const PawnEntry& pawns);
