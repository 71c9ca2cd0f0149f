// The generator's working layout of one table: a plain mixed-radix index, fast to compute both
// ways, with the stronger king carrying the board's symmetry. Generation runs entirely in this
// layout and maps to the published one only when the files are written, so the retrograde
// loops never pay for the published index's tables.
//
//   index = kingPair, then one digit per other man (64 squares, pawns 48: ranks 2-7)
//   kingPair = strong king slot * 64 + weak king square, the strong king in a1-d1-d4
//              (10 slots) without pawns, on files a-d (32 slots) with them
//
// Among the images of a position under the symmetries the smallest index is the canonical one;
// like men are sorted by square first. Other indices stand for no position and stay 0.
#pragma once

#include <cstdint>

#include "tablebases/layout.h"
#include "tools/tbgen/men.h"

struct WorkLayout {
  int table;
  bool pawns;
  Men shape;               // the table's men, squares unset
  int radix[MaxMen];       // per man from 2 on
  int likeStart[MaxMen];   // first man of each man's run of like men
  int likeEnd[MaxMen];     // and its last
  uint64_t weight[MaxMen]; // per man from 1 on: what one step of its digit adds to the index
  uint64_t size;           // entries per side
};

extern WorkLayout layout;

// Sets `layout` up for a table of the catalogue.
void SetUpLayout(int table);
uint64_t WorkIndex(const Men& p);

// The index of a position split into per-man terms under each symmetry that may give its
// canonical index, so that the index of a position one man's step away costs a few look-ups:
// the retrograde loops index every move and un-move of every position they visit.
struct IndexTerms {
  int symmetries;               // 1, or 2 with the stronger king on a diagonal (no pawns)
  int symmetry[2];
  uint64_t index[2];            // the whole index under each
  int digit[2][MaxMen];         // each man's digit under each, before like men are sorted
  uint64_t likeTerm[2][MaxMen]; // per first man of a run of like men: the run's share
};
void SplitIndex(const Men& p, IndexTerms* terms);
// WorkIndex of `p` with man `man` on `square` instead (side to move left aside: it is no part
// of the index).
uint64_t WorkIndexMoved(const Men& p, const IndexTerms& terms, int man, int square);
// WorkIndexMoved for every square of `squares`, ascending, into `out`; returns their number.
int WorkIndicesMoved(const Men& p, const IndexTerms& terms, int man, Bitboard squares, uint64_t* out);
// True when `p` holds the men of the layout's table, in its order (no capture or promotion
// since a position of the table).
bool InLayout(const Men& p);
// The position of an index and side (0: the stronger side to move); false when the index is not
// canonical or stands for no legal position.
bool DecodeWork(uint64_t index, int side, Men* out);
// The men of an index known to be canonical and legal (one that holds a value), unchecked.
Men MenOfWorkIndex(uint64_t index, int side);

// The men of a table name such as "krpkr": White's king, Black's king, White's men, Black's.
bool MenOfName(const char* name, Men* out);

// The men of a decoded published entry of the table `layout` is set up for, side 0 or 1 to
// move; false when the entry stands for no legal position.
bool MenOfTableMen(const TableMen& t, int side, Men* out);
