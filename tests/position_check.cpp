#include "tests/position_check.h"

#include <cstring>
#include <fstream>

#include <gtest/gtest.h>

#include "board/fen.h"
#include "board/movegen.h"

namespace ostrel_test {

std::string DiffPositions(const Position& a, const Position& b) {
  if (!memcmp(&a, &b, sizeof a)) return "";
  // Listed field by field so a failure says where; the last line catches padding.
#define OSTREL_DIFF(field) \
  if (memcmp(&a.field, &b.field, sizeof a.field)) return #field;
  for (int side = 0; side < 2; side++)
    for (int slot = 0; slot < 6; slot++)
      if (a.pieces[side][slot] != b.pieces[side][slot])
        return "pieces[" + std::to_string(side) + "][" + std::to_string(slot) + "]";
  OSTREL_DIFF(epSquare) OSTREL_DIFF(sideToMove) OSTREL_DIFF(castleFlags) OSTREL_DIFF(ttAge)
  OSTREL_DIFF(occupied) OSTREL_DIFF(occupiedR90) OSTREL_DIFF(occupiedA1H8) OSTREL_DIFF(occupiedH1A8)
  OSTREL_DIFF(colourOcc) OSTREL_DIFF(rooksQueens) OSTREL_DIFF(bishopsQueens) OSTREL_DIFF(kingSquare)
  for (int s = 0; s < 64; s++)
    if (a.board[s] != b.board[s]) return "board[" + std::to_string(s) + "]";
  OSTREL_DIFF(hashKey) OSTREL_DIFF(pawnKey) OSTREL_DIFF(pieceCount) OSTREL_DIFF(pawnCount)
  OSTREL_DIFF(material) OSTREL_DIFF(typeCount) OSTREL_DIFF(psqScore)
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
  history_.push_back(Played{m, side_, undoStack[0]});
  side_ ^= 1;
  pos.sideToMove = side_;
  return true;
}

bool RandomGame::Undo() {
  if (history_.empty()) return false;
  const Played& last = history_.back();
  undoStack[0] = last.undo;
  UnmakeMove(last.move, 0, last.side);
  side_ = last.side;
  pos.sideToMove = side_;
  history_.pop_back();
  return true;
}
}  // namespace ostrel_test
