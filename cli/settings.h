#pragma once
// Settings as texts and numbers: reading them, and bringing a new value into the form in which it is stored.

#include <cstdint>
#include <string>

#include "config_keys.h"
#include "errors.h"
#include "output.h"

struct KeyType {
  int type;  // CFG_
  int size;  // bytes, of texts NUL included
};
KeyType typeOf(const ConfigKey& key);
const char* typeName(int type);
bool isNumber(const KeyType& type);

// Reads a setting; the cell stays empty when that failed. Returns the library's result.
int readSetting(const ConfigKey& key, bool byNumber, Cell& cell);

// A number or text as it is given for a setting; nothing for a cell that holds neither.
std::string wordOf(const Cell& cell);

// Whether the library cannot store it. By number it takes a read-only key for done.
bool isReadOnly(const ConfigKey& key, bool byNumber);

// A value as it is stored.
struct SettingValue {
  bool isNumber = false;
  std::uint32_t number = 0;
  std::string text;

  Cell cell(const ConfigKey& key) const;
};

// Brings a word into the stored form. Returns DONE, or complains about a word that the setting cannot hold.
ExitCode parseSetting(const ConfigKey& key, bool byNumber, const std::string& word, SettingValue& value);

// Whether the numbered call stores a value as it is: it takes blanks off both ends, of integers too.
bool fitsNumberedCall(const ConfigKey& key, const SettingValue& value);

// Stores a value. Returns DONE, or complains with the reason.
ExitCode storeSetting(const ConfigKey& key, bool byNumber, const SettingValue& value);
