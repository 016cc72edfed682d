#include "document_fields.h"

#include <algorithm>

static constexpr char kInHex[] = "_hex";

static const Json kNothing = Json::object();

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
