#include "search/startup.h"

#include "board/startup.h"
#include "search/pawns.h"

void InitEngineTables() {
  InitBoardTables();
  InitPawnTables();
}
