#include "tablebases/blockcode.h"

#include <cstring>
#include <queue>
#include <utility>
#include <vector>

namespace {

constexpr int AllSymbols = LiteralLengthSymbols + DistanceSymbols;
constexpr int LongestCode = 15;

// Bits from the coded bytes, least significant first; past the end it yields zeros, and the
// caller checks at the end that no more bits were taken than there were.
struct BitReader {
  const uint8_t* in;
  uint32_t length, next;
  uint64_t bits;
  int count;
  uint64_t taken;
};

void Refill(BitReader& r) {
  while (r.count <= 56) {
    r.bits |= uint64_t(r.next < r.length ? r.in[r.next] : 0) << r.count;
    r.next++;
    r.count += 8;
  }
}

// Takes bits already refilled: a refill leaves at least 57, more than a code length field pair or
// a whole token (literal/length code, its extra bits, distance code and extra bits) can use.
uint32_t TakeBits(BitReader& r, int n) {
  const uint32_t value = uint32_t(r.bits & ((uint64_t(1) << n) - 1));
  r.bits >>= n;
  r.count -= n;
  r.taken += uint32_t(n);
  return value;
}

uint32_t Reversed(uint32_t code, int bits) {
  uint32_t out = 0;
  for (int i = 0; i < bits; i++) out = out << 1 | (code >> i & 1);
  return out;
}

// Fills a lookup table of 2^tableBits entries, (symbol << 4 | length) or 0 where no code lies.
// False when the lengths ask for more codes than the bits allow.
bool BuildDecodeTable(const uint8_t* lengths, int symbols, int tableBits, uint16_t* table) {
  int perLength[LongestCode + 1] = {};
  for (int s = 0; s < symbols; s++) perLength[lengths[s]]++;
  perLength[0] = 0;
  uint32_t next[LongestCode + 1] = {}, code = 0;
  int left = 1;
  for (int l = 1; l <= LongestCode; l++) {
    left = left * 2 - perLength[l];
    if (left < 0) return false;
    code = (code + uint32_t(perLength[l - 1])) << 1;
    next[l] = code;
  }
  memset(table, 0, sizeof(uint16_t) << tableBits);
  for (int s = 0; s < symbols; s++) {
    const int l = lengths[s];
    if (!l) continue;
    const uint32_t first = Reversed(next[l]++, l);
    for (uint32_t fill = first; fill < (1u << tableBits); fill += 1u << l) table[fill] = uint16_t(s << 4 | l);
  }
  return true;
}

// A symbol under a table of `tableBits`, or -1 for a code the block did not define.
int TakeSymbol(BitReader& r, const uint16_t* table, int tableBits) {
  const uint16_t entry = table[r.bits & ((1u << tableBits) - 1)];
  if (!entry) return -1;
  TakeBits(r, entry & 15);
  return entry >> 4;
}

bool ReadCodeLengths(BitReader& r, uint8_t* lengths) {
  for (int s = 0; s < AllSymbols;) {
    Refill(r);
    const int field = int(TakeBits(r, 4));
    if (field) {
      if (field > (s < LiteralLengthSymbols ? LiteralCodeBits : DistanceCodeBits)) return false;
      lengths[s++] = uint8_t(field);
      continue;
    }
    const int unused = int(TakeBits(r, 4)) + 1;
    if (unused > AllSymbols - s) return false;
    memset(lengths + s, 0, size_t(unused));
    s += unused;
  }
  return true;
}

uint32_t TakeClassValue(BitReader& r, int c) { return ClassBase(c) + TakeBits(r, ClassExtraBits(c)); }

}  // namespace

uint32_t BlockChecksum(const uint8_t* entries, uint32_t count) {
  constexpr uint32_t Modulus = 65521;
  uint64_t a = 1, b = 0;  // no reduction is needed within a block: b stays below 2^36
  for (uint32_t i = 0; i < count; i++) {
    a += entries[i];
    b += a;
  }
  return uint32_t(b % Modulus) << 16 | uint32_t(a % Modulus);
}

