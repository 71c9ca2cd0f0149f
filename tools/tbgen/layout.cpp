#include "tools/tbgen/layout.h"

#include <cstring>

#include "board/bitboard.h"
#include "board/fen.h"
#include "tablebases/catalogue.h"

WorkLayout layout;

// The eight symmetries of the board: bit 0 mirrors the files, bit 1 the ranks, bit 2 swaps them.
static int transformed[8][64];
// Per square of the stronger king, the symmetries that bring it into a1-d1-d4: two on the
// diagonal a1-d4, one elsewhere.
static int kingSymmetries[64][2], kingSymmetryCount[64];

static int Transform(int t, int square) {
  int file = FileOf(square), rank = RankOf(square);
  if (t & 4) { const int f = file; file = rank; rank = f; }
  if (t & 1) file = 7 - file;
  if (t & 2) rank = 7 - rank;
  return rank * 8 + file;
}

static bool InTriangle(int s) { return FileOf(s) <= 3 && RankOf(s) <= FileOf(s); }
static int TriangleSlot(int s) {
  static const int slot[4] = {0, 4, 7, 9};  // first slot of each rank in a1..d1, b2..d2, c3..d3, d4
  return slot[RankOf(s)] + FileOf(s) - RankOf(s);
}
static const int triangleSquare[10] = {A1, B1, C1, D1, B2, C2, D2, C3, D3, D4};

bool MenOfName(const char* name, Men* out) {
  if (name[0] != 'k') return false;
  const char* second = strchr(name + 1, 'k');
  if (!second || strlen(name) > MaxMen + 0u) return false;
  Men p = {};
  p.count = 2;
  p.man[0] = {0, King, White};
  p.man[1] = {0, King, Black};
  for (const char* c = name + 1; *c; c++) {
    if (c == second) continue;
    const int type = -PieceOfLetter(*c);  // names are written in lower case
    if (type <= 0 || type == King) return false;
    p.man[p.count++] = {0, type, c < second ? White : Black};
  }
  *out = p;
  return true;
}

static void BuildSymmetries() {
  for (int t = 0; t < 8; t++)
    for (int s = 0; s < 64; s++) {
      transformed[t][s] = Transform(t, s);
      if (InTriangle(transformed[t][s])) kingSymmetries[s][kingSymmetryCount[s]++] = t;
    }
}

void SetUpLayout(int table) {
  if (!kingSymmetryCount[0]) BuildSymmetries();
  WorkLayout& w = layout;
  w.table = table;
  MenOfName(tableCatalogue[table].name, &w.shape);
  w.pawns = false;
  for (int i = 0; i < w.shape.count; i++) w.pawns |= w.shape.man[i].type == Pawn;
  w.size = (w.pawns ? 32 : 10) * 64;
  for (int i = 2; i < w.shape.count; i++) {
    const Man& m = w.shape.man[i];
    w.radix[i] = m.type == Pawn ? 48 : 64;
    w.size *= w.radix[i];
    const Man& previous = w.shape.man[i - 1];
    w.likeStart[i] = i > 2 && previous.type == m.type && previous.side == m.side ? w.likeStart[i - 1] : i;
  }
  for (int i = w.shape.count - 1; i >= 2; i--)
    w.likeEnd[i] = i + 1 < w.shape.count && w.likeStart[i + 1] == w.likeStart[i] ? w.likeEnd[i + 1] : i;
  w.likeStart[1] = w.likeEnd[1] = 1;
  uint64_t weight = 1;
  for (int i = w.shape.count - 1; i >= 1; i--) {
    w.weight[i] = weight;
    weight *= i >= 2 ? w.radix[i] : 64;
  }
}

static uint64_t IndexUnder(const Men& p, int t) {
  const WorkLayout& w = layout;
  int square[MaxMen];
  for (int i = 0; i < p.count; i++) square[i] = transformed[t][p.man[i].square];
  // Like men are interchangeable: the position is stored once, with their squares ascending.
  for (int i = 3; i < p.count; i++)
    for (int j = i; j > w.likeStart[i] && square[j - 1] > square[j]; j--) {
      const int s = square[j];
      square[j] = square[j - 1];
      square[j - 1] = s;
    }
  const int king = square[0];
  uint64_t index = uint64_t(w.pawns ? RankOf(king) * 4 + FileOf(king) : TriangleSlot(king)) * 64 + square[1];
  for (int i = 2; i < p.count; i++) index = index * w.radix[i] + (w.radix[i] == 48 ? square[i] - 8 : square[i]);
  return index;
}

