#include "board/fen.h"

#include <cstdio>

#include "board/bitboard.h"
#include "board/keys.h"
#include "board/output.h"
#include "board/position.h"
#include "board/positionok.h"
#include "board/psqscore.h"

Position pos;

const int displayOrder[64] = {
  56, 57, 58, 59, 60, 61, 62, 63, 48, 49, 50, 51, 52, 53, 54, 55,
  40, 41, 42, 43, 44, 45, 46, 47, 32, 33, 34, 35, 36, 37, 38, 39,
  24, 25, 26, 27, 28, 29, 30, 31, 16, 17, 18, 19, 20, 21, 22, 23,
   8,  9, 10, 11, 12, 13, 14, 15,  0,  1,  2,  3,  4,  5,  6,  7};

static const char pieceLetters[] = " PNBRQK";

Bitboard MapBitboard(Bitboard b, const int* table) {
  Bitboard mapped = 0;
  while (b) mapped |= 1ULL << table[PopLowest(b)];
  return mapped;
}

int PieceOfLetter(char c) {
  for (int type = Pawn; type <= King; type++) {
    if (c == pieceLetters[type]) return type;
    if (c == pieceLetters[type] + ('a' - 'A')) return -type;
  }
  return 0;
}

static bool IsBlank(char c) { return c == ' ' || c == '\t'; }

static const char* ReadPlacement(const char* p) {
  int n = 0;
  for (; *p && n < 64; p++) {
    const char c = *p;
    if (c == ' ') break;
    if (c == '/') {
      if (n % 8) Print("Error in epd decoding %d\n", n);
    } else if (c >= '1' && c <= '8') {
      n += c - '0';
    } else if (int piece = PieceOfLetter(c)) {
      const int square = displayOrder[n];
      const int side = piece > 0 ? White : Black;
      const int type = piece > 0 ? piece : -piece;
      pos.pieces[side][pieceSlot[type]] |= squareMask[square];
      pos.board[square] = piece;
      n++;
    }
  }
  if (n != 64) Print("Error in epd decoding %d\n", n);
  return p;
}

// Castling letters count only in the order K, Q, k, q; one more character (the "-" of an empty
// field, or the blank after the letters) is passed over.
static const char* ReadCastling(const char* p) {
  static const struct { char letter; uint32_t flag; } order[4] = {
    {'K', WhiteKingSide}, {'Q', WhiteQueenSide}, {'k', BlackKingSide}, {'q', BlackQueenSide}};
  for (const auto& o : order)
    if (*p == o.letter) pos.castleFlags |= o.flag, p++;
  if (*p) p++;
  while (IsBlank(*p)) p++;
  return p;
}

// A right survives only with its king and rook at home.
static void CheckCastling() {
  const int* b = pos.board;
  if (!(b[E1] == King && b[H1] == Rook)) pos.castleFlags &= ~uint32_t(WhiteKingSide);
  if (!(b[E1] == King && b[A1] == Rook)) pos.castleFlags &= ~uint32_t(WhiteQueenSide);
  if (!(b[E8] == -King && b[H8] == -Rook)) pos.castleFlags &= ~uint32_t(BlackKingSide);
  if (!(b[E8] == -King && b[A8] == -Rook)) pos.castleFlags &= ~uint32_t(BlackQueenSide);
}

static void ComputeDerived() {
  for (int side = Black; side <= White; side++) {
    const Bitboard* p = pos.pieces[side];
    pos.colourOcc[side] = p[0] | p[1] | p[2] | p[3] | p[4] | p[5];
  }
  pos.occupied = pos.colourOcc[White] | pos.colourOcc[Black];
  pos.rooksQueens = pos.bishopsQueens = 0;
  for (int side = Black; side <= White; side++) {
    pos.rooksQueens |= pos.pieces[side][RookSlot] | pos.pieces[side][QueenSlot];
    pos.bishopsQueens |= pos.pieces[side][BishopSlot] | pos.pieces[side][QueenSlot];
  }
  if (!pos.pieces[White][KingSlot] || !pos.pieces[Black][KingSlot]) Print("Error in position : king not found\n");
  for (int side = Black; side <= White; side++)
    pos.kingSquare[side] = pos.pieces[side][KingSlot] ? LowestBit(pos.pieces[side][KingSlot]) : 0;
  pos.occupiedR90 = MapBitboard(pos.occupied, rot90);
  pos.occupiedA1H8 = MapBitboard(pos.occupied, rot45A1H8);
  pos.occupiedH1A8 = MapBitboard(pos.occupied, rot45H1A8);
}

