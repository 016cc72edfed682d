#pragma once
// The shares as the library describes them, for every noun that is about one.

#include <optional>
#include <string>
#include <vector>

#include "errors.h"

struct Share {
  std::string name;
  std::string comment;
  std::string path;
};

std::optional<Share> findShare(const std::string& name);

// All shares, by name; none also when the record file cannot be read.
std::vector<Share> allShares();

// Refuses the name of a new share that differs from another's in case alone: Samba takes the two for one.
ExitCode checkNamesake(const std::string& name, bool allowUnsafe);
[[nodiscard]] ExitCode complainOfNamesake(const std::string& name, const std::string& namesake);

// Refuses a path on which something stands that is no folder.
ExitCode checkWayTo(const std::string& path);

// After a share was added or moved, whatever became of its folder: complains when it is not there.
[[nodiscard]] ExitCode checkFolderOf(const std::string& name, const std::string& path);

// After shares were deleted: where the last one goes, the library leaves what is served as it is.
void tellOfLeftExports();

// After a share was not found: complains about the record file or, when it has no fault, that there is none of that
// name.
[[nodiscard]] ExitCode noSuchShare(const std::string& name);
