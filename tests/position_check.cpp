#include "tests/position_check.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <fstream>

#include <gtest/gtest.h>

#include "board/bitboard.h"
#include "board/fen.h"
#include "board/keys.h"
#include "board/movegen.h"
#include "search/psqtables.h"

namespace ostrel_test {

namespace {

const char* const sideNames[2] = {"Black", "White"};
const char* const slotNames[6] = {"pawns", "rooks", "knights", "bishops", "queens", "king"};

std::string Hex(uint64_t v) {
  char text[24];
  snprintf(text, sizeof text, "0x%016" PRIX64, v);
  return text;
}

std::string Mismatch(const std::string& field, const std::string& have, const std::string& want) {
  return field + ": have " + have + ", want " + want;
}

// Accumulates the first disagreement only; later ones are usually its consequences.
struct Audit {
  std::string first;
  void Bits(const std::string& field, uint64_t have, uint64_t want) {
    if (first.empty() && have != want) first = Mismatch(field, Hex(have), Hex(want));
  }
  void Int(const std::string& field, long long have, long long want) {
    if (first.empty() && have != want) first = Mismatch(field, std::to_string(have), std::to_string(want));
  }
  void Fail(const std::string& text) {
    if (first.empty()) first = text;
  }
};

}  // namespace

std::string CheckPosition(int sideToMove) {
  Audit audit;
  Bitboard pieces[2][6] = {};
  int count[2][7] = {};
  for (int s = 0; s < 64; s++) {
    const int v = pos.board[s];
    if (v < -King || v > King) {
      audit.Fail("board[" + std::to_string(s) + "] = " + std::to_string(v) + " is no piece code");
      return audit.first;
    }
    if (!v) continue;
    const int side = v > 0 ? White : Black;
    const int type = v > 0 ? v : -v;
    pieces[side][pieceSlot[type]] |= 1ULL << s;
    count[side][type]++;
  }

  Bitboard colour[2] = {0, 0};
  Bitboard rooksQueens = 0, bishopsQueens = 0;
  for (int side = Black; side <= White; side++) {
    for (int slot = 0; slot < 6; slot++) {
      audit.Bits(std::string("pieces[") + sideNames[side] + "][" + slotNames[slot] + "]", pos.pieces[side][slot],
                 pieces[side][slot]);
      colour[side] |= pieces[side][slot];
    }
    rooksQueens |= pieces[side][RookSlot] | pieces[side][QueenSlot];
    bishopsQueens |= pieces[side][BishopSlot] | pieces[side][QueenSlot];
  }
  const Bitboard occupied = colour[White] | colour[Black];
  audit.Bits("colourOcc[White]", pos.colourOcc[White], colour[White]);
  audit.Bits("colourOcc[Black]", pos.colourOcc[Black], colour[Black]);
  audit.Bits("occupied", pos.occupied, occupied);
  audit.Bits("occupiedR90", pos.occupiedR90, MapBitboard(occupied, rot90));
  audit.Bits("occupiedA1H8", pos.occupiedA1H8, MapBitboard(occupied, rot45A1H8));
  audit.Bits("occupiedH1A8", pos.occupiedH1A8, MapBitboard(occupied, rot45H1A8));
  audit.Bits("rooksQueens", pos.rooksQueens, rooksQueens);
  audit.Bits("bishopsQueens", pos.bishopsQueens, bishopsQueens);

  int material = 0;
  for (int side = Black; side <= White; side++) {
    const std::string name = sideNames[side];
    const Bitboard king = pieces[side][KingSlot];
    audit.Int("kingSquare[" + name + "]", pos.kingSquare[side], king ? LowestBit(king) : 0);
    audit.Int("pieceCount[" + name + "]", pos.pieceCount[side],
              count[side][Knight] + count[side][Bishop] + count[side][Rook] + count[side][Queen]);
    audit.Int("pawnCount[" + name + "]", pos.pawnCount[side], count[side][Pawn]);
    for (int type = Pawn; type <= Queen; type++) {
      audit.Int("typeCount[" + name + "][" + std::to_string(type) + "]", pos.typeCount[side][type], count[side][type]);
      material += (side == White ? 1 : -1) * pieceValue[type] * count[side][type];
    }
  }
  audit.Int("material", pos.material, material);
  audit.Int("psqScore", pos.psqScore, ComputePsqScore());

  uint64_t hash = sideToMove == White ? whiteToMoveKey : blackToMoveKey, pawns = 0;
  for (int s = 0; s < 64; s++) {
    const int v = pos.board[s];
    if (!v) continue;
    const int side = v > 0 ? White : Black;
    hash ^= pieceKey[side][v > 0 ? v : -v][s];
    if (v == Pawn || v == -Pawn) pawns ^= pawnKey[side][s];
  }
  audit.Bits("hashKey", pos.hashKey, hash);
  audit.Bits("pawnKey", pos.pawnKey, pawns);

  // Make clears rights by square, which is only right while every right has its pieces at home.
  static const struct { uint32_t flag; int king, kingValue, rook, rookValue; } rights[4] = {
      {WhiteKingSide, E1, King, H1, Rook}, {WhiteQueenSide, E1, King, A1, Rook},
      {BlackKingSide, E8, -King, H8, -Rook}, {BlackQueenSide, E8, -King, A8, -Rook}};
  for (const auto& r : rights)
    if ((pos.castleFlags & r.flag) && (pos.board[r.king] != r.kingValue || pos.board[r.rook] != r.rookValue))
      audit.Fail("castleFlags: right " + std::to_string(r.flag) + " held without king and rook at home");
  if (pos.castleFlags & ~63u) audit.Fail("castleFlags: unknown bits in " + Hex(pos.castleFlags));
  if (pos.epSquare && (pos.epSquare < 0 || pos.epSquare > 63 || RankOf(pos.epSquare) != (sideToMove == White ? 5 : 2)))
    audit.Fail("epSquare: " + std::to_string(pos.epSquare) + " is not on the rank " + sideNames[sideToMove] +
               " takes on");
  return audit.first;
}

std::string DiffPositions(const Position& a, const Position& b) {
  if (!memcmp(&a, &b, sizeof a)) return "";
  // Listed field by field so a failure says where; the last line catches padding.
#define OSTREL_DIFF(field)                                    \
  if (memcmp(&a.field, &b.field, sizeof a.field)) return #field;
  for (int side = 0; side < 2; side++)
    for (int slot = 0; slot < 6; slot++)
      if (a.pieces[side][slot] != b.pieces[side][slot])
        return std::string("pieces[") + sideNames[side] + "][" + slotNames[slot] + "]";
  OSTREL_DIFF(epSquare)
  OSTREL_DIFF(sideToMove)
  OSTREL_DIFF(castleFlags)
  OSTREL_DIFF(ttAge)
  OSTREL_DIFF(occupied)
  OSTREL_DIFF(occupiedR90)
  OSTREL_DIFF(occupiedA1H8)
  OSTREL_DIFF(occupiedH1A8)
  OSTREL_DIFF(colourOcc)
  OSTREL_DIFF(rooksQueens)
  OSTREL_DIFF(bishopsQueens)
  OSTREL_DIFF(kingSquare)
  for (int s = 0; s < 64; s++)
    if (a.board[s] != b.board[s]) return "board[" + std::to_string(s) + "]";
  OSTREL_DIFF(hashKey)
  OSTREL_DIFF(pawnKey)
  OSTREL_DIFF(pieceCount)
  OSTREL_DIFF(pawnCount)
  OSTREL_DIFF(material)
  OSTREL_DIFF(typeCount)
  OSTREL_DIFF(psqScore)
#undef OSTREL_DIFF
  return "padding bytes";
}

std::string MirroredFen() {
  std::string fen;
  for (int rank = 0; rank < 8; rank++) {
    int empty = 0;
    for (int file = 0; file < 8; file++) {
      const int v = -pos.board[rank * 8 + file];
      if (!v) {
        empty++;
        continue;
      }
      if (empty) fen += char('0' + empty), empty = 0;
      const char letter = " PNBRQK"[v > 0 ? v : -v];
      fen += v > 0 ? letter : char(letter + 32);
    }
    if (empty) fen += char('0' + empty);
    if (rank < 7) fen += '/';
  }
  fen += pos.sideToMove == White ? " b " : " w ";
  std::string castling;
  if (pos.castleFlags & BlackKingSide) castling += 'K';
  if (pos.castleFlags & BlackQueenSide) castling += 'Q';
  if (pos.castleFlags & WhiteKingSide) castling += 'k';
  if (pos.castleFlags & WhiteQueenSide) castling += 'q';
  fen += castling.empty() ? "-" : castling;
  fen += " -";
  return fen;
}

Position SnapshotPosition() {
  Position copy;
  memcpy(static_cast<void*>(&copy), &pos, sizeof copy);
  return copy;
}

std::string SetPositionQuietly(const std::string& fen) {
  testing::internal::CaptureStdout();
  SetPosition(fen.c_str());
  return testing::internal::GetCapturedStdout();
}

std::vector<Move> PseudoLegalMoves(int side) {
  Move moves[MaxMoves];
  Move* end = GenerateQuiet(GenerateCaptures(moves, side), side);
  return std::vector<Move>(moves, end);
}

std::vector<Move> LegalMovesByPlaying(int side) {
  constexpr int ply = 200;  // clear of the slots the game, the tests and the legal filter use
  std::vector<Move> legal;
  SaveUndo(ply);
  for (Move m : PseudoLegalMoves(side)) {
    MakeMove(m, ply, side);
    if (!KingAttacked(side)) legal.push_back(m);
    UnmakeMove(m, ply, side);
  }
  return legal;
}

std::vector<std::string> ReadEpdPositions(const std::string& relativePath) {
  std::vector<std::string> fens;
  std::ifstream in(std::string(OSTREL_TEST_DATA) + "/" + relativePath);
  std::string line;
  while (std::getline(in, line)) {
    const size_t semicolon = line.find(';');
    if (semicolon == std::string::npos) continue;
    std::string fen = line.substr(0, semicolon);
    while (!fen.empty() && (fen.back() == ' ' || fen.back() == '\r')) fen.pop_back();
    fens.push_back(fen);
  }
  return fens;
}

RandomGame::RandomGame(const char* fen, uint64_t seed) : random_(seed) {
  SetPositionQuietly(fen);
  side_ = pos.sideToMove;
}

bool RandomGame::Play() {
  Move moves[MaxMoves];
  Move* end = GenerateLegal(moves, side_);
  if (end == moves) return false;
  const Move m = moves[random_.Below(uint32_t(end - moves))];
  SaveUndo(0);
  MakeMove(m, 0, side_);
  history_.push_back(Played{m, side_, undoStack[0], epCapture[0]});
  side_ ^= 1;
  pos.sideToMove = side_;
  return true;
}

bool RandomGame::Undo() {
  if (history_.empty()) return false;
  const Played& last = history_.back();
  undoStack[0] = last.undo;
  epCapture[0] = last.epCapture;
  UnmakeMove(last.move, 0, last.side);
  side_ = last.side;
  pos.sideToMove = side_;
  history_.pop_back();
  return true;
}

std::string MoveText(Move m) {
  std::string text;
  for (int s : {MoveFrom(m), MoveTo(m)}) {
    text += char('a' + FileOf(s));
    text += char('1' + RankOf(s));
  }
  if (MovePromotion(m)) text += "?pnbrqk?"[MovePromotion(m)];
  char fields[48];
  snprintf(fields, sizeof fields, " (piece %d, captured %d, promotion %d)", MovePiece(m), MoveCaptured(m),
           MovePromotion(m));
  return text + fields;
}

}  // namespace ostrel_test
