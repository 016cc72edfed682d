#pragma once
// What the verbs print: a table with a heading on a terminal, tab-separated lines without one in a pipe, or JSON.

#include <cstddef>
#include <string>
#include <variant>
#include <vector>

#include "errors.h"

namespace CLI {
class App;
}

// How one verb is to print, as its options say.
struct Output {
  bool json = false;
  bool plain = false;
  bool secrets = false;
  std::string field;  // print only this one; empty: all
};

// Adds --json, --plain and --get to a verb that prints data, --with-secrets to one whose data hold passwords.
void addOutputOptions(CLI::App& verb, Output& output);
void addSecretsOption(CLI::App& verb, Output& output);

// One value; nothing where there is none (an empty field, null in JSON). Texts are bytes in the appliance's code page.
using Cell = std::variant<std::monostate, bool, long long, std::string>;

// A fixed field of a record as a text: up to its NUL or, without one, to its end.
std::string fieldText(const char* field, std::size_t size);

// A password as a cell: as it is, or only whether there is one.
Cell secretCell(const Output& output, const std::string& secret);

// Both return USAGE, with a complaint, when --get names a field that there is not.

// Several objects of a kind. Field names are the JSON names; the headings are made of them.
struct Listing {
  const char* name;  // of the whole, in JSON
  std::vector<const char*> fields;
  std::vector<std::vector<Cell>> rows;
};
ExitCode printListing(const Output& output, const Listing& listing);

// The same for what had better be nothing: no heading stands over an empty list then.
ExitCode printFindings(const Output& output, const Listing& listing);

// One object.
struct NamedCell {
  const char* name;
  Cell value;
};
ExitCode printObject(const Output& output, const char* name, const std::vector<NamedCell>& fields);

// One value and nothing else.
void printBare(const Cell& value);

// Whether the output of a verb is for a person.
bool isForPerson(const Output& output);

// A text with its control characters spelled as \xNN, so that it neither steers a terminal nor breaks a line.
std::string visible(const std::string& text);
