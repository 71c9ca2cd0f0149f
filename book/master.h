// The master book: hand-written lines from the initial position ("learn.txt"), compiled to
// "learn.bin", whose annotated moves outweigh every game statistic in the book probe.
#pragma once

#include <cstdint>

#include "board/types.h"

// One move of a line. The same six bytes in memory and in learn.bin.
struct MasterMove {
  uint8_t fromRank;   // from-rank + 1, 0 = not given
  uint8_t fromFile;   // from-file + 1, 0 = not given
  uint8_t to;         // 0..63
  uint8_t piece;      // PieceType; 127 = any move ("*"); 0 only in the empty root
  int8_t mark;        // "!!" 3, "!" 2, "!?" 1, none 0, "?!" -1, "?" -2, "??" -3
  int8_t promotion;   // PieceType of the promotion, 0 = none
};
static_assert(sizeof(MasterMove) == 6, "master moves are 6 bytes");

constexpr uint8_t AnyMove = 127;
constexpr int MaxMasterLineMoves = 500;

struct MasterNode {
  MasterMove move;
  MasterNode* sibling;  // the alternatives at the same point
  MasterNode* child;    // the replies
};

// The tree's root: a static node whose piece is 0 until the first line is inserted.
extern MasterNode masterRoot;

// Start-up: reads learn.bin when it is newer than learn.txt, else rebuilds it from the text;
// then prints the node count.
void LoadMasterBook(const char* textName, const char* binaryName);

// Gives each of the `count` legal moves that the tree lists after the game's moves so far a
// score of mark x 10,000,000 (unmarked and unlisted moves keep theirs), printing what it finds.
void ScoreMasterMoves(const Move* moves, int* scores, int count, const Move* gameMoves, int gameMoveCount);

// A damaged or hostile learn.bin is read no further than this many nodes, root included.
constexpr int MaxMasterNodes = 1000000;

// Reads one learn.txt line into `moves` (room for MaxMasterLineMoves; longer lines are cut
// there). Returns the number of moves, 0 for a line the format ignores, or -1 after reporting
// a fault.
int ParseMasterLine(const char* line, MasterMove* moves);

// Adds a line of moves from the initial position, sharing the nodes of identical prefixes.
void InsertMasterLine(const MasterMove* moves, int count);

// learn.bin: the tree in pre-order, each node's six bytes, its sibling flag and sibling, then
// its child flag and child. Reading replaces the tree.
void WriteMasterBook(const char* name);
void ReadMasterBook(const char* name);

// Nodes of the tree, the root included even while it is empty.
int CountMasterNodes();

// Frees every node and empties the root (for a fresh load).
void ClearMasterBook();

// Whether the tree's move stands for the move `m` of the game.
bool MasterMoveMatches(const MasterMove& node, Move m);

// A node as the probe lists it, with a trailing blank: "Nf3! ", "e8=Q ", "* ". A static buffer
// the next call overwrites.
const char* MasterMoveText(const MasterMove& node);
