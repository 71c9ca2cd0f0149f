// EPD analysis: a test suite searched position by position, with the missed positions collected
// in "notfound.epd" and a statistics report.
#pragma once

// Runs the whole suite. `resultFile` may be null; `timeLimit` is in hundredths of a second per
// position, `depthLimit` in plies. Everything goes to standard output and the files.
void Analyse(const char* epdFile, const char* resultFile, int timeLimit, int depthLimit, const char* tag);
