// Alpha-beta and quiescence search over the global position.
#pragma once

#include "board/types.h"

// Deepest ply a search path may reach, extensions and quiescence included; a node there is
// scored statically. It stays below the undo slots kept for other uses (makemove.h).
constexpr int MaxSearchPly = 240;
