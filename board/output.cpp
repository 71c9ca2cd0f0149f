#include "board/output.h"

#include <cstdarg>

// nullptr stands for standard output, which is not a constant to initialise with.
static FILE* sink = nullptr;

static FILE* Sink() { return sink ? sink : stdout; }

void Print(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  vfprintf(Sink(), format, arguments);
  va_end(arguments);
}

void PrintText(const char* text) { fputs(text, Sink()); }

FILE* RedirectOutput(FILE* newSink) {
  FILE* previous = sink;
  sink = newSink;
  return previous;
}
