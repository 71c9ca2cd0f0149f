#include "tests/referee.h"

#include <algorithm>

#include "board/fen.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "board/notation.h"

std::mutex boardLock;

void StartReferee(Referee& r, const std::string& fen) {
  std::lock_guard<std::mutex> hold(boardLock);
  if (fen.empty()) SetInitialPosition();
  else SetPosition(fen.c_str());
  r = Referee();
  r.board = pos;
  r.seen = {PositionToEpd()};
}

std::vector<Move> LegalMoves(const Referee& r, int side) {
  std::lock_guard<std::mutex> hold(boardLock);
  pos = r.board;
  Move list[MaxMoves];
  return std::vector<Move>(list, GenerateLegal(list, side));
}

Move FindLegal(const Referee& r, const std::string& text, int side) {
  const std::vector<Move> legal = LegalMoves(r, side);
  const auto m = std::find_if(legal.begin(), legal.end(), [&](Move x) { return EngineText(x) == text; });
  return m == legal.end() ? 0 : *m;
}

std::string EngineText(Move m) {
  static std::mutex textLock;
  std::lock_guard<std::mutex> hold(textLock);
  return CoordinateText(m);
}

void Play(Referee& r, Move m) {
  std::lock_guard<std::mutex> hold(boardLock);
  r.history.emplace_back(r.board, r.seen);
  pos = r.board;
  const int side = pos.sideToMove, toMove = side ^ 1;
  SaveUndo(0);
  MakeMove(m, 0, side);
  pos.sideToMove = toMove;
  r.board = pos;
  if (MovePiece(m) == Pawn || MoveCaptured(m)) r.seen.clear();
  r.seen.push_back(PositionToEpd());
  Move legal[MaxMoves];
  const bool hasMove = GenerateLegal(legal, toMove) != legal;
  const int minors = pos.typeCount[White][Knight] + pos.typeCount[White][Bishop] +
                     pos.typeCount[Black][Knight] + pos.typeCount[Black][Bishop];
  const int others = pos.pawnCount[White] + pos.pawnCount[Black] + pos.typeCount[White][Rook] +
                     pos.typeCount[Black][Rook] + pos.typeCount[White][Queen] + pos.typeCount[Black][Queen];
  r.reason = !hasMove && KingAttacked(toMove) ? "checkmate"
             : !hasMove                          ? "stalemate"
             : std::count(r.seen.begin(), r.seen.end(), r.seen.back()) >= 3 ? "threefold repetition"
             : r.seen.size() > 100               ? "fifty-move rule"
             : others == 0 && minors <= 1        ? "insufficient material"
                                                 : "";
  r.result = r.reason.empty() ? "" : r.reason != "checkmate" ? "1/2-1/2" : toMove == White ? "0-1" : "1-0";
}

bool TakeBack(Referee& r, size_t halfMoves) {
  if (r.history.size() < halfMoves) return false;
  const auto& before = r.history[r.history.size() - halfMoves];
  r.board = before.first;
  r.seen = before.second;
  r.history.resize(r.history.size() - halfMoves);
  r.result = r.reason = "";
  return true;
}
