#include "board/positionok.h"

#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "board/bitboard.h"
#include "board/keys.h"
#include "board/position.h"
#include "board/psqscore.h"

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

enum Shown { AsBits, AsNumber };

// The field's name is formatted only when it disagrees: naming every field on every call would
// cost more than the check itself.
static void Compare(Shown shown, int64_t have, int64_t want, const char* field, ...) {
  if (have == want || fault[0]) return;
  char name[48];
  va_list args;
  va_start(args, field);
  vsnprintf(name, sizeof name, field, args);
  va_end(args);
  if (shown == AsBits)
    Fail("%s: have 0x%016" PRIX64 ", want 0x%016" PRIX64, name, uint64_t(have), uint64_t(want));
  else Fail("%s: have %" PRId64 ", want %" PRId64, name, have, want);
}

const char* PositionFault(int sideToMove) {
  fault[0] = 0;
  Bitboard pieces[2][6] = {};
  int count[2][7] = {};
  int material = 0;
  uint64_t hash = 0, pawns = 0;
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
      Compare(AsBits, pos.pieces[side][slot], pieces[side][slot], "pieces[%s][%s]", sideNames[side],
              slotNames[slot]);
      colour[side] |= pieces[side][slot];
    }
    rooksQueens |= pieces[side][RookSlot] | pieces[side][QueenSlot];
    bishopsQueens |= pieces[side][BishopSlot] | pieces[side][QueenSlot];
  }
  const Bitboard occupied = colour[White] | colour[Black];
  Compare(AsBits, pos.colourOcc[White], colour[White], "colourOcc[White]");
  Compare(AsBits, pos.colourOcc[Black], colour[Black], "colourOcc[Black]");
  Compare(AsBits, pos.occupied, occupied, "occupied");
  Compare(AsBits, pos.occupiedR90, MapBitboard(occupied, rot90), "occupiedR90");
  Compare(AsBits, pos.occupiedA1H8, MapBitboard(occupied, rot45A1H8), "occupiedA1H8");
  Compare(AsBits, pos.occupiedH1A8, MapBitboard(occupied, rot45H1A8), "occupiedH1A8");
  Compare(AsBits, pos.rooksQueens, rooksQueens, "rooksQueens");
  Compare(AsBits, pos.bishopsQueens, bishopsQueens, "bishopsQueens");

  for (int side = Black; side <= White; side++) {
    const char* name = sideNames[side];
    const Bitboard king = pieces[side][KingSlot];
    Compare(AsNumber, pos.kingSquare[side], king ? LowestBit(king) : 0, "kingSquare[%s]", name);
    Compare(AsNumber, pos.pieceCount[side],
            count[side][Knight] + count[side][Bishop] + count[side][Rook] + count[side][Queen], "pieceCount[%s]", name);
    Compare(AsNumber, pos.pawnCount[side], count[side][Pawn], "pawnCount[%s]", name);
    for (int type = Pawn; type <= Queen; type++)
      Compare(AsNumber, pos.typeCount[side][type], count[side][type], "typeCount[%s][%d]", name, type);
  }
  Compare(AsNumber, pos.material, material, "material");
  Compare(AsNumber, pos.psqScore, ComputePsqScore(), "psqScore");
  const bool eitherKey = sideToMove == AnySide && pos.hashKey == (hash ^ blackToMoveKey);
  if (!eitherKey)
    Compare(AsBits, pos.hashKey, hash ^ (sideToMove == Black ? blackToMoveKey : whiteToMoveKey), "hashKey");
  Compare(AsBits, pos.pawnKey, pawns, "pawnKey");

  // Make clears rights by square, which is only right while every right has its pieces at home.
  static const struct { uint32_t flag; int king, kingValue, rook, rookValue; } rights[4] = {
      {WhiteKingSide, E1, King, H1, Rook}, {WhiteQueenSide, E1, King, A1, Rook},
      {BlackKingSide, E8, -King, H8, -Rook}, {BlackQueenSide, E8, -King, A8, -Rook}};
  for (const auto& r : rights)
    if ((pos.castleFlags & r.flag) && (pos.board[r.king] != r.kingValue || pos.board[r.rook] != r.rookValue))
      Fail("castleFlags: right %u held without king and rook at home", r.flag);
  if (pos.castleFlags & ~63u) Fail("castleFlags: unknown bits in 0x%X", pos.castleFlags);
  const int ep = pos.epSquare;
  const bool epRankOk = ep >= 0 && ep <= 63 &&
                        (sideToMove == AnySide ? RankOf(ep) == 2 || RankOf(ep) == 5
                                               : RankOf(ep) == (sideToMove == White ? 5 : 2));
  if (ep && !epRankOk) Fail("epSquare: %d is not on a rank the side to move takes on", ep);
  return fault;
}

bool positionTrusted = true;

static bool OneKingEach() {
  return PopCount(pos.pieces[White][KingSlot]) == 1 && PopCount(pos.pieces[Black][KingSlot]) == 1;
}

void NotePositionSet() { positionTrusted = OneKingEach() && PositionOk(AnySide); }

void AssertPositionOk() {
  if (!positionTrusted || !OneKingEach()) return;
  if (PositionOk(AnySide)) return;
  fprintf(stderr, "PositionOk: %s\n", fault);
  abort();
}
