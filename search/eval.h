// Static evaluation, White's point of view, pawn = 1000. Two stages: the first (material,
// piece-square sum, pawn structure, king safety) is cheap; the quiescence search skips the second
// when the first is far enough outside its window.
#pragma once

#include "search/pawns.h"

int EvaluateFirstStage(const PawnEntry& pawns);

// The remaining terms; `side` is the side to move (the race of a runaway pawn depends on it).
int EvaluateSecondStage(const PawnEntry& pawns, int side);

// Both stages.
int Evaluate(int side);
