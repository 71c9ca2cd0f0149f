#include "board/positionok.h"

#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "board/bitboard.h"
#include "board/keys.h"
#include "board/position.h"
#include "search/psqtables.h"

static const char* const sideNames[2] = {"Black", "White"};
static const char* const slotNames[6] = {"pawns", "rooks", "knights", "bishops", "queens", "king"};

// Only the first disagreement is kept; later ones are usually its consequences.
static char fault[160];

static void Fail(const char* format, ...) {
  if (fault[0]) return;
  va_list args;
  va_start(args, format);
  vsnprintf(fault, sizeof fault, format, args);
  va_end(args);
}

static void CompareBits(const char* field, uint64_t have, uint64_t want) {
  if (have != want) Fail("%s: have 0x%016" PRIX64 ", want 0x%016" PRIX64, field, have, want);
}

static void CompareInt(const char* field, long long have, long long want) {
  if (have != want) Fail("%s: have %lld, want %lld", field, have, want);
}

const char* PositionFault(int sideToMove) {
  fault[0] = 0;
  char field[48];
  Bitboard pieces[2][6] = {};
  int count[2][7] = {};
  int material = 0;
  uint64_t hash = sideToMove == White ? whiteToMoveKey : blackToMoveKey, pawns = 0;
  for (int s = 0; s < 64; s++) {
    const int v = pos.board[s];
    if (v < -King || v > King) {
      Fail("board[%d] = %d is no piece code", s, v);
      return fault;
    }
    if (!v) continue;
    const int side = v > 0 ? White : Black;
    const int type = v > 0 ? v : -v;
    pieces[side][pieceSlot[type]] |= squareMask[s];
    count[side][type]++;
    if (type != King) material += (side == White ? 1 : -1) * pieceValue[type];
    hash ^= pieceKey[side][type][s];
    if (type == Pawn) pawns ^= pawnKey[side][s];
  }

  Bitboard colour[2] = {0, 0}, rooksQueens = 0, bishopsQueens = 0;
  for (int side = Black; side <= White; side++) {
    for (int slot = 0; slot < 6; slot++) {
      snprintf(field, sizeof field, "pieces[%s][%s]", sideNames[side], slotNames[slot]);
      CompareBits(field, pos.pieces[side][slot], pieces[side][slot]);
      colour[side] |= pieces[side][slot];
    }
    rooksQueens |= pieces[side][RookSlot] | pieces[side][QueenSlot];
    bishopsQueens |= pieces[side][BishopSlot] | pieces[side][QueenSlot];
  }
  const Bitboard occupied = colour[White] | colour[Black];
  CompareBits("colourOcc[White]", pos.colourOcc[White], colour[White]);
  CompareBits("colourOcc[Black]", pos.colourOcc[Black], colour[Black]);
  CompareBits("occupied", pos.occupied, occupied);
  CompareBits("occupiedR90", pos.occupiedR90, MapBitboard(occupied, rot90));
  CompareBits("occupiedA1H8", pos.occupiedA1H8, MapBitboard(occupied, rot45A1H8));
  CompareBits("occupiedH1A8", pos.occupiedH1A8, MapBitboard(occupied, rot45H1A8));
  CompareBits("rooksQueens", pos.rooksQueens, rooksQueens);
  CompareBits("bishopsQueens", pos.bishopsQueens, bishopsQueens);

  for (int side = Black; side <= White; side++) {
    const char* name = sideNames[side];
    const Bitboard king = pieces[side][KingSlot];
    snprintf(field, sizeof field, "kingSquare[%s]", name);
    CompareInt(field, pos.kingSquare[side], king ? LowestBit(king) : 0);
    snprintf(field, sizeof field, "pieceCount[%s]", name);
    CompareInt(field, pos.pieceCount[side],
              count[side][Knight] + count[side][Bishop] + count[side][Rook] + count[side][Queen]);
    snprintf(field, sizeof field, "pawnCount[%s]", name);
    CompareInt(field, pos.pawnCount[side], count[side][Pawn]);
    for (int type = Pawn; type <= Queen; type++) {
      snprintf(field, sizeof field, "typeCount[%s][%d]", name, type);
      CompareInt(field, pos.typeCount[side][type], count[side][type]);
    }
  }
  CompareInt("material", pos.material, material);
  CompareInt("psqScore", pos.psqScore, ComputePsqScore());
  CompareBits("hashKey", pos.hashKey, hash);
  CompareBits("pawnKey", pos.pawnKey, pawns);

  // Make clears rights by square, which is only right while every right has its pieces at home.
  static const struct { uint32_t flag; int king, kingValue, rook, rookValue; } rights[4] = {
      {WhiteKingSide, E1, King, H1, Rook}, {WhiteQueenSide, E1, King, A1, Rook},
      {BlackKingSide, E8, -King, H8, -Rook}, {BlackQueenSide, E8, -King, A8, -Rook}};
  for (const auto& r : rights)
    if ((pos.castleFlags & r.flag) && (pos.board[r.king] != r.kingValue || pos.board[r.rook] != r.rookValue))
      Fail("castleFlags: right %u held without king and rook at home", r.flag);
  if (pos.castleFlags & ~63u) Fail("castleFlags: unknown bits in 0x%X", pos.castleFlags);
  if (pos.epSquare && (pos.epSquare < 0 || pos.epSquare > 63 || RankOf(pos.epSquare) != (sideToMove == White ? 5 : 2)))
    Fail("epSquare: %d is not on the rank %s takes on", pos.epSquare, sideNames[sideToMove]);
  return fault;
}

void AssertPositionOk(int sideToMove) {
  if (PopCount(pos.pieces[White][KingSlot]) != 1 || PopCount(pos.pieces[Black][KingSlot]) != 1) return;
  if (PositionOk(sideToMove)) return;
  fprintf(stderr, "PositionOk: %s\n", fault);
  abort();
}
