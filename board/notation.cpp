#include "board/notation.h"

#include <cstdio>
#include <cstring>

#include "board/display.h"
#include "board/movegen.h"
#include "board/output.h"

const char* CoordinateText(Move m) {
  static const char promotionLetters[] = "  nbrq  ";
  static char text[6];
  text[0] = char('a' + FileOf(MoveFrom(m)));
  text[1] = char('1' + RankOf(MoveFrom(m)));
  text[2] = char('a' + FileOf(MoveTo(m)));
  text[3] = char('1' + RankOf(MoveTo(m)));
  text[4] = MovePromotion(m) ? promotionLetters[MovePromotion(m)] : 0;
  text[5] = 0;
  return text;
}

bool ReadCoordinateMove(const char* text, int& from, int& to, int& promotion) {
  for (int i = 0; i < 4; i += 2)
    if (!IsFileLetter(text[i]) || !IsRankDigit(text[i + 1])) return false;
  from = SquareOf(text[0], text[1]);
  to = SquareOf(text[2], text[3]);
  promotion = PromotionOfLetter(text[4]);
  return true;
}

void PrintCoordinateMove(Move m) { Print("move %s\n", CoordinateText(m)); }

const char* MoveText(Move m) {
  static const char* const pieceNames[8] = {"wrong piece type", "", "N", "B", "R", "Q", "K", "wrong piece type"};
  static const char* const promotionNames[8] = {"", "wrong piece type to promote to", "N", "B", "R", "Q",
                                                "wrong piece type to promote to", "wrong piece type to promote to"};
  static const char* const capturedNames[8] = {"wrong piece type", "p", "N", "B", "R", "Q", "K", "wrong piece type"};
  static char text[96];
  const int piece = MovePiece(m), captured = MoveCaptured(m);
  char* out = text;
  if (piece == Pawn) {
    if (captured) out += sprintf(out, "%cx", 'a' + FileOf(MoveFrom(m)));
  } else {
    out += sprintf(out, "%s%s", pieceNames[piece], captured ? "x" : "");
  }
  out += sprintf(out, "%c%c%s", 'a' + FileOf(MoveTo(m)), '1' + RankOf(MoveTo(m)), promotionNames[MovePromotion(m)]);
  if (captured) sprintf(out, "(%s)", capturedNames[captured]);
  return text;
}

void PrintMove(Move m) { Print("%s ", MoveText(m)); }

void PrintMoveList(const Move* list) {
  for (; *list; list++) PrintMove(*list);
}

// Shared by the three resolvers: `matches` decides on the from-square.
template <typename Match>
static Move Resolve(const Move* candidates, int to, int piece, Match matches, const char* name, int request) {
  for (const Move* m = candidates; *m; m++)
    if (MoveTo(*m) == to && MovePiece(*m) == piece && matches(MoveFrom(*m))) return *m;
  PrintBoard(pos.pieces);
  Print("%s%d\n%d\n%d\n", name, request, to, piece);
  PrintMoveList(candidates);
  Print("\n");
  return 0;
}

Move FindMove(const Move* candidates, int from, int to, int piece) {
  return Resolve(candidates, to, piece, [from](int s) { return from == -1 || s == from; }, "Find move : can't find ", from);
}

Move FindMoveFile(const Move* candidates, int file, int to, int piece) {
  return Resolve(candidates, to, piece, [file](int s) { return FileOf(s) == file; }, "Find move file : can't find ", file);
}

Move FindMoveRank(const Move* candidates, int rank, int to, int piece) {
  return Resolve(candidates, to, piece, [rank](int s) { return RankOf(s) == rank; }, "Find move rank : can't find ", rank);
}

int PieceOfSanLetter(char c) {
  switch (c) {
    case 'B': return Bishop;
    case 'K': case 'O': case 'o': return King;
    case 'N': return Knight;
    case 'Q': return Queen;
    case 'R': return Rook;
    default: return c >= 'a' && c <= 'h' ? Pawn : NoPiece;
  }
}

int PromotionOfLetter(char c) {
  switch (c) {
    case 'B': case 'b': return Bishop;
    case 'N': case 'n': return Knight;
    case 'R': case 'r': return Rook;
    case 'Q': case 'q': return Queen;
    default: return NoPiece;
  }
}

int ResultOfToken(const char* token) {
  if (strstr(token, "1-0")) return 1;
  if (strstr(token, "0-1")) return -1;
  if (strstr(token, "1/2-1/2")) return 0;
  return NoResult;
}

static bool EqualNoCase(const char* a, const char* b) {
  for (; *a && *b; a++, b++) {
    const char x = *a >= 'A' && *a <= 'Z' ? char(*a + 32) : *a;
    if (x != *b) return false;
  }
  return *a == *b;
}

Move ParseSan(const char* token, int side) {
  Print("Test move : [%s]\n", token);
  const char c = token[0];
  const int piece = PieceOfSanLetter(c);
  if (c < 'B' || c > 'o' || piece == NoPiece) {
    if (ResultOfToken(token) == NoResult) Print("move %s is not valid\n", token);
    return 0;
  }

  Move legal[MaxMoves], candidates[MaxMoves + 1];
  Move* end = GenerateLegal(legal, side);
  int n = 0;
  for (Move* m = legal; m < end; m++)
    if (MovePiece(*m) == piece) candidates[n++] = *m;
  candidates[n] = 0;

  // Characters past the end of the token read as 0, so short tokens are safe.
  const size_t length = strlen(token);
  auto at = [token, length](size_t i) { return i < length ? token[i] : '\0'; };

  if (c == 'O' || c == 'o') {
    const int from = side == White ? E1 : E8;
    if (EqualNoCase(token, "o-o-o")) return FindMove(candidates, from, from - 2, King);
    if (EqualNoCase(token, "o-o")) return FindMove(candidates, from, from + 2, King);
  }
  if (piece == Pawn) {
    const char d = at(1);
    if (IsRankDigit(d)) return FindMove(candidates, -1, SquareOf(c, d), Pawn);
    if (d == 'x') return FindMoveFile(candidates, c - 'a', SquareOf(at(2), at(3)), Pawn);
    // "ed5", and degenerate tokens whose second character is below '1', read d as the file.
    return FindMoveFile(candidates, c - 'a', SquareOf(d, at(2)), Pawn);
  }
  size_t i = 1;
  if (at(i) == 'x') i++;
  const char e = at(i), f = at(i + 1);
  if (f == 'x') {
    const int to = SquareOf(at(i + 2), at(i + 3));
    return IsRankDigit(e) ? FindMoveRank(candidates, e - '1', to, piece) : FindMoveFile(candidates, e - 'a', to, piece);
  }
  if (IsRankDigit(e)) return FindMoveRank(candidates, e - '1', SquareOf(f, at(i + 2)), piece);
  if (!IsFileLetter(f)) return FindMove(candidates, -1, SquareOf(e, f), piece);
  return FindMoveFile(candidates, e - 'a', SquareOf(f, at(i + 2)), piece);
}
