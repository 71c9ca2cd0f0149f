// The rules from the engine library, for tests that keep a game beside engine processes: every move an engine sends
// is checked, and the referee alone sees the game's end. Calls take the library's global position under boardLock.
#pragma once

#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "board/position.h"

extern std::mutex boardLock;

struct Referee {
  Position board;
  std::vector<std::string> seen;  // positions since the last capture or pawn move, as EPD text
  std::vector<std::pair<Position, std::vector<std::string>>> history;  // board and seen before each move
  std::string result, reason;  // "" while the game goes on
};

// A new game from the initial position, or from `fen`.
void StartReferee(Referee& r, const std::string& fen = "");
std::vector<Move> LegalMoves(const Referee& r, int side);
// The legal move of `side` the engine writes as `text` ("e2e4", "e7e8q"); 0 for none.
Move FindLegal(const Referee& r, const std::string& text, int side);
// Coordinate text, as the engine writes it; the library's buffer is shared, so one at a time.
std::string EngineText(Move m);
// Plays a legal move for the board's side to move and judges the position it leads to.
void Play(Referee& r, Move m);
// Takes back the last `halfMoves` moves; false, and nothing taken back, when fewer were played.
bool TakeBack(Referee& r, size_t halfMoves);
