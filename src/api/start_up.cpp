// Start-up: the code page of the text functions follows the configuration.

#include "api/nas1api.h"
#include "text/code_page.h"

static constexpr int kDefaultCodePage = 860;
static constexpr int kJapaneseCodePage = 932;
static constexpr int kNoConversion = -1;

static int codingFlag(int codePage) {
  if (codePage != kJapaneseCodePage) return kNoConversion;
  int codingSystem = 0;
  if (NasGetConfig("CODING_SYSTEM", sizeof codingSystem, &codingSystem, nullptr) < 0) return kNoConversion;
  return codingSystem == 0 ? 1 : 0;
}

extern "C" int NasApiInit(void) {
  int codePage = 0;
  // A key that was never stored reads as 0 when the defaults file has nothing to say about it either.
  const bool configured = NasGetConfig("CIFS_CODE_PAGE", sizeof codePage, &codePage, nullptr) >= 0 && codePage != 0;
  if (!configured) codePage = kDefaultCodePage;
  return NasLangInit(codePage, codingFlag(codePage));
}

extern "C" int NasLangInit(int codePage, int flag) { return mbLangInit(codePage, flag); }
