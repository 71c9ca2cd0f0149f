// The engine's start-up tables: what a program that evaluates or searches builds once, before
// any position is set. The transposition table is sized apart (InitHT): its size is the caller's.
#pragma once

// The board's tables and keys, then the evaluation's pawn masks, which are made from them.
void InitEngineTables();
