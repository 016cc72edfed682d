#pragma once
// The permission lists: one for every share and protocol.

#include <nas1api.h>

#include <string>
#include <vector>

#include "protocols.h"

inline constexpr Protocol permissionProtocols[] = {
    {"local", PROTO_SYSTEM}, {"cifs", PROTO_CIFS}, {"nfs", PROTO_NFS}, {"ncp", PROTO_NCP}, {"afp", PROTO_AFP}};

// The record file of a protocol's lists.
const char* permissionFile(const Protocol& protocol);

// The entries of a list, as stored; none also when the file cannot be read.
std::vector<PermittedItem> readPermissions(const std::string& share, const Protocol& protocol);

std::string nameOf(const PermittedItem& item);

// A check takes every type but a user's for a group.
inline bool isUser(const PermittedItem& item) { return item.type == PERMITTED_USER; }

// "user" or "group".
const char* kindOf(const PermittedItem& item);
