#include "search/eval.h"

#include "board/bitboard.h"
#include "board/game.h"
#include "search/psqtables.h"

// Development counts only in the opening.
constexpr int OpeningHalfMoves = 30;

static const int advancedPassedBonus[8] = {0, 0, 0, 0, 200, 400, 300, 0};  // by relative rank
static const int runawayOnePiece[8] = {0, 0, 0, 0, 1000, 1500, 2000, 0};
static const int runawayNoPiece[8] = {0, 0, 0, 0, 1500, 2500, 3000, 0};
static const int undevelopedPenalty[5] = {0, -10, -400, -750, -1000};
static const int twoMinorsForRook[17] = {0, -300, 0, 100, 150, 200, 900, 1100, 1200,
                                         1300, 1400, 1450, 1500, 1500, 1500, 1500, 1500};
static const int bishopPair[17] = {1000, 1000, 1000, 900, 800, 700, 600, 400, 350,
                                   325, 300, 275, 275, 250, 250, 150, 150};
static const int seventhOneRook[8] = {800, 550, 500, 300, 150, 50, 50, 50};
static const int seventhTwoRooks[8] = {1000, 800, 700, 700, 500, 400, 400, 400};

constexpr int PawnEndingBonus = 2000;
constexpr int OpenFileRook = 100, HalfOpenFileRook = 25, RookSquare = 10, RooksConnectedOnFile = 60;
constexpr int SeventhRankOneRook = 250, SeventhRankTwoRooks = 300;
// Our own ending term: with a bare king left against a decisive material lead, the winning king
// walks towards it. The endgame king table already pushes the bare king to the edge; the mate
// also needs the attacking king close, which material and tables alone never ask for.
constexpr int KingProximityLead = 5000, KingProximityStep = 50;

static inline int RelativeRank(int side, int square) { return side == White ? RankOf(square) : 7 - RankOf(square); }

static inline int Distance(int a, int b) {
  const int df = FileOf(a) - FileOf(b), dr = RankOf(a) - RankOf(b);
  const int f = df < 0 ? -df : df, r = dr < 0 ? -dr : dr;
  return f > r ? f : r;
}

int EvaluateFirstStage(const PawnEntry& pawns) { return pos.material + pos.psqScore + pawns.score + KingSafety(pawns); }

// Passed pawns on the fifth rank and beyond: a bonus unless the enemy king stands in front, and a
// much larger one when few enemy pieces remain and the king is outside the pawn's square.
static int PassedPawns(const PawnEntry& pawns, int side, int toMove) {
  const int enemy = side ^ 1;
  const int enemyKing = pos.kingSquare[enemy];
  const int enemyPieces = pos.pieceCount[enemy];
  const Bitboard enemyPawns = pos.pieces[enemy][PawnSlot];
  int score = 0;
  for (Bitboard b = pawns.passed & pos.pieces[side][PawnSlot]; b;) {
    const int s = PopLowest(b);
    const int rank = RelativeRank(side, s);
    if (!(passedMask[side][s] & squareMask[enemyKing])) score += advancedPassedBonus[rank];
    if (enemyPieces < 2 && !(passedMask[side][s] & enemyPawns)) {
      const int promotion = side == White ? 56 + FileOf(s) : FileOf(s);
      const int race = 7 - rank + (toMove == enemy ? 1 : 0);
      if (Distance(enemyKing, promotion) > race) score += enemyPieces ? runawayOnePiece[rank] : runawayNoPiece[rank];
    }
  }
  return score;
}

static int Development(int side) {
  const int sign = side == White ? 1 : -1;
  const int base = side == White ? 0 : 56;
  const int* b = pos.board;
  const int idle = (b[base + B1] == sign * Knight) + (b[base + G1] == sign * Knight) + (b[base + C1] == sign * Bishop) +
                   (b[base + F1] == sign * Bishop);
  return undevelopedPenalty[idle];
}

