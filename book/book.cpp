#include "book/book.h"

// Large (the builder's stores and the index): a static object, not on any stack.
OpeningBook openingBook;
bool bookListings = true;
