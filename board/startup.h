// The board layer's start-up: run once before any position is set.
#pragma once

// The precomputed tables, then the keys. The keys come last because drawing them is what fixes
// every book file: nothing else may take numbers from the generator before them.
void InitBoardTables();
