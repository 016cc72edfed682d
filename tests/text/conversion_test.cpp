// Names carried over between EUC-JP on the server and Shift-JIS on its clients.
#include <iconv.h>

#include "frame/appliance.h"
#include "text/code_page.h"

namespace {

std::string toServer(std::string text) { return NasStrClientToServer(text.data()); }
std::string toClient(std::string text) { return NasStrServerToClient(text.data()); }

// The C library's own conversion; empty where it knows no such character.
std::string byIconv(iconv_t converter, std::string text) {
  char out[8] = {};
  char* from = text.data();
  char* to = out;
  std::size_t left = text.size();
  std::size_t room = sizeof out;
  return iconv(converter, &from, &left, &to, &room) == 0 ? std::string(out, to) : std::string();
}

TEST(Conversion, EveryCharacterOfTheSquareAgreesWithTheCLibrary) {
  mbLangInit(932, 1);
  const iconv_t converter = iconv_open("SJIS", "EUC-JP");
  ASSERT_NE(reinterpret_cast<iconv_t>(-1), converter);
  int compared = 0;
  for (int row = 0xA1; row <= 0xFE; ++row) {
    for (int cell = 0xA1; cell <= 0xFE; ++cell) {
      const std::string euc = {static_cast<char>(row), static_cast<char>(cell)};
      const std::string shiftJis = byIconv(converter, euc);
      if (shiftJis.size() != 2) continue;
      EXPECT_EQ("a" + shiftJis + "Z", toClient("a" + euc + "Z"));
      EXPECT_EQ("a" + euc + "Z", toServer("a" + shiftJis + "Z"));
      ++compared;
    }
  }
  iconv_close(converter);
  EXPECT_EQ(6879, compared);  // all that JIS X 0208 assigns
}

TEST(Conversion, WhatCannotBeConvertedInPlaceStaysWhole) {
  mbLangInit(932, 1);
  EXPECT_EQ("\xB1x\x88\x9F", toClient("\x8E\xB1x\xB0\xA1"));  // katakana shrink
  for (const char* text : {"\x88\x9F\xB1", "\x88\x9F\xF0\x40", "\x88\x9F\x81", "\x88\x9F\x81\x7F", "\x88\x9F\x80x"}) {
    EXPECT_EQ(text, toServer(text));
  }
  for (const char* text :
       {"\xB0\xA1\xB0", "\xB0\xA1\x8F\xB0\xA1", "\xB0\xA1\x8E\x40", "\xB0\xA1\xA1\x40", "\xB0\xA1\xFF\xA1"}) {
    EXPECT_EQ(text, toClient(text));
  }
}

TEST(Conversion, OnlyJapaneseNamesOnAnEucServerAreConverted) {
  const struct { int page, flag; } cases[] = {{932, -1}, {932, 0}, {936, 1}, {860, 1}};
  for (const auto& c : cases) {
    mbLangInit(932, 1);
    mbLangInit(c.page, c.flag);
    EXPECT_EQ("a\x88\x9F", toServer("a\x88\x9F")) << c.page << " " << c.flag;
    EXPECT_EQ("a\xB0\xA1", toClient("a\xB0\xA1")) << c.page << " " << c.flag;
  }
}

}  // namespace
