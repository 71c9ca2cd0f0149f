#include "book/master.h"

#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <vector>

#include "board/notation.h"
#include "board/output.h"
#include "book/book.h"
#include "platform/platform.h"

MasterNode masterRoot;

// Nodes hanging below and beside the root; the root itself is static and always counted.
static int allocatedNodes;

constexpr int MasterScoreUnit = 10000000;

static MasterNode* NewNode(const MasterMove& m) {
  allocatedNodes++;
  return new MasterNode{m, nullptr, nullptr};
}

void ClearMasterBook() {
  // The tree can be as deep as a hostile learn.bin makes it, so no recursion: rotating each
  // first child into its parent's place in the sibling chain flattens the tree as it is freed.
  MasterNode* chains[2] = {masterRoot.sibling, masterRoot.child};
  for (MasterNode* n : chains) {
    while (n) {
      if (MasterNode* c = n->child) {
        n->child = c->sibling;
        c->sibling = n;
        n = c;
      } else {
        MasterNode* next = n->sibling;
        delete n;
        n = next;
      }
    }
  }
  masterRoot = MasterNode{};
  allocatedNodes = 0;
}

int CountMasterNodes() { return allocatedNodes + 1; }

static bool IsCastlingO(char c) { return c == 'O' || c == 'o' || c == '0'; }
static bool IsSeparator(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '+'; }

// Reads one move at `s` into `m`; returns the position after it, or null with the error number.
static const char* ParseMove(const char* s, bool white, MasterMove& m, int& error) {
  m = MasterMove{};
  if (*s == '*') {
    m.piece = AnyMove;
    return s + 1;
  }
  // Anything else reads as a pawn, "0-0" too: see the castling rule below.
  const int piece = PieceOfSanLetter(*s);
  m.piece = uint8_t(piece == NoPiece ? Pawn : piece);
  if (IsCastlingO(*s)) {
    // Castling written with zeros keeps the pawn type, so such a line never matches a move in
    // play: it lets a book writer park a line without deleting it.
    if (s[1] != '-' || !IsCastlingO(s[2])) return error = 400, nullptr;
    const bool queenSide = s[3] == '-' && IsCastlingO(s[4]);
    m.to = uint8_t(queenSide ? (white ? C1 : C8) : (white ? G1 : G8));
    s += queenSide ? 5 : 3;
  } else if (m.piece == Pawn) {
    if (s[1] == 'x') {
      if (!IsFileLetter(s[0])) return error = 447, nullptr;
      m.fromFile = uint8_t(s[0] - 'a' + 1);
      s += 2;
    }
    if (!IsFileLetter(s[0])) return error = 453, nullptr;
    if (!IsRankDigit(s[1])) return error = 454, nullptr;
    m.to = uint8_t(SquareOf(s[0], s[1]));
    s += 2;
    if (RankOf(m.to) == 0 || RankOf(m.to) == 7) {
      if (*s == '=') s++;
      m.promotion = int8_t(PromotionOfLetter(*s));
      if (!m.promotion) return error = 477, nullptr;
      s++;
    }
  } else {
    s++;
    // A character is a disambiguation only when the to-square or the capture sign follows it.
    if (s[0] && s[0] != 'x' && (IsFileLetter(s[1]) || s[1] == 'x')) {
      if (IsRankDigit(s[0])) m.fromRank = uint8_t(s[0] - '1' + 1);
      else if (IsFileLetter(s[0])) m.fromFile = uint8_t(s[0] - 'a' + 1);
      else return error = s[1] == 'x' ? 417 : 426, nullptr;
      s++;
    }
    if (*s == 'x') s++;
    if (!IsFileLetter(s[0]) || !IsRankDigit(s[1])) return error = 434, nullptr;
    m.to = uint8_t(SquareOf(s[0], s[1]));
    s += 2;
  }
  if (*s == '+') s++;
  if (*s == '!' || *s == '?') {
    if (*s == '!') m.mark = int8_t(s[1] == '!' ? 3 : s[1] == '?' ? 1 : 2);
    else m.mark = int8_t(s[1] == '?' ? -3 : s[1] == '!' ? -1 : -2);
    while (*s == '!' || *s == '?') s++;
  }
  return s;
}

