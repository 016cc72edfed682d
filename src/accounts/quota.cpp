#include "accounts/quota.h"

#include <algorithm>
#include <climits>
#include <cstdio>

static constexpr int kCommandSize = 256;
static constexpr int kReportColumns[] = {3, 2, 4};  // soft limit, in use, hard limit

extern "C" int sysGetQuota(int /*unused*/, int id, const char* filesystem, int which) {
  if (which < 0 || which > 2 || filesystem == nullptr) return 0;
  char command[kCommandSize];
  (void)std::snprintf(command, sizeof command, "quota -v %d | grep %s | awk '{print $%d}'", id, filesystem,
                      kReportColumns[which]);
  std::FILE* const report = popen(command, "re");
  if (report == nullptr) return 0;
  long long kilobytes = 0;
  if (std::fscanf(report, "%lld", &kilobytes) != 1) kilobytes = 0;
  (void)pclose(report);
  return static_cast<int>(std::clamp<long long>(kilobytes / 1024, INT_MIN, INT_MAX));
}
