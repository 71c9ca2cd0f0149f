// Moves spelled out in test tables.
#pragma once

#include "board/types.h"

namespace ostrel_test {

inline Move M(int from, int to, int piece, int captured = 0, int promotion = 0) {
  return EncodeMove(from, to, piece, captured, promotion);
}

}  // namespace ostrel_test
