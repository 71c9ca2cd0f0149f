// The one sink for the text that the layers under the shell write: diagnostics ("Error in epd
// decoding", the tablebases' "***" lines, the books' messages), board displays and the search's
// thinking lines. It is standard output unless redirected, the stream the shell writes to as
// well, so by default every line comes out in the order it was written. A test or a tool that
// wants this text elsewhere redirects it here, once.
#pragma once

#include <cstdio>

// MinGW's printf follows the C standard only under its own format name.
#ifdef __MINGW_PRINTF_FORMAT
#define OSTREL_PRINTF_FORMAT __MINGW_PRINTF_FORMAT
#else
#define OSTREL_PRINTF_FORMAT printf
#endif

// As printf, into the sink.
void Print(const char* format, ...) __attribute__((format(OSTREL_PRINTF_FORMAT, 1, 2)));
// The text as it is, into the sink.
void PrintText(const char* text);

// Makes `sink` the sink (nullptr: standard output) and returns the one it replaces, in the same
// terms, so that the caller can put it back.
FILE* RedirectOutput(FILE* sink);
