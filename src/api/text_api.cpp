// Text in the appliance's code page: the exported entries.
#include "api/nas1api.h"
#include "core/assert.h"
#include "text/code_page.h"
#include "text/conversion.h"
#include "text/mb_string.h"
#include "text/search.h"

namespace {

// A null text here is a front end's mistake that no result could tell it of.
void requireText(const char* text, int line) {
  if (text == nullptr) sysAssert("kanji.c", line);
}

}  // namespace

char* NasStrUpper(char* text) {
  ensureCodePage();
  requireText(text, __LINE__);
  return mbStrUpper(text);
}

char* NasStrLower(char* text) {
  ensureCodePage();
  requireText(text, __LINE__);
  return mbStrLower(text);
}

int NasStrCaseCmp(const char* a, const char* b) {
  ensureCodePage();
  requireText(a, __LINE__);
  requireText(b, __LINE__);
  return mbStrCaseCmp(a, b);
}

int NasStrNCaseCmp(const char* a, const char* b, int count) {
  ensureCodePage();
  requireText(a, __LINE__);
  requireText(b, __LINE__);
  return mbStrnCaseCmp(a, b, count);
}

char* NasStrchr(const char* text, int byte) {
  ensureCodePage();
  return text == nullptr ? nullptr : findChar(text, byte);
}

int NasCharLen(int byte) {
  ensureCodePage();
  return lang_skip_multibyte_char == nullptr ? 0 : lang_skip_multibyte_char(byte);
}

int NasReplaceChar(char* text, const char* set, int byte) {
  ensureCodePage();
  requireText(text, __LINE__);
  requireText(set, __LINE__);
  replaceChars(text, set, byte);
  return 0;
}

char* NasStrNCpy(char* dst, const char* src, int count) {
  ensureCodePage();
  return copyWholeChars(dst, src, count);
}

char* NasStrServerToClient(char* text) {
  ensureCodePage();
  requireText(text, __LINE__);
  return serverToClient(text);
}

char* NasStrClientToServer(char* text) {
  ensureCodePage();
  requireText(text, __LINE__);
  return clientToServer(text);
}
