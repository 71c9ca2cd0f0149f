#include "search/psqtables.h"

#include "board/bitboard.h"
#include "board/game.h"
#include "board/position.h"

int castlingLossPenalty[2];

// White's tables, drawn with rank 8 on top as on a diagram; Black reads them mirrored.
static const int pawnPsq[64] = {
    0,    0,    0,    0,    0,    0,    0,    0,
   50,  100,  150,  200,  200,  150,  100,   50,
   40,   80,  120,  160,  160,  120,   80,   40,
   10,   35,   40,   60,   60,   40,   35,   10,
   20,   45,   60,   80,   80,   60,   45,   20,   // the fourth rank outranks the fifth on a, b, h
   10,   20,   30,  -80,  -80,   30,   20,   10,
    0,    0,    0, -400, -400,    0,    0,    0,   // unmoved centre pawns block the bishops
    0,    0,    0,    0,    0,    0,    0,    0};

static const int knightPsq[64] = {
  -100, -100, -100, -100, -100, -100, -100, -100,
  -100,    0,    0,    0,    0,    0,    0, -100,
  -100,    0,   50,   50,   50,   50,    0, -100,
     0,    0,   50,  100,  100,   50,    0,    0,
     0,    0,   50,  100,  100,   50,    0,    0,
  -100,    0,   50,   50,   50,   50,    0, -100,
  -100,    0,    0,    0,    0,    0,    0, -100,
  -100, -300, -100, -100, -100, -100, -300, -100};

static const int bishopPsq[64] = {
  -100, -100, -100, -100, -100, -100, -100, -100,
  -100,    0,    0,    0,    0,    0,    0, -100,
  -100,    0,   50,   50,   50,   50,    0, -100,
  -100,    0,   50,  100,  100,   50,    0, -100,
  -100,    0,   50,  100,  100,   50,    0, -100,
  -100,    0,   50,   50,   50,   50,    0, -100,
  -100,    0,    0,    0,    0,    0,    0, -100,
  -100, -100, -200, -100, -100, -200, -100, -100};

static const int rookPsq[64] = {
   50,   50,   50,   50,   50,   50,   50,   50,
    0,    0,    0,    0,    0,    0,    0,    0,
    0,    0,    0,    0,    0,    0,    0,    0,
    0,    0,    0,    0,    0,    0,    0,    0,
    0,    0,    0,    0,    0,    0,    0,    0,
    0,    0,    0,    0,    0,    0,    0,    0,
    0,    0,    0,    0,    0,    0,    0,    0,
    0,    0,    0,    0,    0,    0,    0,    0};

static const int kingEndgamePsq[64] = {
    0,  100,  200,  300,  300,  200,  100,    0,
  100,  200,  300,  400,  400,  300,  200,  100,
  200,  300,  400,  500,  500,  400,  300,  200,
  300,  400,  500,  600,  600,  500,  400,  300,
  300,  400,  500,  600,  600,  500,  400,  300,
  200,  300,  400,  500,  500,  400,  300,  200,
  100,  200,  300,  400,  400,  300,  200,  100,
    0,  100,  200,  300,  300,  200,  100,    0};

// Queen's side and king's side differ on purpose.
static const int kingMiddlegamePsq[64] = {
  -80,  -80,  -80,  -80,  -80,  -80,  -80,  -80,
  -80,  -80,  -80,  -80,  -80,  -80,  -80,  -80,
  -80,  -80,  -80,  -80,  -80,  -80,  -80,  -80,
  -80,  -80,  -80,  -80,  -80,  -80,  -80,  -80,
  -80,  -80,  -80,  -80,  -80,  -80,  -80,  -80,
  -80,  -80,  -80,  -80,  -80,  -80,  -80,  -80,
   80,   70,  -40,  -40,  -40,  -40,   30,    0,
   90,   90,   80,  -40,    0,  -40,   80,   30};

// Below this much enemy piece material (pawns not counted) the king heads for the centre.
constexpr int KingEndgameMaterial = 9000;
// The castling-loss penalty applies while the game is younger than this many half-moves.
constexpr int OpeningHalfMoves = 30;

// Read from the bitboards: a position being set up has no type counts yet.
static int PieceMaterial(int side) {
  const Bitboard* p = pos.pieces[side];
  return 3000 * (PopCount(p[KnightSlot]) + PopCount(p[BishopSlot])) + 5000 * PopCount(p[RookSlot]) +
         9000 * PopCount(p[QueenSlot]);
}

// Diagram row 0 is rank 8, so White's square s is diagram entry s ^ 56; Black's square s ^ 56
// takes White's value of s.
static void Fill(int type, const int* diagram) {
  for (int s = 0; s < 64; s++) {
    pieceSquareTables[White][type][s] = diagram[s ^ 56];
    pieceSquareTables[Black][type][s ^ 56] = diagram[s ^ 56];
  }
}

void BuildPieceSquareTables() {
  const bool young = gameRecord.moveCount < OpeningHalfMoves;
  castlingLossPenalty[White] = young && (pos.castleFlags & (WhiteKingSide | WhiteQueenSide)) ? -300 : 0;
  castlingLossPenalty[Black] = young && (pos.castleFlags & (BlackKingSide | BlackQueenSide)) ? -300 : 0;

  Fill(Pawn, pawnPsq);
  Fill(Knight, knightPsq);
  Fill(Bishop, bishopPsq);
  Fill(Rook, rookPsq);
  for (int s = 0; s < 64; s++) {
    pieceSquareTables[White][Queen][s] = pieceSquareTables[Black][Queen][s] = 0;
    pieceSquareTables[White][NoPiece][s] = pieceSquareTables[Black][NoPiece][s] = 0;
  }
  for (int side = Black; side <= White; side++) {
    const int* king = PieceMaterial(side ^ 1) < KingEndgameMaterial ? kingEndgamePsq : kingMiddlegamePsq;
    for (int s = 0; s < 64; s++) {
      const int whiteSquare = side == White ? s : s ^ 56;
      pieceSquareTables[side][King][s] = king[whiteSquare ^ 56];
    }
  }
}