static void ComputeCounts() {
  const Bitboard(*p)[6] = pos.pieces;
  for (int side = Black; side <= White; side++) {
    pos.pieceCount[side] = PopCount(p[side][KnightSlot] | p[side][BishopSlot] | p[side][RookSlot] | p[side][QueenSlot]);
    pos.pawnCount[side] = PopCount(p[side][PawnSlot]);
  }
  auto difference = [p](int slot) { return PopCount(p[White][slot]) - PopCount(p[Black][slot]); };
  pos.material = 3000 * (difference(KnightSlot) + difference(BishopSlot)) + 5000 * difference(RookSlot) +
                 9000 * difference(QueenSlot) + 1000 * difference(PawnSlot);
}

static void ComputeKeys() {
  pos.hashKey = pos.sideToMove == White ? whiteToMoveKey : blackToMoveKey;
  pos.pawnKey = 0;
  for (int s = 0; s < 64; s++) {
    const int v = pos.board[s];
    if (!v) continue;
    const int side = v > 0 ? White : Black;
    const int type = v > 0 ? v : -v;
    pos.hashKey ^= pieceKey[side][type][s];
    if (type == Pawn) pos.pawnKey ^= pawnKey[side][s];
  }
}

void SetPosition(const char* text) {
  pos.ttAge = 0;
  for (int& b : pos.board) b = 0;
  for (auto& side : pos.pieces)
    for (Bitboard& b : side) b = 0;
  pos.epSquare = 0;
  pos.castleFlags = 0;

  const char* p = ReadPlacement(text);
  pos.sideToMove = p[0] == ' ' && p[1] == 'b' ? Black : White;
  for (int i = 0; i < 2 && *p; i++) p++;
  while (IsBlank(*p)) p++;
  p = ReadCastling(p);
  if (p[0] >= 'a' && p[0] <= 'h') {
    if (p[1] == '6' && pos.sideToMove == White) pos.epSquare = 40 + (p[0] - 'a');
    if (p[1] == '3' && pos.sideToMove == Black) pos.epSquare = 16 + (p[0] - 'a');
  }

  ComputeDerived();
  CheckCastling();
  ComputeCounts();
  pos.psqScore = ComputePsqScore();
  for (int side = Black; side <= White; side++)
    for (int type = Pawn; type <= Queen; type++) pos.typeCount[side][type] = PopCount(pos.pieces[side][pieceSlot[type]]);
  ComputeKeys();
  OSTREL_NOTE_POSITION_SET();
}

void SetInitialPosition() {
  SetPosition("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w");
  pos.castleFlags = WhiteKingSide | WhiteQueenSide | BlackKingSide | BlackQueenSide;
}

const char* PositionToEpd() {
  static char text[128];
  char* out = text;
  for (int rank = 7; rank >= 0; rank--) {
    int empty = 0;
    for (int file = 0; file < 8; file++) {
      const int square = rank * 8 + file;
      const int v = pos.board[square];
      if (v == 0) {
        empty++;
        continue;
      }
      if (v < -King || v > King) {
        Print("Print EPD : cannot identify piece on square %d\n", square);
        continue;
      }
      if (empty) *out++ = char('0' + empty), empty = 0;
      *out++ = v > 0 ? pieceLetters[v] : char(pieceLetters[-v] + ('a' - 'A'));
    }
    if (empty) *out++ = char('0' + empty);
    if (rank) *out++ = '/';
  }
  *out++ = ' ';
  *out++ = pos.sideToMove == White ? 'w' : 'b';
  *out++ = ' ';
  static const struct { char letter; uint32_t flag; } order[4] = {
    {'K', WhiteKingSide}, {'Q', WhiteQueenSide}, {'k', BlackKingSide}, {'q', BlackQueenSide}};
  if (!(pos.castleFlags & 15)) *out++ = '-';
  for (const auto& o : order)
    if (pos.castleFlags & o.flag) *out++ = o.letter;
  *out++ = ' ';
  if (pos.epSquare) {
    *out++ = char('a' + FileOf(pos.epSquare));
    *out++ = char('1' + RankOf(pos.epSquare));
  } else {
    *out++ = '-';
    *out++ = ' ';
  }
  *out = 0;
  return text;
}
