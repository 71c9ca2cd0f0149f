#include "book/pgn.h"

#include <cstdio>
#include <cstring>

#include "board/output.h"

namespace {

enum ReaderState { BetweenGames = 0, InTags = 1, InQuote = 2, InMovetext = 3 };

// A quoted string this long is almost certainly an unclosed quote swallowing the file; the text
// is shown so that the culprit can be found, and reading goes on.
constexpr int LongQuoteWarning = 16300;

// fgets limit: longer lines arrive in pieces, each handled as a line of its own.
constexpr int PgnLineSize = 1024;

int state = BetweenGames;
int depth = 0;
char gameText[PgnTextSize + 1];
int gameLength = 0;

void ClearText() {
  gameLength = 0;
  gameText[0] = '\0';
}

void Append(unsigned char c) {
  if (gameLength >= PgnTextSize) return;
  gameText[gameLength++] = char(c);
  gameText[gameLength] = '\0';
}

void StartText(unsigned char c) {
  ClearText();
  Append(c);
}

// Only the movetext's own text decides the result; a game without one is counted but not
// replayed. A draw is looked for first, so "1/2-1/2" is never mistaken for a decisive score.
void HandOverGame() {
  const char* result = strstr(gameText, "1/2-1/2");
  if (!result) result = strstr(gameText, "1-0");
  if (!result) result = strstr(gameText, "0-1");
  if (result) ParsePgn(gameText, result);
  CountPgnGame();
}

// Tag values never reach the state machine: a line with both brackets stands for a whole tag.
// Elsewhere an escaped quote must not open or close a quoted string, so it becomes a letter,
// except right before a "]" where it is taken to close the string.
void FeedLine(char* line) {
  if (strchr(line, '[') && strchr(line, ']')) {
    FeedChar('[');
    FeedChar('T');
    FeedChar(']');
    return;
  }
  for (char* p = line; *p; p++)
    if (*p == '"' && p > line && p[-1] == '\\' && p[1] != ']') *p = 'o';
  for (const char* p = line; *p; p++) FeedChar((unsigned char)*p);
}

}  // namespace

void FeedChar(unsigned char c) {
  switch (state) {
    case BetweenGames:
      if (c == '[') {
        StartText(c);
        depth = 1;
        state = InTags;
      } else if (c > 32) {
        StartText(c);
        state = InMovetext;
      }
      break;
    case InTags:
      if (c == '"') {
        Append(c);
        state = InQuote;
      } else if (c == '[') {
        depth++;
        Append(c);
      } else if (c == ']') {
        Append(c);
        if (--depth == 0) {
          ClearText();
          state = BetweenGames;
        }
      } else {
        Append(c);
      }
      break;
    case InQuote:
      if (c == '"') {
        state = InTags;
      } else {
        if (gameLength >= LongQuoteWarning) Print("buf = {\n%s\n}\n", gameText);
        Append(c);
      }
      break;
    case InMovetext:
      if (c == '[') {
        depth = 1;
        HandOverGame();
        StartText(c);
        state = InTags;
      } else {
        Append(c);
      }
      break;
  }
}

void ReadPgnFile(const char* pgnName) {
  state = BetweenGames;
  depth = 0;
  ClearText();
  FILE* f = fopen(pgnName, "rt");
  if (!f) return;
  char line[PgnLineSize];
  while (fgets(line, sizeof line, f)) {
    PrintText(line);
    FeedLine(line);
  }
  if (state == InMovetext) HandOverGame();
  fclose(f);
  state = BetweenGames;
  ClearText();
}