static int Rooks(int side) {
  const Bitboard rooks = pos.pieces[side][RookSlot];
  if (!rooks) return 0;
  const int enemy = side ^ 1;
  const Bitboard ownPawns = pos.pieces[side][PawnSlot], enemyPawns = pos.pieces[enemy][PawnSlot];
  const bool several = rooks & (rooks - 1);
  int score = 0;
  for (Bitboard b = rooks; b;) {
    const int s = PopLowest(b);
    const Bitboard file = fileMask[FileOf(s)];
    if (!(ownPawns & file)) score += enemyPawns & file ? HalfOpenFileRook : OpenFileRook;
    score += RookSquare * PopCount(RookAttacks(s));
    if (several && (FileAttacks(s) & rooks & passedMask[side][s])) score += RooksConnectedOnFile;
  }
  const int seventh = side == White ? 6 : 1, back = side == White ? 7 : 0;
  const int onSeventh = PopCount(rooks & rankMask[seventh]);
  if (onSeventh) {
    if (RankOf(pos.kingSquare[enemy]) != back) {
      score += onSeventh == 1 ? SeventhRankOneRook : SeventhRankTwoRooks;
    } else {
      const int n = PopCount(enemyPawns & rankMask[seventh]) < 7 ? PopCount(enemyPawns & rankMask[seventh]) : 7;
      score += onSeventh == 1 ? seventhOneRook[n] : seventhTwoRooks[n];
    }
  }
  return score;
}

static int KingProximity(int side) {
  const int enemy = side ^ 1;
  const int lead = side == White ? pos.material : -pos.material;
  if (pos.pieceCount[enemy] || pos.pawnCount[enemy] || lead < KingProximityLead) return 0;
  const int a = pos.kingSquare[side], b = pos.kingSquare[enemy];
  const int df = FileOf(a) - FileOf(b), dr = RankOf(a) - RankOf(b);
  return KingProximityStep * (14 - (df < 0 ? -df : df) - (dr < 0 ? -dr : dr));
}

int EvaluateSecondStage(const PawnEntry& pawns, int side) {
  int score = PassedPawns(pawns, White, side) - PassedPawns(pawns, Black, side);

  if (!pos.pieceCount[White] && !pos.pieceCount[Black]) {
    if (pos.pawnCount[White] > pos.pawnCount[Black] && pos.material >= 1000) score += PawnEndingBonus;
    if (pos.pawnCount[Black] > pos.pawnCount[White] && pos.material <= -1000) score -= PawnEndingBonus;
  }

  if (gameRecord.moveCount < OpeningHalfMoves) score += Development(White) - Development(Black);

  const int(*n)[7] = pos.typeCount;
  // More than sixteen pawns come only from a malformed set-up; read them as sixteen.
  const int pawnsOnBoard = pos.pawnCount[White] + pos.pawnCount[Black] < 16 ? pos.pawnCount[White] + pos.pawnCount[Black] : 16;
  const int majorDifference = (n[White][Rook] - n[Black][Rook]) + 2 * (n[White][Queen] - n[Black][Queen]);
  if (majorDifference == 1 || majorDifference == -1) {
    const int minorDifference = n[White][Knight] + n[White][Bishop] - n[Black][Knight] - n[Black][Bishop];
    if (minorDifference == 2) score += twoMinorsForRook[pawnsOnBoard];
    if (minorDifference == -2) score -= twoMinorsForRook[pawnsOnBoard];
  }

  if (n[White][Bishop] > 1) score += bishopPair[pawnsOnBoard];
  if (n[Black][Bishop] > 1) score -= bishopPair[pawnsOnBoard];

  if (!(pos.castleFlags & (WhiteCastled | WhiteKingSide | WhiteQueenSide))) score += castlingLossPenalty[White];
  if (!(pos.castleFlags & (BlackCastled | BlackKingSide | BlackQueenSide))) score -= castlingLossPenalty[Black];

  score += Rooks(White) - Rooks(Black);
  score += KingProximity(White) - KingProximity(Black);
  return score;
}

int Evaluate(int side) {
  const PawnEntry& pawns = ProbePawnTable();
  return EvaluateFirstStage(pawns) + EvaluateSecondStage(pawns, side);
}
