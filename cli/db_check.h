#pragma once
// What may be wrong with the record files: files that cannot be read, records that are not laid out as they should be,
// and records that do not fit together.

#include <string>
#include <vector>

#include "db_records.h"
#include "errors.h"

// In the order in which they are to be mended.
enum Rule {
  RULE_UNREADABLE,  // the file is damaged
  RULE_UNSOUND,     // a record is: listing ends at it
  RULE_LIST_LEFT,   // permissions or NFS hosts of a share that is not there
  RULE_GROUP_LEFT,  // a user in a group that is not there
  RULE_HOME_LEFT,   // a user with a home share that is not there
  RULE_HOME_MARK,   // a home share of nobody
  RULE_HALF_USER,   // a local user with a password and no number
  RULE_ID_RANGE,    // a number that is none of the appliance's
  RULE_ID_DOUBLED,  // two accounts with one number
  RULE_IDS_TAKEN    // numbers in use and records differ
};

struct Finding {
  Rule rule;
  const RecordFileEntry* file;
  std::string key;  // as stored; empty when it is about the file
  std::string text;

  auto operator<=>(const Finding&) const = default;
};

// Why the library would not take a record; empty when it would.
std::string recordFault(RecordKind kind, const std::string& key, const std::string& value);

// What is wrong with the record files. Another process may be half way through a change of several files: what is gone
// when looked at again was that.
ExitCode checkRecords(std::vector<Finding>& findings);

// Complains about the first file or record that cannot be read: what is made of all of them would lack it without a
// word.
ExitCode refuseDamage(const std::vector<RecordSet>& sets);

// The same for records that are in no file (yet): files and records alone, without the numbers in use.
std::vector<Finding> findingsIn(const std::vector<RecordSet>& sets);
