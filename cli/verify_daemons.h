#pragma once
// What the running daemons serve.

#include <string>
#include <vector>

#include "verify_files.h"

// As places that differences are in.
inline constexpr char kSamba[] = "Samba";
inline constexpr char kNfsServer[] = "NFS server";
inline constexpr char kSnmpAgent[] = "SNMP agent";

// Adds what the daemons serve differently; `left` receives what could not be compared, and why.
//   exports  what the NFS server's list should hold
void compareDaemons(const std::string& exports, Differences& differences, std::vector<std::string>& left);
