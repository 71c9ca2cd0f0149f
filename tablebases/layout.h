// How every table side lays its positions out, for the index functions of the catalogue and for
// programs that index positions in bulk (the generator). The layout itself is described in
// index.cpp. InitTableLayouts builds everything here once; BuildSignatureTree calls it, and a
// program that indexes without the registry calls it itself before the first index.
#pragma once

#include <cstdint>

#include "board/types.h"
#include "tablebases/catalogue.h"

constexpr int PawnlessKingPairs = 462;
constexpr int PawnKingPairs = 1806;
constexpr int EpPlacements = 14;
constexpr int GuideBuckets = 1024;

// Like men of one type and colour, placed together as one set.
enum GroupKind : uint8_t { StmMen, SntmPawns, SntmPieces };

struct ManGroup {
  uint8_t kind;     // GroupKind
  uint8_t type;     // piece code, 1 pawn .. 5 queen
  uint8_t count;    // 1 to 3
  uint8_t stm;      // 1 when the group belongs to the side to move
  uint32_t radix;   // SntmPieces only: C(squares, count), the same for every king pair
};

// One side of one table. The table's board is the real board with the stronger side as White,
// turned upside down when `turn` is 56 (for Black to move), so that the side to move's pawns go up.
struct TableLayout {
  int pawns;             // any pawn: 1806 king pairs and only the file mirror, else 462 pairs
  int stmStrong;         // the side to move is the stronger side
  int turn;              // 0 or 56, xored into every square of the real board
  int stmMen;            // men of the side to move besides its king
  int groupCount;
  ManGroup groups[4];    // in significance order, most significant first
  int epGroupCount;
  ManGroup epGroups[4];
  uint32_t mainSize;     // entries of the main zone; the e.p. zone follows it
  uint32_t size;         // entries before trimming
  uint32_t count;        // the catalogue's count: entries after trimming
  const uint32_t* mainStart;  // [king pair], one more entry holding the main zone's end
  const uint32_t* epStart;    // [king pair] + end, absolute indices; null when there is no e.p. zone
  const uint16_t* guide[2];   // [zone][bucket]: the first pair a bucket of the zone's indices may hold
  uint64_t guideScale[2];
};

extern TableLayout tableLayouts[TableCount][2];

// Men of a position by side (0 the stronger, 1 the other) and piece code, on the real board with
// the stronger side as White. Entry [s][0] is unused.
struct TableMen {
  Bitboard men[2][7];
};

void InitTableLayouts();

// The index of a position of the layout's material; `invert` turns the board upside down first.
uint32_t IndexOfMen(const TableLayout& layout, const TableMen& men, int epSquare, int invert);

// The position of an index (see DecodeTableIndex for what false means).
bool DecodeMen(const TableLayout& layout, uint32_t index, TableMen* men, int* epSquare);

// The catalogue's index function of a table side.
uint32_t IndexOfSquareArrays(const TableLayout& layout, const int* strong, const int* weak, int epSquare,
                             int invert);
template <int Table, int Side>
uint32_t TableIndex(const int* strong, const int* weak, int epSquare, int invert) {
  return IndexOfSquareArrays(tableLayouts[Table][Side], strong, weak, epSquare, invert);
}
