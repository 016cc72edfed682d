#pragma once
// Values that would be misread further on: the library hands texts to shell commands and daemon files as they are.

#include <string>

#include "errors.h"

// What a value is. Which programs read it stands in one table.
enum class Field {
  shareName,
  shareComment,
  sharePath,
  exportedPath,   // of a share with NFS hosts; one that was stored may be older than these rules
  removedFolder,  // of a share that goes; the same
  nfsHost,
  localAccount,
  remoteAccount,  // is looked up in records only
  volume,
  volumeDevice,
  controller,  // a domain controller's name
  bindery,     // a bindery server's name
  freeText,    // stored and shown
  homeName,    // of a local account: becomes the name of a share and part of its path
  count
};

// Returns DONE for a value that all its readers take as it is, or when unsafe ones are allowed; else complains, naming
// the character and who would misread it.
//   what   the value's name in the complaint
//   value  looked at byte by byte: a second byte of a double-byte character counts like any other, as it does for the
//          shell, for Samba's and the NFS server's files, and for the other readers
ExitCode checkSafe(Field field, const char* what, const std::string& value, bool allowUnsafe);

// The same for the value of a setting.
ExitCode checkSafeSetting(const char* key, const std::string& value, bool allowUnsafe);
