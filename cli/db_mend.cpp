#include "db_mend.h"

#include <gdbm.h>
#include <sys/file.h>

#include <algorithm>
#include <cstring>

#include "db_identities.h"

namespace {

// The library deletes lists only together with their share.
bool dropRecord(const Finding& finding) {
  GDBM_FILE const db = gdbm_open(finding.file->path, 0, GDBM_WRITER | GDBM_CLOEXEC, 0, nullptr);
  if (db == nullptr) return false;
  const datum key = {const_cast<char*>(finding.key.data()), static_cast<int>(finding.key.size())};
  const bool isGone = gdbm_delete(db, key) == 0;
  return gdbm_close(db) == 0 && isGone;
}

bool isGroup(std::uint32_t gid) {
  const int count = Nas1GroupItemCount();
  std::vector<GroupItem> groups(static_cast<std::size_t>(std::max(count, 0)));
  const int listed = Nas1ListGroupItem(0, count, groups.data(), count * static_cast<int>(sizeof(GroupItem)));
  groups.resize(static_cast<std::size_t>(std::max(listed, 0)));
  return std::any_of(groups.begin(), groups.end(), [gid](const GroupItem& group) { return group.gid == gid; });
}

bool dropMemberships(const Finding& finding) {
  // Name and, behind it, the digit of the source.
  const std::string name = keyText(finding.key).substr(0, finding.key.size() - 2);
  const int source = finding.key[finding.key.size() - 2] - '0';
  UserItem user;
  int size = 0;
  if (Nas1CheckUserItem(source, name.c_str(), &user, &size) != 0) return false;
  for (std::uint32_t& gid : user.groups) {
    if (gid != 0 && !isGroup(gid)) gid = 0;
  }
  return Nas1SetUserItem(&user) == 0;
}

bool dropHomeName(const Finding& finding) {
  return NasSetUserConfig(finding.key.c_str(), "home", NAS_NAME_SIZE, "") == 0;
}

bool dropHomeMark(const Finding& finding) {
  const std::uint32_t none = 0;
  return NasShareSetConfig(finding.key.c_str(), "is_home", sizeof none, &none) == 0;
}

bool recount(const Finding& finding) {
  OpenFile file;
  if (openLocked(finding.file->path, LOCK_SH, file) != DONE) return false;
  forgetTakenIds();
  return true;
}

struct Remedy {
  const char* text;
  bool (*apply)(const Finding& finding);  // null: that is up to the user
};

// By rule.
constexpr Remedy remedies[] = {
    /* unreadable */ {"recover what can be reached", nullptr},
    /* unsound    */ {"take the record out", nullptr},
    /* list       */ {"take the list out", dropRecord},
    /* group      */ {"take the user out of it", dropMemberships},
    /* home       */ {"the user has none", dropHomeName},
    /* home mark  */ {"take the mark off", dropHomeMark},
    /* half user  */ {"take the password out", dropRecord},
    /* id range   */ {"left as it is: delete the account and add it again", nullptr},
    /* id doubled */ {"left as it is: delete one of the accounts and add it again", nullptr},
    /* ids taken  */ {"count them again", recount},
};
static_assert(std::size(remedies) == RULE_IDS_TAKEN + 1);

}  // namespace

const char* remedy(Rule rule) { return remedies[rule].text; }

bool mend(const Finding& finding, std::string& done) {
  done = remedies[finding.rule].text;
  return remedies[finding.rule].apply == nullptr || remedies[finding.rule].apply(finding);
}
