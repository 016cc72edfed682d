#include "text/code_page.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>

#include "text/conversion.h"

namespace {

// How many bytes make the unit that a byte begins; 0 for an ordinary byte.
using UnitLengths = std::array<std::uint8_t, 256>;

struct ByteRange {
  std::uint8_t first;
  std::uint8_t last;
  std::uint8_t length;
};

constexpr UnitLengths unitLengths(std::initializer_list<ByteRange> ranges) {
  UnitLengths lengths{};
  for (const ByteRange& range : ranges) {
    for (std::size_t byte = range.first; byte <= range.last; ++byte) lengths[byte] = range.length;
  }
  return lengths;
}

// Half-width katakana are single bytes, yet no letters: they are units of one byte and have no case.
constexpr UnitLengths kJapanese = unitLengths({{0x81, 0x9F, 2}, {0xE0, 0xFC, 2}, {0xA0, 0xDF, 1}});
constexpr UnitLengths kSimplifiedChinese = unitLengths({{0x81, 0xFE, 2}});
constexpr UnitLengths kKorean = unitLengths({{0x81, 0xFD, 2}});
constexpr UnitLengths kTraditionalChinese = unitLengths({{0xA1, 0xF9, 2}});
constexpr UnitLengths kSingleByte = {};

// One routine per code page, so that a pointer somebody has kept goes on meaning the same code page.
// A byte arrives as a char of either sign or as an int; only its lowest eight bits count.
template <const UnitLengths& lengths>
int lengthIn(int byte) {
  return lengths[static_cast<std::uint8_t>(byte)];
}

struct CodePage {
  int number;
  int isMultibyte;
  int (*length)(int byte);
};

constexpr CodePage codePages[] = {
    {932, 1, lengthIn<kJapanese>},
    {936, 1, lengthIn<kSimplifiedChinese>},
    {949, 1, lengthIn<kKorean>},
    {950, 1, lengthIn<kTraditionalChinese>},
};
constexpr CodePage anyOther = {0, 0, lengthIn<kSingleByte>};

const CodePage& findCodePage(int number) {
  for (const CodePage& page : codePages) {
    if (page.number == number) return page;
  }
  return anyOther;
}

}  // namespace

int g_codepage = 0;
int g_is_multibyte_codepage = 0;
// Null until a code page has been chosen: that is how the first use is told.
int (*lang_skip_multibyte_char)(int byte) = nullptr;

int mbLangInit(int codepage, int codingFlag) {
  const CodePage& page = findCodePage(codepage);
  setUpConversion(codepage, codingFlag);
  g_codepage = codepage;
  g_is_multibyte_codepage = page.isMultibyte;
  lang_skip_multibyte_char = page.length;
  return 0;
}

void ensureCodePage() {
  // Reading the configuration may itself come through a text function; it must not start all over.
  static bool reading = false;
  if (lang_skip_multibyte_char != nullptr || reading) return;
  reading = true;
  (void)NasApiInit();  // cannot fail: without a configured code page it takes a single-byte one
  reading = false;
}
