// Any bytes as the temporary file of the book builder's second step. Whatever it holds, the
// index must come out whole and describe exactly the book written beside it.
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>

#include "book/book.h"
#include "book/builder.h"
#include "tests/fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // stats.txt takes longer to write than all the rest and depends on the counts alone: a
  // directory in its place keeps it from being opened, as the builder allows.
  mkdir("stats.txt", 0700);
  WriteFuzzFile("temp.dat", data, size);
  BuildBook("temp.dat", "book.bin", "index.dat");
  struct stat index, book;
  if (stat("index.dat", &index) != 0 || stat("book.bin", &book) != 0) abort();
  const BookIndexEntry& last = openingBook.index[BookClusters - 1];
  if (index.st_size != BookClusters * 8 || book.st_size != off_t(last.start) + last.size) abort();
  if (uint64_t(book.st_size) > size / 16 * sizeof(BookRecord)) abort();
  return 0;
}