int ParseMasterLine(const char* line, MasterMove* moves) {
  if (strlen(line) < 3 || strpbrk(line, "[@;")) return 0;
  const char* s = line;
  if (*s == '1') s++;
  if (*s == '.') s++;
  int count = 0;
  for (;;) {
    while (IsSeparator(*s)) s++;
    if (!*s || count == MaxMasterLineMoves) return count;
    int error = 0;
    s = ParseMove(s, count % 2 == 0, moves[count], error);
    if (!s) {
      const int length = int(strcspn(line, "\r\n"));
      Print("Error parsing the string %.*s in line %d\n", length, line, error);
      return -1;
    }
    count++;
  }
}

// The node of the chain from `first` that is identical to `m` (all six bytes, the mark
// included), appended at the end of the chain when there is none.
static MasterNode* FindOrAppend(MasterNode* first, const MasterMove& m) {
  MasterNode* n = first;
  for (;; n = n->sibling) {
    if (memcmp(&n->move, &m, sizeof m) == 0) return n;
    if (!n->sibling) break;
  }
  return n->sibling = NewNode(m);
}

void InsertMasterLine(const MasterMove* moves, int count) {
  if (count <= 0) return;
  MasterNode* node;
  if (masterRoot.move.piece == NoPiece) {
    masterRoot.move = moves[0];
    node = &masterRoot;
  } else {
    node = FindOrAppend(&masterRoot, moves[0]);
  }
  for (int i = 1; i < count; i++)
    node = node->child ? FindOrAppend(node->child, moves[i]) : (node->child = NewNode(moves[i]));
}

void WriteMasterBook(const char* name) {
  // Written aside and moved into place when complete: a learn.bin cut short by a full disk would
  // be newer than learn.txt and be read, damaged, at every start.
  char partName[FILENAME_MAX];
  snprintf(partName, sizeof partName, "%s.part", name);
  FILE* file = fopen(partName, "wb");
  if (!file) {
    Print("Cannot write %s\n", name);
    return;
  }
  // Each sibling chain is written in a loop; the nodes whose child flag is still due wait on
  // `pending`, the last of a chain first, which gives the pre-order stream the reader expects.
  std::vector<const MasterNode*> pending;
  const MasterNode* n = &masterRoot;
  bool ok = true;
  for (;;) {
    for (; n; n = n->sibling) {
      ok &= fwrite(&n->move, sizeof n->move, 1, file) == 1;
      ok &= putc(n->sibling ? 1 : 0, file) != EOF;
      pending.push_back(n);
    }
    if (pending.empty()) break;
    const MasterNode* parent = pending.back();
    pending.pop_back();
    ok &= putc(parent->child ? 1 : 0, file) != EOF;
    n = parent->child;
  }
  ok &= fclose(file) == 0;
  if (ok && MoveFileIntoPlace(partName, name)) return;
  Print("Cannot write %s\n", name);
  DeleteFileQuietly(partName);
}

void ReadMasterBook(const char* name) {
  ClearMasterBook();
  FILE* file = fopen(name, "rb");
  if (!file) {
    Print("Cannot read %s\n", name);
    return;
  }
  // The mirror of the writer, with its own stack so that a deep file cannot exhaust the call
  // stack. A flag byte that cannot be read counts as set (getc's EOF is not 0), so a truncated
  // file always ends in a failed node read. Past MaxMasterNodes the file is taken as damaged.
  std::vector<MasterNode*> pending;
  MasterNode** slot = nullptr;  // where the next node is linked; null for the root
  bool readChain = true;
  while (readChain) {
    for (;;) {
      MasterMove m;
      if (fread(&m, sizeof m, 1, file) != 1 || (slot && CountMasterNodes() >= MaxMasterNodes)) {
        Print("Damaged file!\n");
        fclose(file);
        return;
      }
      MasterNode* node = slot ? (*slot = NewNode(m)) : &masterRoot;
      node->move = m;
      pending.push_back(node);
      if (getc(file) == 0) break;
      slot = &node->sibling;
    }
    readChain = false;
    while (!pending.empty() && !readChain) {
      MasterNode* parent = pending.back();
      pending.pop_back();
      if (getc(file) != 0) {
        slot = &parent->child;
        readChain = true;
      }
    }
  }
  fclose(file);
}