bool DecodeTableBlock(uint8_t* scratch, uint32_t length, uint8_t* out, uint32_t entries) {
  if (length > uint32_t(LongestCodedBlock)) return false;
  uint16_t* literalTable = reinterpret_cast<uint16_t*>(scratch + LongestCodedBlock);
  uint16_t* distanceTable = literalTable + (1 << LiteralCodeBits);
  BitReader r{scratch, length, 0, 0, 0, 0};
  uint8_t lengths[AllSymbols];
  if (!ReadCodeLengths(r, lengths) ||
      !BuildDecodeTable(lengths, LiteralLengthSymbols, LiteralCodeBits, literalTable) ||
      !BuildDecodeTable(lengths + LiteralLengthSymbols, DistanceSymbols, DistanceCodeBits, distanceTable))
    return false;
  uint32_t filled = 0;
  while (filled < entries && r.taken <= uint64_t(length) * 8) {
    Refill(r);
    const int symbol = TakeSymbol(r, literalTable, LiteralCodeBits);
    if (symbol < 0) return false;
    if (symbol < 256) {
      out[filled++] = uint8_t(symbol);
      continue;
    }
    const uint32_t run = ShortestMatch + TakeClassValue(r, symbol - 256);
    const int d = TakeSymbol(r, distanceTable, DistanceCodeBits);
    if (d < 0) return false;
    const uint32_t distance = 1 + TakeClassValue(r, d);
    if (distance > filled || run > entries - filled) return false;
    // Runs and far matches are the common cases; copying them whole avoids a byte-by-byte chain.
    uint8_t* to = out + filled;
    const uint8_t* from = to - distance;
    if (distance == 1) memset(to, *from, run);
    else if (distance >= run) memcpy(to, from, run);
    else for (uint32_t i = 0; i < run; i++) to[i] = from[i];
    filled += run;
  }
  return filled == entries && (r.taken + 7) / 8 == length;
}

namespace {

// The match finder's reach: enough candidates to find the strides of the index, few enough that
// a five-man table codes in minutes.
constexpr int MatchCandidates = 48;
constexpr int HashBits = 13;

struct Token {
  uint16_t symbol;  // literal or length symbol
  uint16_t extra;   // the length's extra bits
  uint16_t distance;
};

struct BitWriter {
  uint8_t* out;
  uint32_t capacity, length;
  uint64_t bits;
  int count;
  bool full;
};

void PutBits(BitWriter& w, uint32_t value, int n) {
  w.bits |= uint64_t(value) << w.count;
  w.count += n;
  while (w.count >= 8) {
    if (w.length < w.capacity) w.out[w.length++] = uint8_t(w.bits);
    else w.full = true;
    w.bits >>= 8;
    w.count -= 8;
  }
}

// Huffman code lengths of at most `limit` bits: where the tree grows deeper, the counts are
// flattened and it is built again.
void CodeLengths(const uint32_t* counts, int symbols, int limit, uint8_t* lengths) {
  std::vector<uint32_t> weight(counts, counts + symbols);
  for (;;) {
    using Node = std::pair<uint32_t, int>;
    std::priority_queue<Node, std::vector<Node>, std::greater<Node>> queue;
    std::vector<int> parent(2 * size_t(symbols), -1);
    for (int s = 0; s < symbols; s++)
      if (weight[size_t(s)]) queue.push({weight[size_t(s)], s});
    memset(lengths, 0, size_t(symbols));
    if (queue.size() == 1) lengths[queue.top().second] = 1;
    int next = symbols, deepest = 0;
    while (queue.size() > 1) {
      const Node a = queue.top();
      queue.pop();
      const Node b = queue.top();
      queue.pop();
      parent[size_t(a.second)] = parent[size_t(b.second)] = next;
      queue.push({a.first + b.first, next++});
    }
    for (int s = 0; s < symbols; s++) {
      if (!weight[size_t(s)] || parent[size_t(s)] < 0) continue;
      int depth = 0;
      for (int n = s; parent[size_t(n)] >= 0; n = parent[size_t(n)]) depth++;
      lengths[s] = uint8_t(depth);
      if (depth > deepest) deepest = depth;
    }
    if (deepest <= limit) return;
    for (uint32_t& w : weight)
      if (w) w = w / 2 | 1;
  }
}

// Canonical codes of the lengths, bit-reversed for sending least significant bit first.
void CanonicalCodes(const uint8_t* lengths, int symbols, uint16_t* codes) {
  int perLength[LongestCode + 1] = {};
  for (int s = 0; s < symbols; s++) perLength[lengths[s]]++;
  perLength[0] = 0;
  uint32_t next[LongestCode + 1] = {}, code = 0;
  for (int l = 1; l <= LongestCode; l++) next[l] = code = (code + uint32_t(perLength[l - 1])) << 1;
  for (int s = 0; s < symbols; s++)
    if (lengths[s]) codes[s] = uint16_t(Reversed(next[lengths[s]]++, lengths[s]));
}

void PutCodeLengths(BitWriter& w, const uint8_t* lengths) {
  for (int s = 0; s < AllSymbols;) {
    if (lengths[s]) {
      PutBits(w, lengths[s++], 4);
      continue;
    }
    int unused = 1;
    while (unused < 16 && s + unused < AllSymbols && !lengths[s + unused]) unused++;
    PutBits(w, 0, 4);
    PutBits(w, uint32_t(unused - 1), 4);
    s += unused;
  }
}

uint32_t Hash(const uint8_t* p) { return (uint32_t(p[0]) << 16 | uint32_t(p[1]) << 8 | p[2]) * 2654435761u >> (32 - HashBits); }

// The hash chains of the block being parsed: every position below `chained` is on its chain.
struct MatchFinder {
  const uint8_t* in;
  uint32_t entries, chained;
  int head[1 << HashBits], previous[TableBlockBytes];
};

// The longest earlier match at `at` among the candidates of its chain, once the chains reach it.
uint32_t LongestMatch(MatchFinder& f, uint32_t at, uint32_t* distance) {
  for (; f.chained < at; f.chained++)
    if (f.chained + ShortestMatch <= f.entries) {
      const uint32_t h = Hash(f.in + f.chained);
      f.previous[f.chained] = f.head[h];
      f.head[h] = int(f.chained);
    }
  if (at + ShortestMatch > f.entries) return 0;
  const uint32_t reach = f.entries - at;
  uint32_t best = 0;
  int tries = MatchCandidates;
  for (int j = f.head[Hash(f.in + at)]; j >= 0 && tries--; j = f.previous[j]) {
    uint32_t run = 0;
    while (run < reach && f.in[uint32_t(j) + run] == f.in[at + run]) run++;
    if (run > best) best = run, *distance = at - uint32_t(j);
    if (run == reach) break;
  }
  return best;
}

// LZ77 over the block: the longest match at each entry, unless the next entry starts a longer
// one (then this entry goes as a literal).
int Parse(const uint8_t* in, uint32_t entries, Token* tokens) {
  static thread_local MatchFinder f;  // one per thread: the generator codes blocks on several
  f.in = in;
  f.entries = entries;
  f.chained = 0;
  std::fill(f.head, f.head + (1 << HashBits), -1);
  int n = 0;
  for (uint32_t i = 0; i < entries;) {
    uint32_t distance = 0, later = 0;
    const uint32_t best = LongestMatch(f, i, &distance);
    if (best < uint32_t(ShortestMatch) || LongestMatch(f, i + 1, &later) > best) {
      tokens[n++] = Token{in[i], 0, 0};
      i++;
      continue;
    }
    const int c = ValueClass(best - ShortestMatch);
    tokens[n++] = Token{uint16_t(256 + c), uint16_t(best - ShortestMatch - ClassBase(c)), uint16_t(distance)};
    i += best;
  }
  return n;
}

}  // namespace

