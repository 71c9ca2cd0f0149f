// Retrograde analysis of one table in the working layout, and the table's files written from it.
#pragma once

#include <cstdint>

// Works out every position of a table whose conversions (captures, promotions) lead into tables
// already in tableDirectory; false with a message when one of them cannot be read. Progress
// goes to standard error.
bool SolveTable(int table);
// Writes both files of the table just solved, in the published layout.
bool WriteSolvedTable();
// Frees the working arrays.
void ReleaseSolvedTable();
