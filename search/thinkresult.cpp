// The search driver's current result lives with Think; it stands here alone until then so the
// input layer's status line can be built and tested without it.
#include "search/think.h"

ThinkResult thinkResult;
