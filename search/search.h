// Alpha-beta and quiescence search over the global position.
#pragma once

#include "board/types.h"

// Deepest ply a search path may reach, extensions included.
constexpr int MaxSearchPly = 128;
