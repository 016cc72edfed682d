#include "output.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "json_text.h"
#include "progress.h"
#include "suggest.h"

namespace {

constexpr char kMasked[] = "********";

bool isOnTerminal() {
  static const bool terminal = isatty(STDOUT_FILENO) == 1;
  return terminal;
}

void addCell(Json& object, const char* name, const Cell& cell) {
  if (const auto* const text = std::get_if<std::string>(&cell)) {
    putText(object, name, *text);
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

// Finds the field that --get names.
ExitCode findField(const std::string& wanted, const std::vector<std::string>& fields, std::size_t& index) {
  const auto found = std::find(fields.begin(), fields.end(), wanted);
  index = static_cast<std::size_t>(found - fields.begin());
  if (found != fields.end()) return DONE;
  std::string names;
  for (const std::string& field : fields) names += (names.empty() ? "" : ", ") + field;
  return complain(USAGE, "there is no field %s%s; there are %s", wanted.c_str(), suggestion(wanted, fields).c_str(),
                  names.c_str());
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
  auto* const json = verb.add_flag("--json", output.json, "Print JSON");
  auto* const plain =
      verb.add_flag("--plain", output.plain, "Print tab-separated lines without a heading, as in a pipe");
  auto* const get = verb.add_option("--get", output.field, "Print this field only, as it is");
  json->excludes(plain)->excludes(get);
  plain->excludes(get);
}

void addSecretsOption(CLI::App& verb, Output& output) {
  verb.add_flag("--with-secrets", output.secrets, "Print passwords instead of masking them");
}

std::string fieldText(const char* field, std::size_t size) { return {field, strnlen(field, size)}; }

Cell secretCell(const Output& output, const std::string& secret) {
  return secret.empty() || output.secrets ? secret : kMasked;
}

ExitCode printListing(const Output& output, const Listing& listing) {
  clearProgress();
  if (!output.field.empty()) {
    std::size_t index = 0;
    const ExitCode fault = findField(output.field, {listing.fields.begin(), listing.fields.end()}, index);
    if (fault != DONE) return fault;
    for (const auto& row : listing.rows) printBare(row[index]);
    return DONE;
  }
  if (output.json) {
    Json objects = Json::array();
    for (const auto& row : listing.rows) {
      Json& object = objects.emplace_back(Json::object());
      for (std::size_t i = 0; i < row.size(); ++i) addCell(object, listing.fields[i], row[i]);
    }
    printJson(listing.name, std::move(objects));
    return DONE;
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
  return DONE;
}

ExitCode printFindings(const Output& output, const Listing& listing) {
  const bool isNothing = listing.rows.empty() && !output.json && output.field.empty();
  return isNothing ? DONE : printListing(output, listing);
}

ExitCode printObject(const Output& output, const char* name, const std::vector<NamedCell>& fields) {
  clearProgress();
  if (!output.field.empty()) {
    std::size_t index = 0;
    std::vector<std::string> names;
    for (const NamedCell& field : fields) names.emplace_back(field.name);
    if (const ExitCode fault = findField(output.field, names, index); fault != DONE) return fault;
    printBare(fields[index].value);
    return DONE;
  }
  if (output.json) {
    Json object = Json::object();
    for (const NamedCell& field : fields) addCell(object, field.name, field.value);
    printJson(name, std::move(object));
    return DONE;
  }
  Lines lines;
  for (const NamedCell& field : fields) lines.push_back({field.name, asText(field.value)});
  isForPerson(output) ? printAligned(lines) : printTabSeparated(lines);
  return DONE;
}

void printBare(const Cell& value) {
  clearProgress();
  (void)std::puts(asText(value).c_str());
}

bool isForPerson(const Output& output) {
  return isOnTerminal() && !output.plain && !output.json && output.field.empty();
}

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
