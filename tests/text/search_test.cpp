// The searches that the library keeps to itself, built here once more.
#include "text/search.cpp"  // NOLINT(bugprone-suspicious-include)

#include "frame/appliance.h"

namespace {

TEST(Search, LastPlaceAndPartsBeginAtCharacters) {
  const struct {
    int page;
    const char* text;
    char byte;
    int lastAt;
    const char* part;
    int partAt;
  } cases[] = {
      {932, "a\\b\x83\x5C", '\\', 1, "\x5C", 1},
      {932, "a/b/\x81", '\x81', 4, "/\x81", 3},
      {932, "\x83\x83\x61", '\x83', 0, "\x83\x61", -1},  // the part would begin at a trail byte
      {932, "\x83\x83\x83\x61", '\x83', 2, "\x83\x61", 2},
      {936, "\x81z", 'z', -1, "z", -1},
      {860, "\x81z", 'z', 1, "z", 1},
      {932, "ab", '\0', 2, "", 0},
      {932, "", '\0', 0, "", 0},
      {932, "ab", 'c', -1, "abc", -1},
  };
  for (const auto& c : cases) {
    mbLangInit(c.page, -1);
    const char* last = findLastChar(c.text, c.byte);
    EXPECT_EQ(c.lastAt, last == nullptr ? -1 : last - c.text) << c.page << " " << c.text;
    const char* part = findText(c.text, c.part);
    EXPECT_EQ(c.partAt, part == nullptr ? -1 : part - c.text) << c.page << " " << c.text;
  }
}

TEST(Search, PiecesAreCutAtDelimitersThatAreCharacters) {
  const std::tuple<int, std::string, Lines> cases[] = {{932, ";;a;\x83;b;;c", {"a", "\x83;b", "c"}},
                                                       {860, ";;a;\x83;b,c;", {"a", "\x83", "b", "c"}},
                                                       {932, "a;\x83", {"a", "\x83"}},
                                                       {932, ";,", {}},
                                                       {932, "", {}}};
  for (auto [page, text, pieces] : cases) {
    mbLangInit(page, -1);
    Lines found;
    char* rest = nullptr;
    for (char* at = nextToken(text.data(), ";,", &rest); at != nullptr; at = nextToken(nullptr, ";,", &rest))
      found.emplace_back(at);
    EXPECT_EQ(pieces, found) << page;
  }
}

}  // namespace
