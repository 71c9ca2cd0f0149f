// The few services that differ between operating systems.
#pragma once

#include <cstdint>

// Milliseconds since the program started (a monotonic clock).
int64_t ClockMilliseconds();