uint32_t EncodeTableBlock(const uint8_t* in, uint32_t entries, uint8_t* out) {
  static thread_local Token tokens[TableBlockBytes];
  const int n = Parse(in, entries, tokens);
  uint32_t counts[AllSymbols] = {};
  for (int t = 0; t < n; t++) {
    counts[tokens[t].symbol]++;
    if (tokens[t].symbol >= 256) counts[LiteralLengthSymbols + ValueClass(tokens[t].distance - 1u)]++;
  }
  uint8_t lengths[AllSymbols];
  uint16_t codes[AllSymbols];
  CodeLengths(counts, LiteralLengthSymbols, LiteralCodeBits, lengths);
  CodeLengths(counts + LiteralLengthSymbols, DistanceSymbols, DistanceCodeBits, lengths + LiteralLengthSymbols);
  CanonicalCodes(lengths, LiteralLengthSymbols, codes);
  CanonicalCodes(lengths + LiteralLengthSymbols, DistanceSymbols, codes + LiteralLengthSymbols);
  const uint32_t room = entries - 1 < uint32_t(LongestCodedBlock) ? entries - 1 : uint32_t(LongestCodedBlock);
  BitWriter w{out, room, 0, 0, 0, false};
  PutCodeLengths(w, lengths);
  for (int t = 0; t < n && !w.full; t++) {
    const Token& k = tokens[t];
    PutBits(w, codes[k.symbol], lengths[k.symbol]);
    if (k.symbol < 256) continue;
    PutBits(w, k.extra, ClassExtraBits(k.symbol - 256));
    const int d = ValueClass(k.distance - 1u);
    PutBits(w, codes[LiteralLengthSymbols + d], lengths[LiteralLengthSymbols + d]);
    PutBits(w, k.distance - 1u - ClassBase(d), ClassExtraBits(d));
  }
  PutBits(w, 0, 7);  // the last byte's bits
  if (w.full) {
    memcpy(out, in, entries);
    return entries;
  }
  return w.length;
}