void LoadMasterBook(const char* textName, const char* binaryName) {
  ClearMasterBook();
  struct stat textInfo, binaryInfo;
  const bool haveText = stat(textName, &textInfo) == 0;
  const bool haveBinary = stat(binaryName, &binaryInfo) == 0;
  if (haveText && haveBinary && difftime(binaryInfo.st_mtime, textInfo.st_mtime) > 0) {
    Print("Reading the master opening book from %s\n", binaryName);
    ReadMasterBook(binaryName);
  } else {
    Print("(Re)building %s from %s\n", binaryName, textName);
    FILE* text = fopen(textName, "r");
    if (!text) {
      Print("Cannot open %s ! \n", textName);
      return;
    }
    char line[1024];
    MasterMove moves[MaxMasterLineMoves];
    while (fgets(line, sizeof line, text)) {
      // A line longer than the format allows is read as far as it allows; its tail must not
      // come back as a line of its own from the initial position.
      if (!strchr(line, '\n')) {
        int c;
        while ((c = getc(text)) != EOF && c != '\n') {
        }
      }
      InsertMasterLine(moves, ParseMasterLine(line, moves));
    }
    fclose(text);
    WriteMasterBook(binaryName);
  }
  Print("%d nodes\n", CountMasterNodes());
}

bool MasterMoveMatches(const MasterMove& node, Move m) {
  if (node.piece == AnyMove) return true;
  return node.piece == MovePiece(m) && node.to == MoveTo(m) &&
         (node.fromFile == 0 || node.fromFile == FileOf(MoveFrom(m)) + 1) &&
         (node.fromRank == 0 || node.fromRank == RankOf(MoveFrom(m)) + 1) && node.promotion == MovePromotion(m);
}

const char* MasterMoveText(const MasterMove& node) {
  static const char* const pieceLetters[7] = {"", "", "N", "B", "R", "Q", "K"};
  static const char* const promotionTexts[6] = {"", "", "=N", "=B", "=R", "=Q"};
  static const char* const markTexts[7] = {"??", "?", "?!", "", "!?", "!", "!!"};
  static char text[32];
  if (node.piece == AnyMove) return "* ";
  if (node.piece < Pawn || node.piece > King) return "wrong piece type ";
  char* out = text + sprintf(text, "%s", pieceLetters[node.piece]);
  // The rank of a disambiguation shows as a letter and the file not at all: the listing has
  // always looked like this and readers of old logs know it.
  if (node.fromRank) *out++ = char('a' + node.fromRank);
  *out++ = char('a' + node.to % 8);
  *out++ = char('1' + node.to / 8);
  if (node.promotion > 0 && node.promotion < 6) out += sprintf(out, "%s", promotionTexts[node.promotion]);
  if (node.mark >= -3 && node.mark <= 3) out += sprintf(out, "%s", markTexts[node.mark + 3]);
  strcpy(out, " ");
  return text;
}

// Follows the game from the chain at `chain` along every matching node; where the game ends,
// the marked nodes give the legal moves they match their score.
static void ScoreFrom(const MasterNode* chain, const Move* moves, int* scores, int count, const Move* gameMoves,
                      int movesLeft) {
  for (const MasterNode* n = chain; n; n = n->sibling) {
    if (movesLeft > 0) {
      if (MasterMoveMatches(n->move, gameMoves[0]))
        ScoreFrom(n->child, moves, scores, count, gameMoves + 1, movesLeft - 1);
      continue;
    }
    if (!n->move.mark) continue;
    for (int i = 0; i < count; i++) {
      if (!MasterMoveMatches(n->move, moves[i])) continue;
      if (bookListings) Print("%s", MasterMoveText(n->move));
      scores[i] = n->move.mark * MasterScoreUnit;
    }
  }
}

void ScoreMasterMoves(const Move* moves, int* scores, int count, const Move* gameMoves, int gameMoveCount) {
  if (bookListings) {
    Print("Score Moves :\n");
    Print("Move number = %d\n", gameMoveCount);
    Print("Moves so far : [ ");
    for (int i = 0; i < gameMoveCount; i++) Print("%s ", MoveText(gameMoves[i]));
    Print("]\n");
    Print("master book moves found in this position : [\n");
  }
  ScoreFrom(&masterRoot, moves, scores, count, gameMoves, gameMoveCount);
  if (bookListings) Print("]\n");
}
