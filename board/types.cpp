#include "board/types.h"

const int pieceValue[7] = {0, 1000, 3000, 3000, 5000, 9000, 99000};
