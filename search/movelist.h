// The move and score lists of every ply of the running search, one after the other: each ply's
// list starts where its parent's ends.
#pragma once

#include "board/types.h"
#include "search/search.h"

constexpr int MoveListSize = (MaxSearchPly + 1) * MaxMoves;

extern Move moveList[MoveListSize];
extern int scoreList[MoveListSize];
extern int MoveListEnd[MaxSearchPly];  // end of each ply's list (its children start there)
