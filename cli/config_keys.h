#pragma once
// The names of all settings. What a key is (type, size, whether it can be set) the library itself tells; only for the
// keys that it knows by number alone that stands here.

#include <span>
#include <string>

#include "errors.h"

enum KeyKind {
  KEY_PLAIN,
  KEY_SECRET,  // a password
  KEY_OWN      // the appliance's own: what it measures, counts or is, or a setting under another name
};

struct ConfigKey {
  const char* name;
  int number = -1;  // -1: the key has none
  KeyKind kind = KEY_PLAIN;
  int numberedType = -1;  // CFG_ type of a key that has a number only
  int numberedSize = 0;   // and its bytes

  bool isNumberedOnly() const { return numberedType >= 0; }
};

// The named keys in the library's order, then those with a number only.
std::span<const ConfigKey> configKeys();

// Null when there is none of that name.
const ConfigKey* configKeyNamed(const std::string& name);

// Whether a record of the settings' file is the appliance's, as a setting or beside them; else it is a product's text.
inline constexpr char kSnapshotRecord[] = "NAS1_SNAPSHOT_CONFIG";  // and a volume behind it
bool isOwnRecord(const std::string& name);

// findConfigKey: finds a key by name or by number.
//   word      as given by the user
//   key       receives the key
//   byNumber  receives whether it is to be reached by its number
// Returns DONE, or UNKNOWN_OBJECT with a complaint.
ExitCode findConfigKey(const std::string& word, const ConfigKey*& key, bool& byNumber);
