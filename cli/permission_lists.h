#pragma once
// The permission lists: one for every share and protocol.

#include <nas1api.h>

#include <string>
#include <vector>

#include "errors.h"
#include "protocols.h"

inline constexpr Protocol permissionProtocols[] = {
    {"local", PROTO_SYSTEM}, {"cifs", PROTO_CIFS}, {"nfs", PROTO_NFS}, {"ncp", PROTO_NCP}, {"afp", PROTO_AFP}};

// The record file of a protocol's lists.
const char* permissionFile(const Protocol& protocol);

// The entries of a list, as stored; none also when the file cannot be read.
std::vector<PermittedItem> readPermissions(const std::string& share, const Protocol& protocol);

// Replaces a list. Returns DONE, or complains with the reason.
ExitCode storePermissions(const std::string& share, const Protocol& protocol,
                          const std::vector<PermittedItem>& entries);

// The order means nothing: by name, a user before a group.
void sortPermissions(std::vector<PermittedItem>& entries);

// The same entries in the same order, to the byte.
bool areIdentical(const std::vector<PermittedItem>& a, const std::vector<PermittedItem>& b);

// The same account: case does not count.
bool isSameAccount(const PermittedItem& a, const PermittedItem& b);

// An entry as it is printed in a call.
std::string describe(const PermittedItem& item);

std::string nameOf(const PermittedItem& item);

// A check takes every type but a user's for a group.
inline bool isUser(const PermittedItem& item) { return item.type == PERMITTED_USER; }

// "user" or "group".
const char* kindOf(const PermittedItem& item);
