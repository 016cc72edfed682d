// NFS host entries: check the arguments, store the list, let NFS export by it.

#include <cstring>

#include "api/nas1api.h"
#include "api/protocol_ops.h"
#include "backends/nfs.h"
#include "share/nfs_hosts.h"

extern "C" int Nas1ShareGetPermittedNfsSize(const char* share, int* count, int* bytes) {
  if (share == nullptr || share[0] == '\0') return -1;
  return sysShareGetPermittedNfsSize(share, count, bytes);
}

extern "C" int Nas1ShareGetPermittedNfs(const char* share, int count, void* out, int size) {
  if (share == nullptr || out == nullptr || count < 0 || size <= 0) return 0;
  std::memset(out, 0, static_cast<std::size_t>(size));
  return share[0] == '\0' ? 0 : sysShareGetPermittedNfs(share, count, out, size);
}

extern "C" int Nas1ShareSetPermittedNfs(const char* share, int count, const void* entries) {
  // Kept: what cannot be a list counts as nothing to do, not as a failure.
  if (share == nullptr || entries == nullptr || count < 0) return 0;
  if (share[0] == '\0' || sysShareSetPermittedNfs(share, count, entries) < 0) return -1;
  return shareBatch != 0 ? 0 : nfsShareSetPermittedNfs();
}
