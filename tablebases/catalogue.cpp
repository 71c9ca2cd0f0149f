// The catalogue of tables and the material-signature tree that finds a table from the men on the
// board.
#include <cstring>

#include "board/fen.h"
#include "tablebases/catalogue.h"
#include "board/output.h"
#include "tablebases/layout.h"

// Counts are the published sizes of the uncompressed files. Table 0 (kk) has no file and no
// index functions; its counts are 0 so that nothing ever takes it for a real table.
TableDescriptor tableCatalogue[TableCount] = {
    {0, {nullptr, nullptr}, "kk", {0, 0}, {}, {}},
    {1, {TableIndex<1, 0>, TableIndex<1, 1>}, "kpk", {81664, 84012}, {}, {}},
    {2, {TableIndex<2, 0>, TableIndex<2, 1>}, "knk", {26282, 28644}, {}, {}},
    {3, {TableIndex<3, 0>, TableIndex<3, 1>}, "kbk", {27243, 28644}, {}, {}},
    {4, {TableIndex<4, 0>, TableIndex<4, 1>}, "krk", {27030, 28644}, {}, {}},
    {5, {TableIndex<5, 0>, TableIndex<5, 1>}, "kqk", {25629, 28644}, {}, {}},
    {6, {TableIndex<6, 0>, TableIndex<6, 1>}, "kpkp", {3863492, 3863492}, {}, {}},
    {7, {TableIndex<7, 0>, TableIndex<7, 1>}, "knkp", {4931904, 4981504}, {}, {}},
    {8, {TableIndex<8, 0>, TableIndex<8, 1>}, "knkn", {1603202, 1603202}, {}, {}},
    {9, {TableIndex<9, 0>, TableIndex<9, 1>}, "kbkp", {5112000, 4981504}, {}, {}},
    {10, {TableIndex<10, 0>, TableIndex<10, 1>}, "kbkn", {1661823, 1603202}, {}, {}},
    {11, {TableIndex<11, 0>, TableIndex<11, 1>}, "kbkb", {1661823, 1661823}, {}, {}},
    {12, {TableIndex<12, 0>, TableIndex<12, 1>}, "krkp", {5072736, 4981504}, {}, {}},
    {13, {TableIndex<13, 0>, TableIndex<13, 1>}, "krkn", {1649196, 1603202}, {}, {}},
    {14, {TableIndex<14, 0>, TableIndex<14, 1>}, "krkb", {1649196, 1661823}, {}, {}},
    {15, {TableIndex<15, 0>, TableIndex<15, 1>}, "krkr", {1649196, 1649196}, {}, {}},
    {16, {TableIndex<16, 0>, TableIndex<16, 1>}, "kqkp", {4810080, 4981504}, {}, {}},
    {17, {TableIndex<17, 0>, TableIndex<17, 1>}, "kqkn", {1563735, 1603202}, {}, {}},
    {18, {TableIndex<18, 0>, TableIndex<18, 1>}, "kqkb", {1563735, 1661823}, {}, {}},
    {19, {TableIndex<19, 0>, TableIndex<19, 1>}, "kqkr", {1563735, 1649196}, {}, {}},
    {20, {TableIndex<20, 0>, TableIndex<20, 1>}, "kqkq", {1563735, 1563735}, {}, {}},
    {21, {TableIndex<21, 0>, TableIndex<21, 1>}, "kppk", {1806671, 1912372}, {}, {}},
    {22, {TableIndex<22, 0>, TableIndex<22, 1>}, "knpk", {4648581, 5124732}, {}, {}},
    {23, {TableIndex<23, 0>, TableIndex<23, 1>}, "knnk", {735304, 873642}, {}, {}},
    {24, {TableIndex<24, 0>, TableIndex<24, 1>}, "kbpk", {4817128, 5124732}, {}, {}},
    {25, {TableIndex<25, 0>, TableIndex<25, 1>}, "kbnk", {1550620, 1747284}, {}, {}},
    {26, {TableIndex<26, 0>, TableIndex<26, 1>}, "kbbk", {789885, 873642}, {}, {}},
    {27, {TableIndex<27, 0>, TableIndex<27, 1>}, "krpk", {4779530, 5124732}, {}, {}},
    {28, {TableIndex<28, 0>, TableIndex<28, 1>}, "krnk", {1538479, 1747284}, {}, {}},
    {29, {TableIndex<29, 0>, TableIndex<29, 1>}, "krbk", {1594560, 1747284}, {}, {}},
    {30, {TableIndex<30, 0>, TableIndex<30, 1>}, "krrk", {777300, 873642}, {}, {}},
    {31, {TableIndex<31, 0>, TableIndex<31, 1>}, "kqpk", {4533490, 5124732}, {}, {}},
    {32, {TableIndex<32, 0>, TableIndex<32, 1>}, "kqnk", {1459616, 1747284}, {}, {}},
    {33, {TableIndex<33, 0>, TableIndex<33, 1>}, "kqbk", {1512507, 1747284}, {}, {}},
    {34, {TableIndex<34, 0>, TableIndex<34, 1>}, "kqrk", {1500276, 1747284}, {}, {}},
    {35, {TableIndex<35, 0>, TableIndex<35, 1>}, "kqqk", {698739, 873642}, {}, {}},
    {36, {TableIndex<36, 0>, TableIndex<36, 1>}, "kppkp", {84219361, 89391280}, {}, {}},
    {37, {TableIndex<37, 0>, TableIndex<37, 1>}, "kppkn", {108400260, 115899744}, {}, {}},
    {38, {TableIndex<38, 0>, TableIndex<38, 1>}, "kppkb", {108400260, 120132000}, {}, {}},
    {39, {TableIndex<39, 0>, TableIndex<39, 1>}, "kppkr", {108400260, 119209296}, {}, {}},
    {40, {TableIndex<40, 0>, TableIndex<40, 1>}, "kppkq", {108400260, 113036880}, {}, {}},
    {41, {TableIndex<41, 0>, TableIndex<41, 1>}, "knpkp", {219921779, 231758952}, {}, {}},
    {42, {TableIndex<42, 0>, TableIndex<42, 1>}, "knpkn", {278914860, 295914240}, {}, {}},
    {43, {TableIndex<43, 0>, TableIndex<43, 1>}, "knpkb", {278914860, 306720000}, {}, {}},
    {44, {TableIndex<44, 0>, TableIndex<44, 1>}, "knpkr", {278914860, 304369920}, {}, {}},
    {45, {TableIndex<45, 0>, TableIndex<45, 1>}, "knpkq", {278914860, 288610560}, {}, {}},
    {46, {TableIndex<46, 0>, TableIndex<46, 1>}, "knnkp", {137991648, 149445120}, {}, {}},
    {47, {TableIndex<47, 0>, TableIndex<47, 1>}, "knnkn", {44118240, 48096060}, {}, {}},
    {48, {TableIndex<48, 0>, TableIndex<48, 1>}, "knnkb", {44118240, 49854690}, {}, {}},
    {49, {TableIndex<49, 0>, TableIndex<49, 1>}, "knnkr", {44118240, 49475880}, {}, {}},
    {50, {TableIndex<50, 0>, TableIndex<50, 1>}, "knnkq", {44118240, 46912050}, {}, {}},
    {51, {TableIndex<51, 0>, TableIndex<51, 1>}, "kbpkp", {227896016, 231758952}, {}, {}},
    {52, {TableIndex<52, 0>, TableIndex<52, 1>}, "kbpkn", {289027680, 295914240}, {}, {}},
    {53, {TableIndex<53, 0>, TableIndex<53, 1>}, "kbpkb", {289027680, 306720000}, {}, {}},
    {54, {TableIndex<54, 0>, TableIndex<54, 1>}, "kbpkr", {289027680, 304369920}, {}, {}},
    {55, {TableIndex<55, 0>, TableIndex<55, 1>}, "kbpkq", {289027680, 288610560}, {}, {}},
    {56, {TableIndex<56, 0>, TableIndex<56, 1>}, "kbnkp", {290989584, 298890240}, {}, {}},
    {57, {TableIndex<57, 0>, TableIndex<57, 1>}, "kbnkn", {93037200, 96192120}, {}, {}},
    {58, {TableIndex<58, 0>, TableIndex<58, 1>}, "kbnkb", {93037200, 99709380}, {}, {}},
    {59, {TableIndex<59, 0>, TableIndex<59, 1>}, "kbnkr", {93037200, 98951760}, {}, {}},
    {60, {TableIndex<60, 0>, TableIndex<60, 1>}, "kbnkq", {93037200, 93824100}, {}, {}},
    {61, {TableIndex<61, 0>, TableIndex<61, 1>}, "kbbkp", {148223520, 149445120}, {}, {}},
    {62, {TableIndex<62, 0>, TableIndex<62, 1>}, "kbbkn", {47393100, 48096060}, {}, {}},
    {63, {TableIndex<63, 0>, TableIndex<63, 1>}, "kbbkb", {47393100, 49854690}, {}, {}},
    {64, {TableIndex<64, 0>, TableIndex<64, 1>}, "kbbkr", {47393100, 49475880}, {}, {}},
    {65, {TableIndex<65, 0>, TableIndex<65, 1>}, "kbbkq", {47393100, 46912050}, {}, {}},
    {66, {TableIndex<66, 0>, TableIndex<66, 1>}, "krpkp", {226121876, 231758952}, {}, {}},
    {67, {TableIndex<67, 0>, TableIndex<67, 1>}, "krpkn", {286777440, 295914240}, {}, {}},
    {68, {TableIndex<68, 0>, TableIndex<68, 1>}, "krpkb", {286777440, 306720000}, {}, {}},
    {69, {TableIndex<69, 0>, TableIndex<69, 1>}, "krpkr", {286777440, 304369920}, {}, {}},
    {70, {TableIndex<70, 0>, TableIndex<70, 1>}, "krpkq", {286777440, 288610560}, {}, {}},
    {71, {TableIndex<71, 0>, TableIndex<71, 1>}, "krnkp", {288692928, 298890240}, {}, {}},
    {72, {TableIndex<72, 0>, TableIndex<72, 1>}, "krnkn", {92308740, 96192120}, {}, {}},
    {73, {TableIndex<73, 0>, TableIndex<73, 1>}, "krnkb", {92308740, 99709380}, {}, {}},
    {74, {TableIndex<74, 0>, TableIndex<74, 1>}, "krnkr", {92308740, 98951760}, {}, {}},
    {75, {TableIndex<75, 0>, TableIndex<75, 1>}, "krnkq", {92308740, 93824100}, {}, {}},
    {76, {TableIndex<76, 0>, TableIndex<76, 1>}, "krbkp", {299203200, 298890240}, {}, {}},
    {77, {TableIndex<77, 0>, TableIndex<77, 1>}, "krbkn", {95673600, 96192120}, {}, {}},
    {78, {TableIndex<78, 0>, TableIndex<78, 1>}, "krbkb", {95673600, 99709380}, {}, {}},
    {79, {TableIndex<79, 0>, TableIndex<79, 1>}, "krbkr", {95673600, 98951760}, {}, {}},
    {80, {TableIndex<80, 0>, TableIndex<80, 1>}, "krbkq", {95673600, 93824100}, {}, {}},
    {81, {TableIndex<81, 0>, TableIndex<81, 1>}, "krrkp", {145901232, 149445120}, {}, {}},
    {82, {TableIndex<82, 0>, TableIndex<82, 1>}, "krrkn", {46658340, 48096060}, {}, {}},
    {83, {TableIndex<83, 0>, TableIndex<83, 1>}, "krrkb", {46658340, 49854690}, {}, {}},
    {84, {TableIndex<84, 0>, TableIndex<84, 1>}, "krrkr", {46658340, 49475880}, {}, {}},
    {85, {TableIndex<85, 0>, TableIndex<85, 1>}, "krrkq", {46658340, 46912050}, {}, {}},
    {86, {TableIndex<86, 0>, TableIndex<86, 1>}, "kqpkp", {214481388, 231758952}, {}, {}},
    {87, {TableIndex<87, 0>, TableIndex<87, 1>}, "kqpkn", {272015040, 295914240}, {}, {}},
    {88, {TableIndex<88, 0>, TableIndex<88, 1>}, "kqpkb", {272015040, 306720000}, {}, {}},
    {89, {TableIndex<89, 0>, TableIndex<89, 1>}, "kqpkr", {272015040, 304369920}, {}, {}},
    {90, {TableIndex<90, 0>, TableIndex<90, 1>}, "kqpkq", {272015040, 288610560}, {}, {}},
    {91, {TableIndex<91, 0>, TableIndex<91, 1>}, "kqnkp", {273904512, 298890240}, {}, {}},
    {92, {TableIndex<92, 0>, TableIndex<92, 1>}, "kqnkn", {87576960, 96192120}, {}, {}},
    {93, {TableIndex<93, 0>, TableIndex<93, 1>}, "kqnkb", {87576960, 99709380}, {}, {}},
    {94, {TableIndex<94, 0>, TableIndex<94, 1>}, "kqnkr", {87576960, 98951760}, {}, {}},
    {95, {TableIndex<95, 0>, TableIndex<95, 1>}, "kqnkq", {87576960, 93824100}, {}, {}},
    {96, {TableIndex<96, 0>, TableIndex<96, 1>}, "kqbkp", {283818240, 298890240}, {}, {}},
    {97, {TableIndex<97, 0>, TableIndex<97, 1>}, "kqbkn", {90750420, 96192120}, {}, {}},
    {98, {TableIndex<98, 0>, TableIndex<98, 1>}, "kqbkb", {90750420, 99709380}, {}, {}},
    {99, {TableIndex<99, 0>, TableIndex<99, 1>}, "kqbkr", {90750420, 98951760}, {}, {}},
    {100, {TableIndex<100, 0>, TableIndex<100, 1>}, "kqbkq", {90750420, 93824100}, {}, {}},
    {101, {TableIndex<101, 0>, TableIndex<101, 1>}, "kqrkp", {281568240, 298890240}, {}, {}},
    {102, {TableIndex<102, 0>, TableIndex<102, 1>}, "kqrkn", {90038460, 96192120}, {}, {}},
    {103, {TableIndex<103, 0>, TableIndex<103, 1>}, "kqrkb", {90038460, 99709380}, {}, {}},
    {104, {TableIndex<104, 0>, TableIndex<104, 1>}, "kqrkr", {90038460, 98951760}, {}, {}},
    {105, {TableIndex<105, 0>, TableIndex<105, 1>}, "kqrkq", {90038460, 93824100}, {}, {}},
    {106, {TableIndex<106, 0>, TableIndex<106, 1>}, "kqqkp", {131170128, 149445120}, {}, {}},
    {107, {TableIndex<107, 0>, TableIndex<107, 1>}, "kqqkn", {41944320, 48096060}, {}, {}},
    {108, {TableIndex<108, 0>, TableIndex<108, 1>}, "kqqkb", {41944320, 49854690}, {}, {}},
    {109, {TableIndex<109, 0>, TableIndex<109, 1>}, "kqqkr", {41944320, 49475880}, {}, {}},
    {110, {TableIndex<110, 0>, TableIndex<110, 1>}, "kqqkq", {41944320, 46912050}, {}, {}},
    {111, {TableIndex<111, 0>, TableIndex<111, 1>}, "kpppk", {26061704, 28388716}, {}, {}},
    {112, {TableIndex<112, 0>, TableIndex<112, 1>}, "knppk", {102898651, 114742320}, {}, {}},
    {113, {TableIndex<113, 0>, TableIndex<113, 1>}, "knnpk", {130135501, 153741960}, {}, {}},
    {114, {TableIndex<114, 0>, TableIndex<114, 1>}, "knnnk", {13486227, 17472840}, {}, {}},
    {115, {TableIndex<115, 0>, TableIndex<115, 1>}, "kbppk", {106602156, 114742320}, {}, {}},
    {116, {TableIndex<116, 0>, TableIndex<116, 1>}, "kbnpk", {274352939, 307483920}, {}, {}},
    {117, {TableIndex<117, 0>, TableIndex<117, 1>}, "kbnnk", {43406294, 52418520}, {}, {}},
    {118, {TableIndex<118, 0>, TableIndex<118, 1>}, "kbbpk", {139715040, 153741960}, {}, {}},
    {119, {TableIndex<119, 0>, TableIndex<119, 1>}, "kbbnk", {44983618, 52418520}, {}, {}},
    {120, {TableIndex<120, 0>, TableIndex<120, 1>}, "kbbbk", {15010230, 17472840}, {}, {}},
    {121, {TableIndex<121, 0>, TableIndex<121, 1>}, "krppk", {105758666, 114742320}, {}, {}},
    {122, {TableIndex<122, 0>, TableIndex<122, 1>}, "krnpk", {272153675, 307483920}, {}, {}},
    {123, {TableIndex<123, 0>, TableIndex<123, 1>}, "krnnk", {43056198, 52418520}, {}, {}},
    {124, {TableIndex<124, 0>, TableIndex<124, 1>}, "krbpk", {281991360, 307483920}, {}, {}},
    {125, {TableIndex<125, 0>, TableIndex<125, 1>}, "krbnk", {90787358, 104837040}, {}, {}},
    {126, {TableIndex<126, 0>, TableIndex<126, 1>}, "krbbk", {46242089, 52418520}, {}, {}},
    {127, {TableIndex<127, 0>, TableIndex<127, 1>}, "krrpk", {137491197, 153741960}, {}, {}},
    {128, {TableIndex<128, 0>, TableIndex<128, 1>}, "krrnk", {44265261, 52418520}, {}, {}},
    {129, {TableIndex<129, 0>, TableIndex<129, 1>}, "krrbk", {45873720, 52418520}, {}, {}},
    {130, {TableIndex<130, 0>, TableIndex<130, 1>}, "krrrk", {14644690, 17472840}, {}, {}},
    {131, {TableIndex<131, 0>, TableIndex<131, 1>}, "kqppk", {100347220, 114742320}, {}, {}},
    {132, {TableIndex<132, 0>, TableIndex<132, 1>}, "kqnpk", {258294639, 307483920}, {}, {}},
    {133, {TableIndex<133, 0>, TableIndex<133, 1>}, "kqnnk", {40873646, 52418520}, {}, {}},
    {134, {TableIndex<134, 0>, TableIndex<134, 1>}, "kqbpk", {267576632, 307483920}, {}, {}},
    {135, {TableIndex<135, 0>, TableIndex<135, 1>}, "kqbnk", {86166717, 104837040}, {}, {}},
    {136, {TableIndex<136, 0>, TableIndex<136, 1>}, "kqbbk", {43879679, 52418520}, {}, {}},
    {137, {TableIndex<137, 0>, TableIndex<137, 1>}, "kqrpk", {265421907, 307483920}, {}, {}},
    {138, {TableIndex<138, 0>, TableIndex<138, 1>}, "kqrnk", {85470603, 104837040}, {}, {}},
    {139, {TableIndex<139, 0>, TableIndex<139, 1>}, "kqrbk", {88557959, 104837040}, {}, {}},
    {140, {TableIndex<140, 0>, TableIndex<140, 1>}, "kqrrk", {43157690, 52418520}, {}, {}},
    {141, {TableIndex<141, 0>, TableIndex<141, 1>}, "kqqpk", {123688859, 153741960}, {}, {}},
    {142, {TableIndex<142, 0>, TableIndex<142, 1>}, "kqqnk", {39840787, 52418520}, {}, {}},
    {143, {TableIndex<143, 0>, TableIndex<143, 1>}, "kqqbk", {41270973, 52418520}, {}, {}},
    {144, {TableIndex<144, 0>, TableIndex<144, 1>}, "kqqrk", {40916820, 52418520}, {}, {}},
    {145, {TableIndex<145, 0>, TableIndex<145, 1>}, "kqqqk", {12479974, 17472840}, {}, {}},
};

