// Values of positions while tables are made and checked, and the byte the table files hold.
//
// A working value is one byte from the side to move's view: 0 undecided (a draw once generation
// ends), WinValue(m) = m for a win in m moves (1..127), LossValue(l) = 128 + l for a loss in l
// moves (0 = checkmated, up to 127).
#pragma once

#include <cstdint>

inline int WinValue(int moves) { return moves; }
inline int LossValue(int moves) { return 128 + moves; }
inline bool IsWin(int v) { return v >= 1 && v <= 127; }
inline bool IsLoss(int v) { return v >= 128; }
inline int Distance(int v) { return IsLoss(v) ? v - 128 : v; }

// The value of a move for its mover, given the value of the position it leads to.
inline int Negate(int v) {
  if (IsLoss(v)) return WinValue(Distance(v) + 1);
  return IsWin(v) ? LossValue(v) : 0;
}

// Orders values for the side to move: larger is better.
inline int Rank(int v) { return IsWin(v) ? 256 - v : IsLoss(v) ? -256 + Distance(v) : 0; }
inline int Better(int a, int b) { return Rank(a) >= Rank(b) ? a : b; }

// The file byte: 0 draw; 1..126 win in 127 - b moves; -128 win in 127; -126..-1 loss in b + 126
// moves; -127 loss in 126; 127 no position. A loss in 127 moves has no byte of its own and is
// written as a loss in 126: it happens in one five-man table only, whose few entries the
// engine's probe corrects by their indices.
constexpr int8_t BrokenByte = 127;

inline int8_t FileByte(int v) {
  if (IsWin(v)) return int8_t(v == 127 ? -128 : 127 - v);
  if (IsLoss(v)) return int8_t(Distance(v) >= 126 ? -127 : Distance(v) - 126);
  return 0;
}

// The working value of a file byte; the broken byte reads as a draw.
inline int ValueOfByte(int8_t b) {
  if (b == -128) return WinValue(127);
  if (b == -127) return LossValue(126);
  if (b > 0 && b < 127) return WinValue(127 - b);
  return b < 0 ? LossValue(b + 126) : 0;
}
