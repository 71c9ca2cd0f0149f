#include "board/repetition.h"

RepetitionBucket repetitionList[RepetitionBuckets];

void ClearRepetitions() {
  for (RepetitionBucket& b : repetitionList) b.count = 0;
}
