#include "document_fields.h"

#include <algorithm>
#include <set>

static constexpr char kInHex[] = "_hex";

namespace {

// Looks through a document before it is read: a member that is there twice would be taken for the second one alone.
struct FirstLook {
  std::vector<std::set<std::string>> open;  // members of the objects around
  std::string doubled;
  std::size_t wrongAt = 0;  // byte, from 1

  static bool null() { return true; }
  static bool boolean(bool /*value*/) { return true; }
  static bool number_integer(std::int64_t /*value*/) { return true; }
  static bool number_unsigned(std::uint64_t /*value*/) { return true; }
  static bool number_float(double /*value*/, const std::string& /*text*/) { return true; }
  static bool string(std::string& /*value*/) { return true; }
  static bool binary(Json::binary_t& /*value*/) { return true; }
  static bool start_array(std::size_t /*size*/) { return true; }
  static bool end_array() { return true; }
  bool start_object(std::size_t /*size*/) {
    open.emplace_back();
    return true;
  }
  bool end_object() {
    open.pop_back();
    return true;
  }
  bool key(std::string& name) {
    if (open.back().insert(name).second) return true;
    doubled = name;
    return false;
  }
  bool parse_error(std::size_t position, const std::string& /*token*/, const Json::exception& /*error*/) {
    wrongAt = position;
    return false;
  }
};

}  // namespace

static const Json kNothing = Json::object();

ExitCode parseJson(const std::string& content, Json& document) {
  FirstLook look;
  if (Json::sax_parse(content, &look)) {
    document = Json::parse(content, nullptr, false);
    return DONE;
  }
  if (!look.doubled.empty())
    return complain(USAGE, "the document has the field %s twice in one object", look.doubled.c_str());
  const auto end = content.begin() + static_cast<std::ptrdiff_t>(std::min(look.wrongAt, content.size()));
  return complain(USAGE, "the document is no JSON from line %td on", 1 + std::count(content.begin(), end, '\n'));
}

std::string Place::spelled() const {
  const std::string before = outer == nullptr ? "" : outer->spelled();
  if (name == nullptr) return before + "[" + std::to_string(index) + "]";
  return before + (before.empty() ? "" : ".") + name;
}

void Reading::refuse(ExitCode code, const Place& place, const std::string& why) {
  if (fault == DONE) fault = complain(code, "%s %s", place.spelled().c_str(), why.c_str());
}

Fields::Fields(Reading& wholeReading, const Json& value, const Place& itsPlace)
    : place(itsPlace), reading(wholeReading), members(value.is_object() ? value : kNothing) {
  if (!value.is_object()) reading.refuse(USAGE, place, "is no object");
}

const Json* Fields::member(const char* name) {
  known.emplace_back(name);
  const auto found = members.find(name);
  return reading.fault != DONE || found == members.end() ? nullptr : &*found;
}

bool Fields::text(const char* name, std::size_t most, Field field, std::string& value) {
  const std::string digits = std::string(name) + kInHex;
  const bool isThere = member(name) != nullptr;
  const bool isHex = member(digits.c_str()) != nullptr;
  if (!isThere && !isHex) return false;
  const Place where = {&place, name};
  if (isThere && isHex) {
    reading.refuse(USAGE, where, "is there twice, as it is and in hexadecimal");
  } else if (!takeText(members, name, value)) {
    reading.refuse(USAGE, where, "is no text that the code page knows");
  } else if (value.size() > most) {
    reading.refuse(USAGE, where,
                   "has " + std::to_string(value.size()) + " characters; it may have " + std::to_string(most));
  } else {
    reading.fault = checkSafe(field, where.spelled().c_str(), value, reading.allowUnsafe);
  }
  return reading.fault == DONE;
}

bool Fields::text(const char* name, std::size_t most, Field field, std::optional<std::string>& value) {
  std::string found;
  if (!text(name, most, field, found)) return false;
  value = found;
  return true;
}

bool Fields::number(const char* name, long long least, long long most, long long& value) {
  const Json* const found = member(name);
  if (found == nullptr) return false;
  const bool fits =
      found->is_number_integer() && (!found->is_number_unsigned() || found->get<std::uint64_t>() <= INT64_MAX);
  value = fits ? found->get<long long>() : 0;
  if (fits && value >= least && value <= most) return true;
  refuse(USAGE, name, "is no number from " + std::to_string(least) + " to " + std::to_string(most));
  return false;
}

bool Fields::number(const char* name, std::optional<std::uint32_t>& value) {
  long long found = 0;
  if (!number(name, 0, UINT32_MAX, found)) return false;
  value = static_cast<std::uint32_t>(found);
  return true;
}

bool Fields::flag(const char* name, bool& value) {
  const Json* const found = member(name);
  if (found == nullptr) return false;
  if (!found->is_boolean()) refuse(USAGE, name, "is neither true nor false");
  value = found->is_boolean() && found->get<bool>();
  return reading.fault == DONE;
}

const Json* Fields::object(const char* name) {
  const Json* const found = member(name);
  if (found == nullptr || found->is_object()) return found;
  refuse(USAGE, name, "is no object");
  return nullptr;
}

const Json* Fields::array(const char* name) {
  const Json* const found = member(name);
  if (found == nullptr || found->is_array()) return found;
  refuse(USAGE, name, "is no list");
  return nullptr;
}

void Fields::require(const char* name) {
  if (!members.contains(name) && !members.contains(std::string(name) + kInHex)) refuse(USAGE, name, "is missing");
}

void Fields::finish() {
  for (const auto& [name, ignored] : members.items()) {
    if (std::find(known.begin(), known.end(), name) == known.end())
      refuse(USAGE, name.c_str(), "is a field that this version does not know");
  }
}

void Fields::refuse(ExitCode code, const char* name, const std::string& why) const {
  reading.refuse(code, {&place, name}, why);
}
