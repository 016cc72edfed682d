// The registry of add-on modules, through its exported calls and past them.

#include "modules/module_registry.h"

#include "core/record_store.h"
#include "frame/appliance.h"

namespace {

constexpr char kFile[] = "module.gdbm";
constexpr int kRecordSize = sizeof(ModuleRecord);

ModuleRecord moduleNamed(const std::string& name, const std::string& command = "", char details = '\x5A') {
  ModuleRecord record = {};
  std::memset(record.description, details, sizeof record.description);
  std::memcpy(record.description, name.c_str(), name.size() + 1);
  (void)command.copy(record.removalCommand, sizeof record.removalCommand);
  return record;
}

int add(const ModuleRecord& record) { return Nas1ModuleAdd(&record); }
int modify(const ModuleRecord& record) { return Nas1ModuleMod(&record); }

// A log line without the line number in it.
Lines messagesWithoutLine() {
  Lines lines = applianceMessages();
  for (std::string& line : lines) {
    const std::size_t at = line.find("module.c:") + std::strlen("module.c:");
    line.erase(at, line.find_first_not_of("0123456789", at) - at);
  }
  return lines;
}

}  // namespace

using Modules = ApplianceTest;

TEST_F(Modules, AddingNeverReplacesModifyingDoes) {
  const ModuleRecord first = moduleNamed("backup", "first"), second = moduleNamed("backup", std::string(128, 's'));
  EXPECT_EQ((Results{0, -1}), (Results{add(first), add(second)}));
  EXPECT_EQ(bytesOf(first), storedRecord(kFile, "backup"));
  EXPECT_EQ(Results(2, 0), (Results{modify(second), modify(moduleNamed("mirror"))}));
  EXPECT_EQ(bytesOf(second), storedRecord(kFile, "backup"));
  ModuleRecord endless = {};
  std::memset(&endless, 'x', sizeof endless);
  EXPECT_EQ(Results(3, -1), (Results{modify(moduleNamed("")), add(endless), modify(endless)}));
  EXPECT_EQ((Lines{"backup", "mirror"}), storedKeys(kFile));
}

TEST_F(Modules, RemovingRunsTheModulesOwnCommandFirst) {
  // The registry is held meanwhile, so the command keeps a copy of it.
  const std::string command = "cp /etc/admin/module.gdbm /tmp/module.seen; setled 9 9; exit 3";
  EXPECT_EQ(0, add(moduleNamed("painter", command, '\0')));
  EXPECT_EQ(0, add(moduleNamed("quiet")));
  EXPECT_EQ(0, Nas1ModuleDel("quiet"));
  EXPECT_EQ(Lines{}, commands());
  EXPECT_EQ(0, Nas1ModuleDel("painter"));
  EXPECT_EQ(Lines{"painter"}, storedKeys("/tmp/module.seen"));
  EXPECT_EQ(Lines{"/usr/sbin/setled 9 9"}, commands());
  EXPECT_EQ(Lines{}, storedKeys(kFile));

  // A command that fills its field has no NUL of its own.
  const std::string full = "setled " + std::string(128 - 7, '7');
  EXPECT_EQ(0, add(moduleNamed("full", full)));
  EXPECT_EQ(0, Nas1ModuleDel("full"));
  EXPECT_EQ("/usr/sbin/" + full, commands().back());
}

TEST_F(Modules, MissingAndDamagedRecordsAreLogged) {
  const std::string noData = "<INFO> [SW]   Warnning!module.c: Data buffer is NULL";
  EXPECT_EQ(-1, Nas1ModuleDel("nobody"));
  EXPECT_EQ(Lines{noData}, messagesWithoutLine());
  const std::string whole = bytesOf(moduleNamed("cut", "setled 1 1"));
  for (const std::size_t length : {0U, 1U, 236U, 363U}) {
    (void)unlink("/var/log/nas1log");
    storeRecord(kFile, "cut", whole.substr(0, length));
    char buffer[kRecordSize];
    EXPECT_EQ((Results{0, -1}), (Results{Nas1ModuleList(0, 9, buffer, sizeof buffer), Nas1ModuleDel("cut")})) << length;
    EXPECT_EQ((Lines{noData, noData}), messagesWithoutLine()) << length;
  }
  EXPECT_EQ(Lines{}, commands());
}

TEST_F(Modules, ListsStopAtCountSizeAndEnd) {
  for (const char* const name : {"a", "b", "c", "d", "e"}) EXPECT_EQ(0, add(moduleNamed(name)));
  std::string all(5 * kRecordSize, 'u');
  EXPECT_EQ(5, Nas1ModuleList(0, 9, all.data(), 5 * kRecordSize));
  for (const std::size_t at : {0, 1, 2, 3, 4}) {
    const std::string record = all.substr(at * kRecordSize, kRecordSize);
    EXPECT_EQ(record, storedRecord(kFile, record.c_str()));
  }
  const struct {
    int start, count, size, first, copied;
    bool tooSmall;
  } cases[] = {
      {0, 2, 5 * kRecordSize, 0, 2, false},
      {3, 9, 5 * kRecordSize, 3, 2, false},
      {5, 9, 5 * kRecordSize, 0, 0, false},
      {-3, 9, 5 * kRecordSize, 0, 5, false},
      {0, 5, 700, 0, 1, true},
      {0, 1, 700, 0, 1, false},
      {0, 5, 363, 0, 0, true},
  };
  for (const auto& c : cases) {
    (void)unlink("/var/log/nas1log");
    std::string buffer(all.size(), 'u');
    EXPECT_EQ(c.copied, Nas1ModuleList(c.start, c.count, buffer.data(), c.size)) << c.start << ' ' << c.size;
    const auto first = static_cast<std::size_t>(c.first * kRecordSize);
    const auto bytes = static_cast<std::size_t>(c.copied * kRecordSize);
    EXPECT_EQ(all.substr(first, bytes) + std::string(all.size() - bytes, 'u'), buffer) << c.start << ' ' << c.size;
    const Lines expected =
        c.tooSmall ? Lines{"<INFO> [SW]   Warnning!module.c::sysListModule output buffer too small"} : Lines{};
    EXPECT_EQ(expected, messagesWithoutLine()) << c.start << ' ' << c.size;
  }
  for (const int count : {0, -1}) EXPECT_EQ(5, Nas1ModuleList(2, count, nullptr, 0)) << "only counts";
}

TEST_F(Modules, ARegistryInUseFailsAndNullArgumentsAbort) {
  EXPECT_EQ(0, add(moduleNamed("here")));
  {
    const OtherProcess holder("/etc/admin/module.gdbm", GDBM_WRITER);
    EXPECT_EQ((Results{-1, -1, -1, 0}), (Results{add(moduleNamed("more")), modify(moduleNamed("here")),
                                                 Nas1ModuleDel("here"), Nas1ModuleList(0, 0, nullptr, 0)}));
  }
  EXPECT_EQ(SIGABRT, inChild([] { (void)Nas1ModuleAdd(nullptr); }).signal);
  EXPECT_EQ(SIGABRT, inChild([] { (void)Nas1ModuleList(0, 1, nullptr, 999); }).signal);
}
