#include "board/startup.h"

#include "board/keys.h"
#include "board/tables.h"

void InitBoardTables() {
  InitTables();
  InitKeys();
}
