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

// The names in a listing, sorted: the file's own order goes by hash.
Lines listed(int start, int count, int size, int* copied) {
  std::vector<char> buffer(static_cast<std::size_t>(size) + 1, '\x11');
  *copied = Nas1ModuleList(start, count, buffer.data(), size);
  Lines names;
  for (int i = 0; i < *copied; ++i) names.emplace_back(buffer.data() + i * kRecordSize);
  for (std::size_t i = static_cast<std::size_t>(*copied * kRecordSize); i < buffer.size(); ++i)
    EXPECT_EQ('\x11', buffer[i]) << "byte " << i << " behind what was copied";
  std::sort(names.begin(), names.end());
  return names;
}

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
  EXPECT_EQ(Results(4, -1), (Results{Nas1ModuleMod(nullptr), modify(moduleNamed("")), add(endless), modify(endless)}));
  EXPECT_EQ((Lines{"backup", "mirror"}), storedKeys(kFile));
  EXPECT_EQ(Lines{}, applianceLog());
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
  EXPECT_EQ(Lines{}, applianceLog());

  // A command that fills its field has no NUL of its own.
  const std::string full = "setled " + std::string(128 - 7, '7');
  EXPECT_EQ(0, add(moduleNamed("full", full)));
  EXPECT_EQ(0, Nas1ModuleDel("full"));
  EXPECT_EQ("/usr/sbin/" + full, commands().back());
}

TEST_F(Modules, MissingAndDamagedRecordsAreLogged) {
  const std::string noData = "<INFO> [SW]   Warnning!module.c: Data buffer is NULL";
  EXPECT_EQ(-1, Nas1ModuleDel("nobody"));
  EXPECT_EQ(-1, Nas1ModuleDel(""));
  EXPECT_EQ((Lines{noData, noData}), messagesWithoutLine());
  const std::string whole = bytesOf(moduleNamed("cut", "setled 1 1"));
  for (const std::size_t length : {0U, 1U, 236U, 363U}) {
    (void)unlink("/var/log/nas1log");
    storeRecord(kFile, "cut", whole.substr(0, length));
    int copied = -1;
    EXPECT_EQ(Lines{}, listed(0, 9, 9 * kRecordSize, &copied)) << length;
    EXPECT_EQ(-1, Nas1ModuleDel("cut")) << length;
    EXPECT_EQ((Lines{noData, noData}), messagesWithoutLine()) << length;
  }
  EXPECT_EQ(Lines{}, commands());
}

TEST_F(Modules, ListsStopAtCountSizeAndEnd) {
  const Lines names = {"a", "b", "c", "d", "e"};
  for (const std::string& name : names) EXPECT_EQ(0, add(moduleNamed(name)));
  const struct {
    int start, count, size, copied;
    bool tooSmall;
  } cases[] = {
      // clang-format off
      {0, 5, 5 * kRecordSize, 5, false}, {0, 9, 9 * kRecordSize, 5, false}, {0, 2, 9 * kRecordSize, 2, false},
      {3, 9, 9 * kRecordSize, 2, false}, {5, 9, 9 * kRecordSize, 0, false}, {-3, 9, 9 * kRecordSize, 5, false},
      {0, 5, 700, 1, true}, {0, 1, 700, 1, false}, {0, 5, 363, 0, true}, {4, 5, 364, 1, false}, {0, 5, 0, 0, true},
      // clang-format on
  };
  for (const auto& c : cases) {
    (void)unlink("/var/log/nas1log");
    int copied = -1;
    const Lines found = listed(c.start, c.count, c.size, &copied);
    EXPECT_EQ(c.copied, copied) << c.start << ' ' << c.count << ' ' << c.size;
    EXPECT_TRUE(std::includes(names.begin(), names.end(), found.begin(), found.end()));
    const Lines expected =
        c.tooSmall ? Lines{"<INFO> [SW]   Warnning!module.c::sysListModule output buffer too small"} : Lines{};
    EXPECT_EQ(expected, messagesWithoutLine()) << c.start << ' ' << c.count << ' ' << c.size;
  }
  for (const int count : {0, -1}) EXPECT_EQ(5, Nas1ModuleList(2, count, nullptr, 0)) << "only counts";
  // The two parts of a listing make up the whole.
  int copied = 0;
  Lines all = listed(0, 2, 2 * kRecordSize, &copied);
  for (const std::string& name : listed(2, 3, 3 * kRecordSize, &copied)) all.push_back(name);
  std::sort(all.begin(), all.end());
  EXPECT_EQ(names, all);
}

TEST_F(Modules, ARegistryInUseFailsAndNullArgumentsAbort) {
  EXPECT_EQ(0, add(moduleNamed("here")));
  const GDBM_FILE held = gdbm_open("/etc/admin/module.gdbm", 0, GDBM_WRITER, 0, nullptr);
  ASSERT_NE(nullptr, held);
  char buffer[kRecordSize];
  EXPECT_EQ((Results{-1, -1, -1, 0, 0}),
            (Results{add(moduleNamed("more")), modify(moduleNamed("here")), Nas1ModuleDel("here"),
                     Nas1ModuleList(0, 1, buffer, sizeof buffer), Nas1ModuleList(0, 0, nullptr, 0)}));
  (void)gdbm_close(held);

  const std::function<void()> aborting[] = {
      [] { (void)Nas1ModuleAdd(nullptr); },
      [] { (void)add(moduleNamed("")); },
      [] { (void)Nas1ModuleDel(nullptr); },
      [] { (void)Nas1ModuleList(0, 1, nullptr, 999); },
  };
  for (const auto& call : aborting) {
    const ChildResult result = inChild(call);
    EXPECT_EQ(SIGABRT, result.signal);
    EXPECT_NE(std::string::npos, result.output.find("module.c")) << result.output;
  }
}
