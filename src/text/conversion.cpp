#include "text/conversion.h"

#include <cstdint>
#include <cstring>

namespace {

// One character carried over into the other encoding: how many bytes it took and what they became.
struct Converted {
  int taken;  // 0: no such character
  int given;
  std::uint8_t bytes[2];
};

using ConvertOne = Converted (*)(const std::uint8_t* at);

constexpr Converted kNoCharacter = {0, 0, {}};

constexpr std::uint8_t kEucKatakana = 0x8E;  // single shift: the next byte is a half-width katakana

bool isBetween(int byte, int first, int last) { return byte >= first && byte <= last; }

Converted pairOf(int lead, int trail) {
  return {2, 2, {static_cast<std::uint8_t>(lead), static_cast<std::uint8_t>(trail)}};
}

// Both encodings hold the same square of 94 rows by 94 cells. EUC-JP writes row and cell plainly, each from 0xA1;
// Shift-JIS packs two rows behind one lead byte and jumps over the katakana (0xA0-0xDF) and over 0x7F.
Converted eucToShiftJis(const std::uint8_t* at) {
  if (at[0] < 0x80) return {1, 1, {at[0]}};
  if (at[0] == kEucKatakana) return isBetween(at[1], 0xA1, 0xDF) ? Converted{2, 1, {at[1]}} : kNoCharacter;
  if (!isBetween(at[0], 0xA1, 0xFE) || !isBetween(at[1], 0xA1, 0xFE)) return kNoCharacter;
  const int row = at[0] - 0xA1;
  const int cell = at[1] - 0xA1;
  const int lead = 0x81 + row / 2;
  const int trail = row % 2 != 0 ? 0x9F + cell : 0x40 + cell;
  return pairOf(lead > 0x9F ? lead + 0x40 : lead, row % 2 == 0 && trail >= 0x7F ? trail + 1 : trail);
}

Converted shiftJisToEuc(const std::uint8_t* at) {
  if (at[0] < 0x80) return {1, 1, {at[0]}};
  if (isBetween(at[0], 0xA1, 0xDF)) return {1, 2, {kEucKatakana, at[0]}};
  // Lead bytes from 0xF0 on are user-defined characters, for which EUC-JP has no rows.
  if (!isBetween(at[0], 0x81, 0x9F) && !isBetween(at[0], 0xE0, 0xEF)) return kNoCharacter;
  if (!isBetween(at[1], 0x40, 0xFC) || at[1] == 0x7F) return kNoCharacter;
  const int firstRow = 0xA1 + 2 * (at[0] > 0x9F ? at[0] - 0xC1 : at[0] - 0x81);
  if (at[1] >= 0x9F) return pairOf(firstRow + 1, at[1] - 0x9F + 0xA1);
  return pairOf(firstRow, at[1] - (at[1] > 0x7F ? 1 : 0) - 0x40 + 0xA1);
}

bool fitsInPlace(const char* text, ConvertOne convert) {
  const auto* at = reinterpret_cast<const std::uint8_t*>(text);
  while (*at != 0) {
    const Converted one = convert(at);
    if (one.taken == 0 || one.given > one.taken) return false;
    at += one.taken;
  }
  return true;
}

char* convertInPlace(char* text, ConvertOne convert) {
  if (convert == nullptr || !fitsInPlace(text, convert)) return text;
  const auto* from = reinterpret_cast<const std::uint8_t*>(text);
  char* to = text;
  while (*from != 0) {
    const Converted one = convert(from);
    std::memcpy(to, one.bytes, static_cast<std::size_t>(one.given));
    to += one.given;
    from += one.taken;
  }
  *to = '\0';
  return text;
}

// Null: the text is the same on both sides.
ConvertOne convertToClient = nullptr;
ConvertOne convertToServer = nullptr;

}  // namespace

void setUpConversion(int codepage, int codingFlag) {
  const bool serverKeepsEuc = codepage == 932 && codingFlag == 1;
  convertToClient = serverKeepsEuc ? eucToShiftJis : nullptr;
  convertToServer = serverKeepsEuc ? shiftJisToEuc : nullptr;
}

char* serverToClient(char* text) { return convertInPlace(text, convertToClient); }

char* clientToServer(char* text) { return convertInPlace(text, convertToServer); }
