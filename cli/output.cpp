#include "output.h"

#include <iconv.h>
#include <unistd.h>

#include <nas1api.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>

using Json = nlohmann::ordered_json;

namespace {

constexpr char kSchema[] = "nas1/1";
constexpr char kMasked[] = "********";
constexpr int kFallbackCodePage = 860;

bool isOnTerminal() {
  static const bool terminal = isatty(STDOUT_FILENO) == 1;
  return terminal;
}

bool isAscii(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](unsigned char c) { return c < 0x80; });
}

iconv_t converterToUtf8() {
  int codePage = 0;
  if (NasGetConfig("CIFS_CODE_PAGE", sizeof codePage, &codePage, nullptr) < 0) codePage = kFallbackCodePage;
  return iconv_open("UTF-8", ("CP" + std::to_string(codePage)).c_str());
}

// Returns false for a text that is none in the code page.
bool toUtf8(const std::string& text, std::string& utf8) {
  static const iconv_t converter = converterToUtf8();
  if (converter == reinterpret_cast<iconv_t>(-1)) return false;
  utf8.assign(text.size() * 4, '\0');
  char* from = const_cast<char*>(text.data());
  char* to = utf8.data();
  std::size_t fromLeft = text.size();
  std::size_t toLeft = utf8.size();
  (void)iconv(converter, nullptr, nullptr, nullptr, nullptr);
  if (iconv(converter, &from, &fromLeft, &to, &toLeft) == static_cast<std::size_t>(-1)) return false;
  utf8.resize(utf8.size() - toLeft);
  return true;
}

std::string inHex(const std::string& text) {
  std::string digits;
  char pair[3];
  for (const unsigned char c : text) {
    (void)std::snprintf(pair, sizeof pair, "%02x", c);
    digits += pair;
  }
  return digits;
}

// A text that is none in the code page is given as NAME_hex, so that no name is ever lost or made up.
void addText(Json& object, const char* name, const std::string& text) {
  std::string utf8;
  if (isAscii(text)) {
    object[name] = text;
  } else if (toUtf8(text, utf8)) {
    object[name] = utf8;
  } else {
    object[std::string(name) + "_hex"] = inHex(text);
  }
}

void addCell(Json& object, const char* name, const Cell& cell) {
  if (const auto* const text = std::get_if<std::string>(&cell)) {
    addText(object, name, *text);
  } else if (const auto* const number = std::get_if<long long>(&cell)) {
    object[name] = *number;
  } else if (const auto* const flag = std::get_if<bool>(&cell)) {
    object[name] = *flag;
  } else {
    object[name] = nullptr;
  }
}

void printJson(const char* name, Json content) {
  const Json document = {{"schema", kSchema}, {name, std::move(content)}};
  (void)std::puts(document.dump(isOnTerminal() ? 2 : -1).c_str());
}

std::string asText(const Cell& cell) {
  if (const auto* const text = std::get_if<std::string>(&cell)) return visible(*text);
  if (const auto* const number = std::get_if<long long>(&cell)) return std::to_string(*number);
  if (const auto* const flag = std::get_if<bool>(&cell)) return *flag ? "yes" : "no";
  return "";
}

std::string headingOf(const char* field) {
  std::string heading = field;
  for (char& c : heading) c = c == '_' ? ' ' : static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return heading;
}

using Lines = std::vector<std::vector<std::string>>;

void printTabSeparated(const Lines& lines) {
  for (const auto& line : lines) {
    for (std::size_t i = 0; i < line.size(); ++i) (void)std::printf("%s%s", i == 0 ? "" : "\t", line[i].c_str());
    (void)std::putchar('\n');
  }
}

void printAligned(const Lines& lines) {
  std::vector<std::size_t> widths;
  for (const auto& line : lines) {
    widths.resize(std::max(widths.size(), line.size()));
    for (std::size_t i = 0; i < line.size(); ++i) widths[i] = std::max(widths[i], line[i].size());
  }
  for (const auto& line : lines) {
    for (std::size_t i = 0; i < line.size(); ++i) {
      const bool last = i + 1 == line.size();
      (void)std::printf("%-*s%s", last ? 0 : static_cast<int>(widths[i]), line[i].c_str(), last ? "\n" : "  ");
    }
  }
}

}  // namespace

void addOutputOptions(CLI::App& verb, Output& output) {
  verb.add_flag("--json", output.json, "Print JSON");
  verb.add_flag("--plain", output.plain, "Print tab-separated lines without a heading, as in a pipe");
}

void addSecretsOption(CLI::App& verb, Output& output) {
  verb.add_flag("--with-secrets", output.secrets, "Print passwords instead of masking them");
}

std::string fieldText(const char* field, std::size_t size) { return {field, strnlen(field, size)}; }

Cell secretCell(const Output& output, const std::string& secret) {
  return secret.empty() || output.secrets ? secret : kMasked;
}

void printListing(const Output& output, const Listing& listing) {
  if (output.json) {
    Json objects = Json::array();
    for (const auto& row : listing.rows) {
      Json& object = objects.emplace_back(Json::object());
      for (std::size_t i = 0; i < row.size(); ++i) addCell(object, listing.fields[i], row[i]);
    }
    return printJson(listing.name, std::move(objects));
  }
  Lines lines;
  const bool table = isForPerson(output);
  if (table) {
    auto& heading = lines.emplace_back();
    for (const char* const field : listing.fields) heading.push_back(headingOf(field));
  }
  for (const auto& row : listing.rows) {
    auto& line = lines.emplace_back();
    for (const Cell& cell : row) line.push_back(asText(cell));
  }
  table ? printAligned(lines) : printTabSeparated(lines);
}

void printObject(const Output& output, const char* name, const std::vector<Field>& fields) {
  if (output.json) {
    Json object = Json::object();
    for (const Field& field : fields) addCell(object, field.name, field.value);
    return printJson(name, std::move(object));
  }
  Lines lines;
  for (const Field& field : fields) lines.push_back({field.name, asText(field.value)});
  isForPerson(output) ? printAligned(lines) : printTabSeparated(lines);
}

void printBare(const Cell& value) { (void)std::puts(asText(value).c_str()); }

bool isForPerson(const Output& output) { return isOnTerminal() && !output.plain && !output.json; }

std::string visible(const std::string& text) {
  std::string shown;
  char spelled[5];
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= ' ' && byte != 0x7F) {
      shown += c;
      continue;
    }
    (void)std::snprintf(spelled, sizeof spelled, "\\x%02X", byte);
    shown += spelled;
  }
  return shown;
}
