#include "tools/tbgen/layout.h"

#include <cstring>

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

bool InLayout(const Men& p) {
  if (p.count != layout.shape.count) return false;
  for (int i = 0; i < p.count; i++)
    if (p.man[i].type != layout.shape.man[i].type) return false;
  return true;
}

bool DecodeWork(uint64_t index, int side, Men* out) {
  const WorkLayout& w = layout;
  Men p = w.shape;
  p.toMove = side == 0 ? White : Black;
  uint64_t rest = index;
  for (int i = p.count - 1; i >= 2; i--) {
    const int digit = int(rest % w.radix[i]);
    rest /= w.radix[i];
    p.man[i].square = w.radix[i] == 48 ? digit + 8 : digit;
  }
  p.man[1].square = int(rest % 64);
  const int slot = int(rest / 64);
  p.man[0].square = w.pawns ? (slot / 4) * 8 + slot % 4 : triangleSquare[slot];
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

// The men of a decoded published entry in the working layout's order: like men take the
// squares of their type in ascending order, which the layout sorts anyway.
bool MenOfTablePosition(const TablePosition& t, int side, Men* out) {
  Men p = layout.shape;
  p.toMove = side == 0 ? White : Black;
  Bitboard used = 0;
  for (int i = 0; i < p.count; i++) {
    const int* squares = p.man[i].side == White ? t.strong : t.weak;
    int s = 0;
    while (s < 64 && (squares[s] != p.man[i].type || (used & squareMask[s]))) s++;
    if (s == 64) return false;
    used |= squareMask[s];
    p.man[i].square = s;
  }
  *out = p;
  return !MenIllegal(p);
}

