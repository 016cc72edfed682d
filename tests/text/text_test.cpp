// Names in single-byte and East Asian code pages, through the exported functions.
#include <memory>

#include "frame/appliance.h"
#include "text/code_page.h"
#include "text/mb_string.h"

namespace {

// A text in a block of its own that ends right behind the NUL, so that address checking sees a step too far.
struct Exact {
  std::unique_ptr<char[]> bytes;
  explicit Exact(const std::string& text) : bytes(new char[text.size() + 1]) {
    std::memcpy(bytes.get(), text.c_str(), text.size() + 1);
  }
  operator char*() const { return bytes.get(); }
};

TEST(CodePage, CaseLeavesDoubleByteCharactersAlone) {
  // At the edges of what begins a character, in each code page; half-width katakana have no case, either.
  const std::tuple<int, const char*, const char*> cases[] = {
      {932, "a\x80q\x81q\x9Fq\xA0q\xDFq\xE0q\xFCq\xFDq\x81", "A\x80Q\x81q\x9Fq\xA0Q\xDFQ\xE0q\xFCq\xFDQ\x81"},
      {936, "\x80q\x81q\xFEq\xFFq", "\x80Q\x81q\xFEq\xFFQ"},
      {949, "\x80q\x81q\xFDq\xFEq", "\x80Q\x81q\xFDq\xFEQ"},
      {950, "\xA0q\xA1q\xF9q\xFAq", "\xA0Q\xA1q\xF9q\xFAQ"},
      {860, "\x80q\x83q\xFEq", "\x80Q\x83Q\xFEQ"},
  };
  for (const auto& [page, lower, upper] : cases) {
    mbLangInit(page, -1);
    EXPECT_STREQ(upper, NasStrUpper(Exact(lower))) << page;
    EXPECT_STREQ(lower, NasStrLower(Exact(upper))) << page;
    EXPECT_EQ(page == 860 ? 0 : 2, NasCharLen(0xE1)) << page;
  }
}

TEST(CodePage, ComparisonGoesByLengthThenByFirstDifference) {
  const std::string longText(3000, 'x');
  // clang-format off
  const struct { int page; std::string a, b; int result; } cases[] = {
      {860, "abc", "ABC", 0}, {860, "", "abc", -3}, {860, "aC", "Ab", 1}, {860, "ab", "A_", 'B' - '_'},
      {932, "\x83\x61", "\x83\x41", 1}, {932, "\x83\x61q", "\x83\x61Q", 0}, {860, "\x83\x61", "\x83\x41", 0},
      {932, "\x81\x40", "a\x40", 1},  // the first text decides what is a unit
      {932, "a\x40", "\x81\x40", 'A' - 0x81}, {932, "a\x81", "A\x81", 0},
      {860, longText + "a", longText + "bcd", 0},
      {932, std::string(2046, 'x') + "\x81\x40", std::string(2046, 'X') + "\x81\x41", 0},  // cut between the two
  };
  // clang-format on
  for (const auto& c : cases) {
    mbLangInit(c.page, -1);
    SCOPED_TRACE(c.a.substr(0, 9) + " " + c.b.substr(0, 9));
    EXPECT_EQ(c.result, NasStrCaseCmp(Exact(c.a), Exact(c.b)));
    EXPECT_EQ(c.result == 0, mbStrEqual(Exact(c.a), Exact(c.b)) == 1);
    EXPECT_EQ(c.a == c.b, mbStrCsEqual(Exact(c.a), Exact(c.b)) == 1);
  }
}

TEST(CodePage, CountedComparisonWantsTheWholeCount) {
  // clang-format off
  const struct { int page; const char *a, *b; int count, result; } cases[] = {
      {860, "abcd", "ABCE", 3, 0}, {860, "abc", "ABC", 4, 1}, {860, "a", "b", 0, 0}, {860, "a", "a", -1, 1},
      {932, "a\x83\x61", "A\x83\x61", 3, 0}, {932, "a\x83\x61", "A\x83\x41", 3, 1},
      {932, "\x83\x61", "\x83\x61", 1, 1},  // half a character
      {932, "a\x81", "A\x81", 2, 0}, {932, "\x81\x40", "\x81", 2, 1}, {932, "a\x40", "\x81\x40", 2, 1},
  };
  // clang-format on
  for (const auto& c : cases) {
    mbLangInit(c.page, -1);
    const Exact a(c.a), b(c.b);
    EXPECT_EQ(c.result, NasStrNCaseCmp(a, b, c.count)) << c.a << " " << c.b << " " << c.count;
    EXPECT_EQ(c.count != 0 && c.result == 0, mbStrnEqual(a, b, c.count) == 1) << c.a << " " << c.b << " " << c.count;
  }
}

TEST(CodePage, SearchAndReplacementNeverTakeATrailByte) {
  // clang-format off
  // firstAt: place of the set's first byte, -1 when the text has none
  const struct { int page; const char *text, *set; int byte; const char* replaced; int firstAt; } cases[] = {
      {932, "\x83\x5C/\\x", "\\", '_', "\x83\x5C/_x", 3}, {860, "\x83\x5C|", "\\|", '_', "\x83__", 1},
      {932, "a\xB1z\x81", "\x81\xB1", '_', "a_z_", 3}, {932, "a:b/c:d", ":/", 0, "a", 1},
      {932, "same", "", '_', "same", 4},
  };
  // clang-format on
  for (const auto& c : cases) {
    mbLangInit(c.page, -1);
    const Exact text(c.text);
    const char* found = NasStrchr(text, c.set[0]);
    EXPECT_EQ(c.firstAt, found == nullptr ? -1 : found - text) << c.page << " " << c.text;
    EXPECT_EQ(0, NasReplaceChar(text, c.set, c.byte));
    EXPECT_STREQ(c.replaced, text) << c.page;
  }
}

TEST(CodePage, CopyNeverCutsACharacterInHalf) {
  // clang-format off
  const struct { int page; const char* text; int count; const char* copy; } cases[] = {
      {932, "ab\x81\x40", 3, "ab"}, {932, "ab\x81\x40", 4, "ab\x81\x40"}, {860, "ab\x81\x40", 3, "ab\x81"},
      {932, "\x81\x81\x81", 3, "\x81\x81"},  // a trail byte that looks like a lead byte
  };
  // clang-format on
  for (const auto& c : cases) {
    mbLangInit(c.page, -1);
    const auto room = static_cast<std::size_t>(c.count) + 1;
    const std::unique_ptr<char[]> dst(new char[room]);
    std::memset(dst.get(), '#', room);
    EXPECT_EQ(dst.get(), NasStrNCpy(dst.get(), c.text, c.count));
    EXPECT_STREQ(c.copy, dst.get()) << c.page << " " << c.count;
    EXPECT_EQ(dst.get(), mbSafeStrcpy(dst.get(), c.text, c.count));
    EXPECT_EQ(std::string(c.text).substr(0, room - 1), dst.get());
  }
  char untouched = '#';
  EXPECT_EQ(&untouched, NasStrNCpy(&untouched, "a", -1));
  EXPECT_EQ('#', untouched);
}

// Every text of up to four of these bytes: whole, damaged and misleading ones, in every code page.
TEST(CodePage, NoTextLeadsARoutineOverItsEnd) {
  const char bytes[] = {'a', 'B', '\x40', '\x7F', '\x80', '\x81', '\xA1', '\xB1', '\xE0', '\xFE', '\xFF'};
  std::string texts[1 + 11 + 121 + 1331 + 14641];
  std::size_t count = 1;
  for (std::size_t from = 0; count < std::size(texts); ++from) {
    for (const char byte : bytes) texts[count++] = texts[from] + byte;
  }
  for (const int page : {860, 932, 936, 949, 950}) {
    for (const int flag : {-1, 1}) {
      mbLangInit(page, flag);
      for (const std::string& text : texts) {
        const Exact original(text), changed(text);
        const int length = static_cast<int>(text.size());
        ASSERT_EQ(text.size(), std::strlen(NasStrUpper(changed)));
        ASSERT_EQ(0, NasStrCaseCmp(original, changed)) << page;
        ASSERT_EQ(0, NasStrNCaseCmp(changed, original, length)) << page;
        ASSERT_EQ(1, NasStrNCaseCmp(original, changed, length + 1)) << page;
        ASSERT_EQ(original + length, NasStrchr(original, 0)) << page;
        NasReplaceChar(changed, "aB\x81\x40", '_');
        ASSERT_EQ(text.size(), std::strlen(changed));
        NasStrNCpy(changed, original, length);
        ASSERT_LE(std::strlen(changed), text.size());
        ASSERT_LE(std::strlen(NasStrServerToClient(original)), text.size());
        ASSERT_LE(std::strlen(NasStrClientToServer(original)), text.size());
      }
    }
  }
}

using TextFunctions = ApplianceTest;

TEST_F(TextFunctions, NullTextsEndTheProcessWithTheUnitName) {
  const ChildResult child = inChild([] { NasStrCaseCmp("a", nullptr); });
  EXPECT_EQ(SIGABRT, child.signal);
  EXPECT_EQ(0U, child.output.find("kanji.c:"));
}

}  // namespace
