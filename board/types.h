// Codes shared by the whole engine: squares, sides, piece types, packed moves.
#pragma once

#include <cstdint>

typedef uint64_t Bitboard;

// A move packs everything make/unmake needs; the side is deliberately not part of it.
//   bits 0-5 from, 6-11 to, 12-14 moving type, 15-17 captured type (pawn for en passant),
//   18-20 promotion type. Castling is the king's two-square move. 0 is no move.
typedef uint32_t Move;

// White is 1 and Black 0 everywhere a side indexes a table.
enum Side { Black = 0, White = 1 };

enum PieceType { NoPiece = 0, Pawn = 1, Knight = 2, Bishop = 3, Rook = 4, Queen = 5, King = 6 };

// Slots of Position::pieces: rooks come before knights, unlike the PieceType order.
enum PieceSlot { PawnSlot = 0, RookSlot = 1, KnightSlot = 2, BishopSlot = 3, QueenSlot = 4, KingSlot = 5 };

enum Square {
  A1, B1, C1, D1, E1, F1, G1, H1,
  A2, B2, C2, D2, E2, F2, G2, H2,
  A3, B3, C3, D3, E3, F3, G3, H3,
  A4, B4, C4, D4, E4, F4, G4, H4,
  A5, B5, C5, D5, E5, F5, G5, H5,
  A6, B6, C6, D6, E6, F6, G6, H6,
  A7, B7, C7, D7, E7, F7, G7, H7,
  A8, B8, C8, D8, E8, F8, G8, H8
};

// castleFlags bits
enum CastleFlag : uint32_t {
  WhiteQueenSide = 1, WhiteKingSide = 2, BlackQueenSide = 4, BlackKingSide = 8,
  WhiteCastled = 16, BlackCastled = 32
};

// Material units: a pawn is 1000.
extern const int pieceValue[7];

// Indexed by PieceType; the Position's pieces[] slot that holds that type.
constexpr int pieceSlot[7] = {0, PawnSlot, KnightSlot, BishopSlot, RookSlot, QueenSlot, KingSlot};

inline int MoveFrom(Move m) { return m & 63; }
inline int MoveTo(Move m) { return (m >> 6) & 63; }
inline int MovePiece(Move m) { return (m >> 12) & 7; }
inline int MoveCaptured(Move m) { return (m >> 15) & 7; }
inline int MovePromotion(Move m) { return (m >> 18) & 7; }

inline Move EncodeMove(int from, int to, int piece, int captured, int promotion) {
  return Move(from) | Move(to) << 6 | Move(piece) << 12 | Move(captured) << 15 | Move(promotion) << 18;
}

inline int FileOf(int square) { return square & 7; }
inline int RankOf(int square) { return square >> 3; }

// Room for every move of any position a FEN can describe, not only those of real games (218
// at most): no piece has more than 27 moves, and a pawn has at most 12, so 64 pieces stay below.
constexpr int MaxMoves = 2048;