namespace {

// A node of the signature tree: at level L (0 to 9) it has children for the counts 0..largest of
// the L-th signature count, stored from `first` on; a node at level 10 is a leaf whose `first`
// is the signed table number. A node with largest -1 has no table below it.
struct SignatureNode {
  int8_t largest;
  int16_t first;
};

// 290 materials (each table's own and its colour swap, once for equal sides) never make more
// nodes than this; BuildSignatureTree checks it.
constexpr int MaxSignatureNodes = 8192;
constexpr int MaxMaterials = 2 * TableCount;

SignatureNode signatureNodes[MaxSignatureNodes];
int signatureNodeCount;

struct Material {
  int8_t counts[SignatureCounts];
  int16_t table;  // signed, as LookupSignature returns it
};
Material materials[MaxMaterials];
int materialCount;

// Signature position of a piece code (pawn .. queen) for the side named first; +5 for the other.
void CountMen(const char* men, int8_t* counts) {
  for (; *men; men++) counts[-PieceOfLetter(*men) - Pawn]++;  // names are written in lower case
}

void AddTableMaterials(int table) {
  const char* name = tableCatalogue[table].name;
  const char* second = strchr(name + 1, 'k');
  char strong[8] = {}, weak[8] = {};
  memcpy(strong, name + 1, size_t(second - name - 1));
  strcpy(weak, second + 1);
  Material m = {};
  CountMen(strong, m.counts);
  CountMen(weak, m.counts + 5);
  m.table = int16_t(table);
  materials[materialCount++] = m;
  // Equal sides need no swap: the table's White-to-move and Black-to-move sides serve as named.
  if (strcmp(strong, weak) != 0) {
    Material swapped = {};
    memcpy(swapped.counts, m.counts + 5, 5);
    memcpy(swapped.counts + 5, m.counts, 5);
    swapped.table = int16_t(-table);
    materials[materialCount++] = swapped;
  }
}

// Fills node `node` at `level` from the materials listed in `members`, breadth by breadth.
void BuildNode(int node, int level, const int16_t* members, int memberCount) {
  if (level == SignatureCounts) {
    signatureNodes[node].largest = 0;
    signatureNodes[node].first = memberCount ? materials[members[0]].table : 0;
    return;
  }
  int largest = -1;
  for (int i = 0; i < memberCount; i++)
    if (materials[members[i]].counts[level] > largest) largest = materials[members[i]].counts[level];
  const int first = signatureNodeCount;
  signatureNodeCount += largest + 1;
  if (signatureNodeCount > MaxSignatureNodes) {
    Print("*** signature tree overflow\n");
    signatureNodeCount = first;
    largest = -1;
  }
  signatureNodes[node].largest = int8_t(largest);
  signatureNodes[node].first = int16_t(first);
  int16_t subset[MaxMaterials];
  for (int c = 0; c <= largest; c++) {
    int n = 0;
    for (int i = 0; i < memberCount; i++)
      if (materials[members[i]].counts[level] == c) subset[n++] = members[i];
    BuildNode(first + c, level + 1, subset, n);
  }
}

}  // namespace

void BuildSignatureTree() {
  InitTableLayouts();
  materialCount = 0;
  for (int t = 1; t < TableCount; t++) AddTableMaterials(t);
  int16_t all[MaxMaterials];
  for (int i = 0; i < materialCount; i++) all[i] = int16_t(i);
  signatureNodeCount = 1;
  BuildNode(0, 0, all, materialCount);
}

int LookupSignature(const int counts[SignatureCounts]) {
  const SignatureNode* node = &signatureNodes[0];
  for (int level = 0; level < SignatureCounts; level++) {
    if (counts[level] < 0 || counts[level] > node->largest) return 0;
    node = &signatureNodes[node->first + counts[level]];
  }
  return node->first;
}