uint64_t WorkIndex(const Men& p) {
  const int king = p.man[0].square;
  if (layout.pawns) return IndexUnder(p, FileOf(king) > 3 ? 1 : 0);
  uint64_t best = IndexUnder(p, kingSymmetries[king][0]);
  if (kingSymmetryCount[king] == 2) {
    const uint64_t other = IndexUnder(p, kingSymmetries[king][1]);
    if (other < best) best = other;
  }
  return best;
}

// The slot of the stronger king on a square its symmetry has brought into its region.
static int StrongKingSlot(int square) { return layout.pawns ? RankOf(square) * 4 + FileOf(square) : TriangleSlot(square); }

// A man's digit: its square as the symmetry places it, pawns counted from rank 2.
static int Digit(int man, int square) { return layout.radix[man] == 48 && man >= 2 ? square - 8 : square; }

// The share of a run of like men [first, last] in the index: their digits ascending, each at the
// weight of its place.
static uint64_t LikeTerm(int first, int last, const int* digit) {
  int sorted[MaxMen];
  for (int i = first; i <= last; i++) {
    int j = i;
    for (; j > first && sorted[j - 1] > digit[i]; j--) sorted[j] = sorted[j - 1];
    sorted[j] = digit[i];
  }
  uint64_t term = 0;
  for (int i = first; i <= last; i++) term += uint64_t(sorted[i]) * layout.weight[i];
  return term;
}

void SplitIndex(const Men& p, IndexTerms* terms) {
  const int king = p.man[0].square;
  if (layout.pawns) {
    terms->symmetries = 1;
    terms->symmetry[0] = FileOf(king) > 3 ? 1 : 0;
  } else {
    terms->symmetries = kingSymmetryCount[king];
    terms->symmetry[0] = kingSymmetries[king][0];
    terms->symmetry[1] = kingSymmetries[king][1];
  }
  for (int k = 0; k < terms->symmetries; k++) {
    const int t = terms->symmetry[k];
    int* digit = terms->digit[k];
    for (int i = 1; i < p.count; i++) digit[i] = Digit(i, transformed[t][p.man[i].square]);
    uint64_t index = uint64_t(StrongKingSlot(transformed[t][king])) * 64 * layout.weight[1];
    for (int i = 1; i < p.count; i++)
      if (layout.likeStart[i] == i) {
        terms->likeTerm[k][i] = LikeTerm(i, layout.likeEnd[i], digit);
        index += terms->likeTerm[k][i];
      }
    terms->index[k] = index;
  }
}

uint64_t WorkIndexMoved(const Men& p, const IndexTerms& terms, int man, int square) {
  if (man == 0) {
    // The stronger king keeps its one symmetry as long as it stays within the same region of
    // the board (half of it with pawns, one eighth without, off the diagonals): then only its
    // slot changes.
    const int from = p.man[0].square;
    const bool same = layout.pawns ? (FileOf(from) > 3) == (FileOf(square) > 3)
                                   : kingSymmetryCount[from] == 1 && kingSymmetryCount[square] == 1 &&
                                         kingSymmetries[from][0] == kingSymmetries[square][0];
    if (!same) {
      Men moved = p;
      moved.man[0].square = square;
      return WorkIndex(moved);
    }
    const int t = terms.symmetry[0];
    return terms.index[0] + (uint64_t(StrongKingSlot(transformed[t][square])) - uint64_t(StrongKingSlot(transformed[t][from]))) *
                                64 * layout.weight[1];
  }
  const int first = layout.likeStart[man], last = layout.likeEnd[man];
  uint64_t best = ~uint64_t(0);
  for (int k = 0; k < terms.symmetries; k++) {
    const int digit = Digit(man, transformed[terms.symmetry[k]][square]);
    uint64_t index;
    if (first == last) {
      index = terms.index[k] + (uint64_t(digit) - uint64_t(terms.digit[k][man])) * layout.weight[man];
    } else {
      int digits[MaxMen];
      for (int i = first; i <= last; i++) digits[i] = i == man ? digit : terms.digit[k][i];
      index = terms.index[k] - terms.likeTerm[k][first] + LikeTerm(first, last, digits);
    }
    if (index < best) best = index;
  }
  return best;
}

