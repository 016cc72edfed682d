#include "code_page.h"

#include <iconv.h>
#include <nas1api.h>

#include <algorithm>
#include <charconv>
#include <cstdio>

namespace {

constexpr int kFallbackCodePage = 860;
constexpr std::size_t kMostGrowth = 4;  // bytes that one byte can become

int configuredCodePage() {
  int codePage = 0;
  return NasGetConfig("CIFS_CODE_PAGE", sizeof codePage, &codePage, nullptr) < 0 ? kFallbackCodePage : codePage;
}

int chosenCodePage = 0;  // 0: the configured one, which is read when it is needed

// What iconv_open returns when there is no converter.
const iconv_t kNoConverter = reinterpret_cast<iconv_t>(-1);  // NOLINT(performance-no-int-to-ptr)

// Both directions for one code page.
struct Converters {
  int codePage = 0;
  iconv_t toUtf8 = kNoConverter;
  iconv_t fromUtf8 = kNoConverter;
};

const Converters& converters() {
  static Converters open;
  if (chosenCodePage == 0) chosenCodePage = configuredCodePage();
  if (open.codePage == chosenCodePage) return open;
  for (const iconv_t converter : {open.toUtf8, open.fromUtf8}) {
    if (converter != kNoConverter) (void)iconv_close(converter);
  }
  const std::string name = "CP" + std::to_string(chosenCodePage);
  open = {chosenCodePage, iconv_open("UTF-8", name.c_str()), iconv_open(name.c_str(), "UTF-8")};
  return open;
}

bool convert(iconv_t converter, const std::string& text, std::string& converted) {
  if (converter == kNoConverter) return false;
  converted.assign(text.size() * kMostGrowth, '\0');
  char* from = const_cast<char*>(text.data());
  char* to = converted.data();
  std::size_t fromLeft = text.size();
  std::size_t toLeft = converted.size();
  (void)iconv(converter, nullptr, nullptr, nullptr, nullptr);
  if (iconv(converter, &from, &fromLeft, &to, &toLeft) == static_cast<std::size_t>(-1)) return false;
  converted.resize(converted.size() - toLeft);
  return true;
}

// The same bytes in every code page.
bool isAscii(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

}  // namespace

void useCodePage(int codePage) { chosenCodePage = codePage; }

bool toUtf8(const std::string& text, std::string& utf8) {
  if (isAscii(text)) {
    utf8 = text;
    return true;
  }
  // Some characters stand in a code page twice: the second spelling would come back as the first.
  std::string again;
  return convert(converters().toUtf8, text, utf8) && convert(converters().fromUtf8, utf8, again) && again == text;
}

bool fromUtf8(const std::string& utf8, std::string& text) {
  if (!isAscii(utf8)) return convert(converters().fromUtf8, utf8, text);
  text = utf8;
  return true;
}

std::string inHex(const std::string& bytes) {
  std::string digits;
  char pair[3];
  for (const unsigned char c : bytes) {
    (void)std::snprintf(pair, sizeof pair, "%02x", c);
    digits += pair;
  }
  return digits;
}

bool fromHex(const std::string& digits, std::string& bytes) {
  bytes.clear();
  if (digits.size() % 2 != 0) return false;
  for (const char* pair = digits.data(); pair != digits.data() + digits.size(); pair += 2) {
    unsigned char byte = 0;
    const auto [end, error] = std::from_chars(pair, pair + 2, byte, 16);
    if (error != std::errc() || end != pair + 2) return false;
    bytes += static_cast<char>(byte);
  }
  return true;
}
