// The PGN reader of the book builder's first step: it only cuts a file into games, keeping each
// game's movetext verbatim, and leaves moves, comments and results to the replay.
#pragma once

// Room for one game's movetext (or one tag section); text beyond it is dropped.
constexpr int PgnTextSize = 16384;

// Echoes every line read and feeds it to the reader; a game still open at the end of the file is
// handed over. A file that cannot be opened is skipped without a word.
void ReadPgnFile(const char* pgnName);

// One character into the reader's state machine (between games, tags, quoted tag text,
// movetext). A "[" met in movetext ends the game there, even inside a comment.
void FeedChar(unsigned char c);

// Defined by the builder. ParsePgn replays a finished game whose movetext holds a result;
// `resultToken` points at the result's first occurrence inside it. CountPgnGame is called for
// every game handed over, replayed or not, and reports progress.
void ParsePgn(const char* movetext, const char* resultToken);
void CountPgnGame();