int WorkIndicesMoved(const Men& p, const IndexTerms& terms, int man, Bitboard squares, uint64_t* out) {
  int n = 0;
  if (man == 0 || layout.likeStart[man] != layout.likeEnd[man]) {
    while (squares) out[n++] = WorkIndexMoved(p, terms, man, PopLowest(squares));
    return n;
  }
  // A man alone of its kind changes one digit: a look-up and a multiplication per square under
  // each symmetry, the rest of the index the same for all of them.
  const uint64_t weight = layout.weight[man];
  uint64_t rest[2];
  for (int k = 0; k < terms.symmetries; k++) rest[k] = terms.index[k] - uint64_t(terms.digit[k][man]) * weight;
  const int* image = transformed[terms.symmetry[0]];
  if (terms.symmetries == 1) {
    while (squares) out[n++] = rest[0] + uint64_t(Digit(man, image[PopLowest(squares)])) * weight;
    return n;
  }
  const int* other = transformed[terms.symmetry[1]];
  while (squares) {
    const int square = PopLowest(squares);
    const uint64_t a = rest[0] + uint64_t(Digit(man, image[square])) * weight;
    const uint64_t b = rest[1] + uint64_t(Digit(man, other[square])) * weight;
    out[n++] = a < b ? a : b;
  }
  return n;
}

bool InLayout(const Men& p) {
  if (p.count != layout.shape.count) return false;
  for (int i = 0; i < p.count; i++)
    if (p.man[i].type != layout.shape.man[i].type) return false;
  return true;
}

Men MenOfWorkIndex(uint64_t index, int side) {
  const WorkLayout& w = layout;
  Men p = w.shape;
  p.toMove = side == 0 ? White : Black;
  uint64_t rest = index;
  // Each entry is decoded at least twice: the divisor is spelt out, so that both radices
  // compile to shifts and multiplications rather than divisions.
  for (int i = p.count - 1; i >= 2; i--) {
    if (w.radix[i] == 64) {
      p.man[i].square = int(rest & 63);
      rest >>= 6;
    } else {
      p.man[i].square = int(rest % 48) + 8;
      rest /= 48;
    }
  }
  p.man[1].square = int(rest % 64);
  const int slot = int(rest / 64);
  p.man[0].square = w.pawns ? (slot / 4) * 8 + slot % 4 : triangleSquare[slot];
  return p;
}

bool DecodeWork(uint64_t index, int side, Men* out) {
  const WorkLayout& w = layout;
  const Men p = MenOfWorkIndex(index, side);
  Bitboard seen = 0;
  for (int i = 0; i < p.count; i++) {
    if (seen & squareMask[p.man[i].square]) return false;
    seen |= squareMask[p.man[i].square];
  }
  // The index is canonical when like men stand in ascending order and, with the stronger king on
  // the diagonal, the mirror image across it has no smaller index (the identity comes first
  // among the king's symmetries): the same test as WorkIndex(p) == index at half the cost.
  for (int i = 3; i < p.count; i++)
    if (w.likeStart[i] != i && p.man[i - 1].square > p.man[i].square) return false;
  const int king = p.man[0].square;
  if (!w.pawns && kingSymmetryCount[king] == 2 && IndexUnder(p, kingSymmetries[king][1]) < index) return false;
  if (MenIllegal(p)) return false;
  *out = p;
  return true;
}

// Like men take the squares of their type in ascending order, which the layout sorts anyway.
bool MenOfTableMen(const TableMen& t, int side, Men* out) {
  Men p = layout.shape;
  p.toMove = side == 0 ? White : Black;
  Bitboard left[2][7];
  memcpy(left, t.men, sizeof left);
  for (int i = 0; i < p.count; i++) {
    Bitboard& squares = left[p.man[i].side == White ? 0 : 1][p.man[i].type];
    if (!squares) return false;
    p.man[i].square = PopLowest(squares);
  }
  *out = p;
  return !MenIllegal(p);
}
