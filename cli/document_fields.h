#pragma once
// Reads the members of a JSON object one by one and refuses what is left over. The first fault is complained about,
// with the place where it stands; behind it nothing is read any more.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "errors.h"
#include "json_text.h"
#include "safe_values.h"

// Parses a document; complains about one that is no JSON or has a member twice in one object.
ExitCode parseJson(const std::string& content, Json& document);

// Where something stands: a member of an object, or an element of an array.
struct Place {
  const Place* outer;
  const char* name;  // null for an element
  std::size_t index = 0;

  [[nodiscard]] std::string spelled() const;  // "state.shares[3].comment"
};

struct Reading {
  bool allowUnsafe = false;
  ExitCode fault = DONE;

  // Complains, unless something was complained about before.
  void refuse(ExitCode code, const Place& place, const std::string& why);
};

class Fields {
 public:
  Fields(Reading& wholeReading, const Json& value, const Place& itsPlace);

  // Each returns whether the member is there and is as it should be.
  bool text(const char* name, std::size_t most, Field field, std::string& value);
  bool text(const char* name, std::size_t most, Field field, std::optional<std::string>& value);
  bool number(const char* name, long long least, long long most, long long& value);
  bool number(const char* name, std::optional<std::uint32_t>& value);
  bool flag(const char* name, bool& value);
  const Json* object(const char* name);
  const Json* array(const char* name);

  void require(const char* name);  // that it is there
  void finish();                   // nothing else is
  void refuse(ExitCode code, const char* name, const std::string& why) const;

  const Place place;

 private:
  const Json* member(const char* name);

  Reading& reading;
  const Json& members;
  std::vector<std::string> known;
};

// Calls read(element, its place) for the elements of an array.
template <typename Read>
void forEachElement(const Json* array, const Place& place, const Reading& reading, Read read) {
  if (array == nullptr) return;
  for (std::size_t i = 0; i < array->size() && reading.fault == DONE; ++i) read((*array)[i], Place{&place, nullptr, i});
}
