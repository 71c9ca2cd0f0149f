// The catalogue of endgame tables: every material of three to five men, kings included, and the
// exact size of each side's file. Table 0 (kk) is a placeholder that is never probed.
//
// A table is named from its stronger side, which always plays White inside the table; side 0 of a
// table holds the positions with the stronger side to move (".nbw"), side 1 those with the other
// side to move (".nbb"). A position whose stronger side is Black is read through the same table
// with the colours swapped and the board turned upside down (the invert flag).
#pragma once

#include <cstdint>
#include <cstdio>

constexpr int TableCount = 146;
// En-passant square passed to an index function when there is none.
constexpr int NoEpSquare = 127;

// The entry index of a position in one side of a table. `strong` and `weak` are 64-square arrays of
// piece codes (1 pawn, 2 knight, 3 bishop, 4 rook, 5 queen, 6 king, 0 empty) of the side named first
// and of the other side; `invert` set means the stronger side is Black on the real board, so every
// square is read with its rank mirrored (the e.p. square too). The position is assumed legal and of
// the table's material.
typedef uint32_t (*TableIndexFunction)(const int* strong, const int* weak, int epSquare, int invert);

struct CompressedTable;  // block index and sizes of an ".emd" file, owned by the file layer

struct TableDescriptor {
  int64_t number;                  // its place in tableCatalogue
  TableIndexFunction index[2];     // [side]; null for table 0
  char name[9];
  uint32_t count[2];               // [side]: one-byte entries = exact size of the uncompressed file
  FILE* file[2];                   // run time, zero until registration
  CompressedTable* compressed[2];  // run time, zero until registration
};

extern TableDescriptor tableCatalogue[TableCount];

// Counts of men indexing the material signature, in this order: White pawns, knights, bishops,
// rooks, queens, then Black's.
constexpr int SignatureCounts = 10;

// Builds the signature tree from the catalogue (the enumeration step of initialisation).
void BuildSignatureTree();

// The table of a material: +number when White is the side named first, -number when the colours
// must be swapped, 0 when no table has it (a count beyond its level's largest index included).
int LookupSignature(const int counts[SignatureCounts]);
