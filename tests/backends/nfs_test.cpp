// NFS: the exports as written and as the real exportfs reads them, the NIS client's file, and what is run when.

#include "backends/nfs.h"

#include <sys/file.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <map>

#include "backends/nfs_exports.h"
#include "backends/nis_client.h"
#include "config/numeric_config.h"
#include "share/nfs_entry.h"
#include "share/share_database.h"

namespace {

namespace fs = std::filesystem;

constexpr char kBefore[] = "# what was exported before\n";
constexpr char kEveryone[] = "\t*(sync,rw,all_squash,anonuid=32767)\n";

class Nfs : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    writeFile("/etc/exports", kBefore);
  }
  static void setText(const char* key, const std::string& value) { storeRecord("system.gdbm", key, value + '\0'); }
  static void setHosts(const char* share, const std::string& list) { storeRecord("share_nfs.gdbm", share, list); }
  // A share in the record file alone.
  static void addShare(const std::string& name) {
    ASSERT_EQ(0, sysShareAdd(name.c_str(), "", ("/volume/v1/" + name).c_str()));
  }
  // The lines of the exports in the order in which the shares are stored, each share's from the map.
  static std::string inStoredOrder(const std::map<std::string, std::string>& lines) {
    std::string text;
    char block[4096];
    for (int i = 0; Nas1ShareList(i, 1, block, sizeof block) == 1; ++i)
      text += lines.at(reinterpret_cast<const ShareInfo*>(block)->name);
    return text;
  }
};

// The commands that restart the NIS client.
const Lines rebind = {"/etc/init.d/ypbind stop", "/etc/init.d/ypbind start"};

Lines operator+(Lines left, const Lines& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

int written(std::string& text, const char* share, const char* path) {
  char* bytes = nullptr;
  std::size_t size = 0;
  std::FILE* const stream = open_memstream(&bytes, &size);
  const int result = Process_Permitted_NFS(stream, share, path);
  (void)std::fclose(stream);
  text.assign(bytes, size);
  std::free(bytes);
  return result;
}

}  // namespace

TEST_F(Nfs, AShareIsExportedToItsHostsOrByDefault) {
  const std::string host = nfsEntry("h");
  const struct {
    const char* name;
    const char* privilege;
    std::string list;
    int result;
    const char* line;
  } cases[] = {
      {"no list, nobody", "", "", -1, ""},
      {"no list, rw", "rw", "", -1, "/p\t*(sync,rw,all_squash,anonuid=32767)\n"},
      {"no list, RW", "RW", "", -1, "/p\t*(sync,rw,all_squash,anonuid=32767)\n"},
      {"no list, ro", "ro", "", -1, "/p\t*(sync,ro,all_squash,anonuid=32767)\n"},
      {"no list, RO", "RO", "", -1, "/p\t*(sync,ro,all_squash,anonuid=32767)\n"},
      {"mixed case", "Rw", "", -1, ""},
      {"longer word", "rwx", "", -1, ""},
      {"empty list", "ro", nfsList(0, ""), -1, "/p\t*(sync,ro,all_squash,anonuid=32767)\n"},
      {"count without entries", "ro", nfsList(1, ""), -1, "/p\t*(sync,ro,all_squash,anonuid=32767)\n"},
      {"cut list", "ro", nfsList(1, host).substr(0, 39), -1, "/p\t*(sync,ro,all_squash,anonuid=32767)\n"},
      {"cut list, nobody", "", nfsList(-1, host), -1, ""},
      {"network", "ro", nfsList(1, nfsEntry("10.0.0.0", 0x11, 1, 2, "255.0.0.0")), 0,
       "/p\t10.0.0.0/255.0.0.0(sync,rw,no_all_squash,no_root_squash) \n"},
      {"mask not meant", "", nfsList(1, nfsEntry("h", 0x08, 1, 2, "255.0.0.0")), 0,
       "/p\th(sync,ro,no_all_squash,no_root_squash) \n"},
      {"mask without NUL", "", nfsList(1, nfsEntry("h", 0x10, 0, 0, "255.255.255.2550")), 0,
       "/p\th/255.255.255.2550(sync,ro,no_all_squash,no_root_squash) \n"},
      {"root squashed", "", nfsList(1, nfsEntry("h", 0x62, 5, 6)), 0, "/p\th(sync,ro,no_all_squash,root_squash) \n"},
      {"all squashed", "", nfsList(1, nfsEntry("h", 0x06, 5, 6)), 0, "/p\th(sync,ro,all_squash,anonuid=32767) \n"},
      {"to a user", "", nfsList(1, nfsEntry("h", 0x44, 5, 6)), 0, "/p\th(sync,ro,all_squash,anonuid=5) \n"},
      {"to a group", "", nfsList(1, nfsEntry("h", 0x25, 5, 6)), 0,
       "/p\th(sync,rw,all_squash,anongid=6,anonuid=32767) \n"},
      {"to both", "", nfsList(1, nfsEntry("h", 0x64, -2, -3)), 0, "/p\th(sync,ro,all_squash,anongid=-3,anonuid=-2) \n"},
      {"two hosts", "", nfsList(2, nfsEntry("%s", 1) + nfsEntry("b", 2)), 0,
       "/p\t%s(sync,rw,no_all_squash,no_root_squash) b(sync,ro,no_all_squash,root_squash) \n"},
      {"fewer than counted", "", nfsList(9, host + nfsEntrySized(0, "b")), 0,
       "/p\th(sync,ro,no_all_squash,no_root_squash) \n"},
      {"none that is whole", "rw", nfsList(1, nfsEntrySized(99, "b")), -1, ""},
  };
  int row = 0;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string share = std::to_string(++row);
    setText("NFS_EXPORT_PRIVILEGE", c.privilege);
    if (!c.list.empty()) setHosts(share.c_str(), c.list);
    std::string line;
    EXPECT_EQ(c.result, written(line, share.c_str(), "/p"));
    EXPECT_EQ(c.line, line);
  }
  // Without its file the list cannot be asked for.
  fs::remove("/etc/admin/share_nfs.gdbm");
  fs::create_directory("/etc/admin/share_nfs.gdbm");
  setText("NFS_EXPORT_PRIVILEGE", "");
  std::string line;
  EXPECT_EQ(-1, written(line, "1", "/p"));
  EXPECT_EQ("", line);
  setText("NFS_EXPORT_PRIVILEGE", "ro");
  EXPECT_EQ(-1, written(line, "1", "/p"));
  EXPECT_EQ("/p\t*(sync,ro,all_squash,anonuid=32767)\n", line);
}

TEST_F(Nfs, OnlyAddAndFullUpdateBringTheSnapshots) {
  addShare("first");
  addShare("second");
  addShare("third");
  setText("NFS_EXPORT_PRIVILEGE", "rw");
  setHosts("second", nfsList(1, nfsEntry("h", 1)));
  const std::string shares = inStoredOrder({{"first", std::string("/volume/v1/first") + kEveryone},
                                            {"second", "/volume/v1/second\th(sync,rw,no_all_squash,no_root_squash) \n"},
                                            {"third", std::string("/volume/v1/third") + kEveryone}});
  const std::string tail(2000, 'x');
  writeFile("/etc/snap_exports", "one /snap/1  *(ro)\ntwo\t/snap/2\t*(rw) more words\nno clients\n\nlong a b" + tail +
                                     "\nlast /snap/3 h(ro)");
  const std::string snapshots =
      "\n/snap/1\t*(ro)\n/snap/2\t*(rw)\na\tb" + tail.substr(0, 1023 - 8) + "\n/snap/3\th(ro)\n";
  const struct {
    const char* name;
    int (*renew)();
    bool withSnapshots;
  } cases[] = {
      {"update", nfsDbUpdate, true},
      {"hosts", nfsShareSetPermittedNfs, false},
      {"add", [] { return nfsShareAdd("n", "c", "p"); }, true},
      {"delete", [] { return nfsShareDel("n"); }, false},
      {"modify", [] { return nfsShareMod("n", "c", "p"); }, false},
  };
  std::string before = kBefore;
  Lines ran;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(0, c.renew());
    EXPECT_EQ(before, readFile("/etc/exports.bak"));
    before = shares + (c.withSnapshots ? snapshots : "");
    EXPECT_EQ(before, readFile("/etc/exports"));
    ran = ran + Lines{"/usr/sbin/exportfs -ra"};
    EXPECT_EQ(ran, commands());
  }
  fs::remove("/etc/snap_exports");
  EXPECT_EQ(-1, SnapShareAppend());
  EXPECT_EQ(0, nfsDbUpdate());
  EXPECT_EQ(shares, readFile("/etc/exports"));
}

TEST_F(Nfs, WithoutSharesTheOldExportsStayInForce) {
  EXPECT_EQ(0, nfsShareDel("last"));
  EXPECT_EQ(kBefore, readFile("/etc/exports"));
  EXPECT_EQ(kBefore, readFile("/etc/exports.bak"));
  EXPECT_EQ(Lines({"/usr/sbin/exportfs -ra"}), commands());
  fs::remove("/etc/exports");
  EXPECT_EQ(0, Update_Export_Conf());
  EXPECT_FALSE(exists("/etc/exports"));
}

TEST_F(Nfs, ExportsThatCannotBeWrittenAreLoggedAndNotExported) {
  addShare("pub");
  fs::remove("/etc/exports");
  fs::create_directory("/etc/exports");
  const ChildResult child = inChild([] {
    EXPECT_EQ(-1, nfsDbUpdate());
    EXPECT_EQ(-1, nfsShareAdd("n", "c", "p"));
    EXPECT_EQ(-1, nfsShareDel("n"));
    EXPECT_EQ(-1, nfsShareMod("n", "c", "p"));
    EXPECT_EQ(-1, nfsShareSetPermittedNfs());
  });
  EXPECT_EQ(0, child.exitCode) << child.output;
  EXPECT_EQ(Lines({"<ERR>  [NFS]  nfsDbUpdate failed!", "<ERR>  [NFS]  nfsShareAdd failed!",
                   "<ERR>  [NFS]  nfsShareDel failed!", "<ERR>  [NFS]  nfsShareMod failed!",
                   "<ERR>  [NFS]  nfsShareSetPermittedNfs failed!"}),
            applianceMessages());
  EXPECT_EQ(Lines(), commands());
  fs::remove("/etc/exports");
}

TEST_F(Nfs, ATableThatDoesNotFitOnTheDiskIsNotExported) {
  setText("NFS_EXPORT_PRIVILEGE", "ro");
  ASSERT_EQ(
      0,
      sysShareAdd(
          "pub", "",
          ("/volume/v1/" + std::string(200, 'd') + "/" + std::string(200, 'd') + "/" + std::string(200, 'd')).c_str()));
  const ChildResult child = inChild([] {
    (void)std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {.rlim_cur = 300, .rlim_max = 300};
    ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &limit));
    EXPECT_EQ(-1, nfsShareMod("n", "c", "p"));
  });
  EXPECT_EQ(0, child.exitCode) << child.output;
  EXPECT_EQ(kBefore, readFile("/etc/exports.bak"));
  EXPECT_EQ(Lines(), commands());
}

TEST_F(Nfs, AChangeMadeWhileAnotherProcessWritesIsNotLost) {
  setText("NFS_EXPORT_PRIVILEGE", "rw");
  addShare("early");
  const int lock = open("/etc/exports", O_RDWR | O_CLOEXEC);
  ASSERT_EQ(0, flock(lock, LOCK_EX));
  const pid_t child = fork();
  if (child == 0) {
    (void)close(lock);  // it would hold the lock as well
    _exit(Update_Export_Conf() == 0 ? 0 : 1);
  }
  const std::string waiting = " " + std::to_string(child) + " ";
  bool waits = false;
  for (int waitedMs = 0; waitedMs < 5000 && !waits; ++waitedMs) {
    (void)usleep(1000);
    for (const std::string& line : readLines("/proc/locks"))
      waits = waits || (line.find("-> FLOCK") != std::string::npos && line.find(waiting) != std::string::npos);
  }
  EXPECT_TRUE(waits);
  EXPECT_EQ(kBefore, readFile("/etc/exports"));
  addShare("late");
  ASSERT_EQ(0, close(lock));
  int status = -1;
  (void)waitpid(child, &status, 0);
  EXPECT_EQ(0, status);
  EXPECT_EQ(inStoredOrder({{"early", std::string("/volume/v1/early") + kEveryone},
                           {"late", std::string("/volume/v1/late") + kEveryone}}),
            readFile("/etc/exports"));
}

TEST_F(Nfs, TheRealExportfsReadsEveryShare) {
  if (!exists("/usr/lib/appliance/real/exportfs")) GTEST_SKIP() << "no NFS server is installed";
  letHelpersAct();
  fs::remove("/var/lib/nfs/etab");
  setText("NFS_EXPORT_PRIVILEGE", "rw");
  // A name with blanks; a directory with a double-byte character whose second byte is a backslash.
  const std::string kana = "/volume/v1/\x83\x5C\x83\x65";
  ASSERT_EQ(0, EnableNas1ShareBatch(1));
  char blanks[] = "two words";
  char doubleByte[] = "\x83\x5C\x83\x65";
  ASSERT_EQ(0, Nas1ShareAdd(blanks, "", "/volume/v1/words"));
  ASSERT_EQ(0, Nas1ShareAdd(doubleByte, "", kana.c_str()));
  const std::string hosts = nfsEntry("192.0.2.0", 0x16, 0, 0, "255.255.255.0") + nfsEntry("192.0.2.77", 0x65, 500, 600);
  ASSERT_EQ(0, Nas1ShareSetPermittedNfs("two words", 2, hosts.data()));
  for (int i = 0; i < 200; ++i) addShare("share" + std::to_string(i));
  ASSERT_EQ(0, EnableNas1ShareBatch(0));

  // Path, client, and the options that come from the host entry.
  std::map<std::string, Lines> exported;
  for (const std::string& line : readLines("/var/lib/nfs/etab"))
    exported[line.substr(0, line.find('\t'))].push_back(line.substr(line.find('\t') + 1));
  EXPECT_EQ(202U, exported.size());
  const auto has = [&](const std::string& path, const std::string& client, const Lines& options) {
    for (const std::string& line : exported[path]) {
      if (!line.starts_with(client + "(")) continue;
      for (const std::string& option : options) EXPECT_NE(std::string::npos, line.find(option)) << path << line;
      return true;
    }
    return false;
  };
  for (int i = 0; i < 200; ++i)
    EXPECT_TRUE(has("/volume/v1/share" + std::to_string(i), "*", {"(rw,sync,", ",all_squash,", ",anonuid=32767,"}))
        << i;
  EXPECT_TRUE(has("/volume/v1/\x83\\134\x83\x65", "*", {"(rw,sync,"}));
  EXPECT_TRUE(has("/volume/v1/words", "192.0.2.0/255.255.255.0", {"(ro,sync,", ",all_squash,", ",anonuid=32767,"}));
  EXPECT_TRUE(has("/volume/v1/words", "192.0.2.77", {"(rw,sync,", ",all_squash,", ",anonuid=500,", ",anongid=600,"}));
}

TEST_F(Nfs, TheNisClientFollowsServerAndDomain) {
  const std::string comments = "# first\n#" + std::string(1021, 'c') + "\n";
  const std::string old =
      "# first\ndomain\tx\tserver\ty\n\n #not a comment\n#" + std::string(3000, 'c') + "\nypserver z\n# last";
  setText("NFS_DOMAIN_NAME", "old.domain");
  writeFile("/etc/yp.conf", old);
  EXPECT_EQ(0, nfsSave_nis_server_name("192.0.2.5"));
  EXPECT_EQ(comments + "# last\ndomain\told.domain\tserver\t192.0.2.5\n", readFile("/etc/yp.conf"));
  EXPECT_EQ(old, readFile("/etc/yp.conf.bak"));
  Lines ran = Lines{"/usr/bin/domainname old.domain"} + rebind;
  EXPECT_EQ(ran, commands());

  setText("NFS_NIS_SERVER_NAME", "nis");
  EXPECT_EQ(0, nfsSet_host_domain_name("new.domain"));
  EXPECT_EQ(comments + "# last\ndomain\tnew.domain\tserver\tnis\n", readFile("/etc/yp.conf"));
  ran = ran + Lines{"/usr/bin/domainname new.domain"} + rebind;
  EXPECT_EQ(ran, commands());

  // Cleared by an empty domain given, but not by an empty one stored.
  writeFile("/etc/yp.conf", "");
  EXPECT_EQ(0, nfsSet_host_domain_name(""));
  EXPECT_EQ("domain\t\tserver\tnis\n", readFile("/etc/yp.conf"));
  setText("NFS_DOMAIN_NAME", "");
  EXPECT_EQ(0, nfsSave_nis_server_name(""));
  EXPECT_EQ("domain\t\tserver\t\n", readFile("/etc/yp.conf"));
  EXPECT_EQ(ran + Lines{"/usr/bin/domainname "} + rebind + Lines{"/usr/bin/domainname"} + rebind, commands());
}

TEST_F(Nfs, WithoutAFileTheNisClientIsLeftAlone) {
  EXPECT_EQ(-1, nfsSave_nis_server_name("nis"));
  EXPECT_EQ(-1, nfsSet_host_domain_name("domain"));
  EXPECT_EQ(-1, nfsSave_nis_server_name(nullptr));
  EXPECT_EQ(-1, nfsSet_host_domain_name(nullptr));
  EXPECT_FALSE(exists("/etc/yp.conf"));
  EXPECT_EQ(Lines(), commands());
}

TEST_F(Nfs, AFileThatCannotBeWrittenIsRestored) {
  writeFile("/etc/yp.conf", "# kept\n");
  if (mount("/etc/yp.conf", "/etc/yp.conf", nullptr, MS_BIND, nullptr) != 0) GTEST_SKIP() << "no mounts here";
  EXPECT_EQ(0, mount(nullptr, "/etc/yp.conf", nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr));
  const ChildResult child = inChild([] { EXPECT_EQ(-1, nfsSet_host_domain_name("domain")); });
  EXPECT_EQ(0, child.exitCode) << child.output;
  EXPECT_EQ(0, umount("/etc/yp.conf"));
  EXPECT_NE(std::string::npos, child.output.find("/etc/yp.conf")) << "the copy back was not tried: " << child.output;
  EXPECT_EQ("# kept\n", readFile("/etc/yp.conf"));
  EXPECT_EQ("# kept\n", readFile("/etc/yp.conf.bak"));
  EXPECT_EQ(Lines({"/usr/bin/domainname domain"}), commands());
}

TEST_F(Nfs, LinesEndWithANewlineAndFitTheBuffer) {
  writeFile("/tmp/lines", "one\n\n" + std::string(5000, 'x') + "\nlast");
  std::FILE* const file = std::fopen("/tmp/lines", "re");
  ASSERT_NE(nullptr, file);
  const auto buffer = std::make_unique<char[]>(kNisTextSize);
  const struct {
    int result;
    std::string line;
  } expected[] = {{10, "one\n"}, {10, "\n"}, {10, std::string(1022, 'x') + "\n"}, {-1, "last\n"}, {-1, ""}};
  for (const auto& e : expected) {
    EXPECT_EQ(e.result, GetOneLine(file, buffer.get()));
    EXPECT_EQ(e.line, buffer.get());
  }
  (void)std::fclose(file);
}

TEST_F(Nfs, SettingsReachTheDaemonsByNumber) {
  const Lines nfsStop = {"/etc/init.d/nfs stop"};
  const Lines nfsStart = {"/etc/init.d/nfs stop", "/etc/init.d/nfs start"};
  const Lines unbind = {"/etc/init.d/ypbind stop"};
  const std::string on = bytesOf(1);
  const std::string off = bytesOf(0);
  const struct {
    const char* name;
    int id;
    std::string value;
    Lines ran;
  } cases[] = {
      {"on, no NIS", 31, on, nfsStart},
      {"off", 31, off, nfsStop + unbind},
      {"share mode on", 22, on, rebind},
      {"share mode off", 22, off, unbind},
      {"server without its NUL", 8, "nis", Lines{"/usr/bin/domainname"} + rebind},
      {"on, empty domain", 31, on, nfsStart + unbind + Lines{"/usr/bin/domainname "} + Lines{rebind[1]}},
      {"domain", 54, std::string("dom\0", 4), Lines{"/usr/bin/domainname dom"} + rebind},
      {"on", 31, on, nfsStart + unbind + Lines{"/usr/bin/domainname dom"} + Lines{rebind[1]}},
      {"a row of the key table", 25, on, {}},
  };
  writeFile("/etc/yp.conf", "");
  std::size_t before = 0;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    std::string value = c.value;
    EXPECT_EQ(0, Nas1SetConfig(c.id, static_cast<int>(value.size()), value.data()));
    const Lines all = commands();
    EXPECT_EQ(c.ran, Lines(all.begin() + static_cast<long>(before), all.end()));
    before = all.size();
  }
  EXPECT_EQ("domain\tdom\tserver\tnis\n", readFile("/etc/yp.conf"));

  // By name the row number arrives, and only the server's is also its id.
  const int one = 1;
  EXPECT_EQ(0, NasSetConfig("NFS_SHARE_MODE", 4, &one));
  EXPECT_EQ(0, NasSetConfig("NFS_ENABLED", 4, &one));
  EXPECT_EQ(0, NasSetConfig("NFS_DOMAIN_NAME", 2, "d"));
  EXPECT_EQ(before, commands().size());
  EXPECT_EQ(0, NasSetConfig("NFS_NIS_SERVER_NAME", 3, "ab"));
  EXPECT_EQ("domain\td\tserver\tab\n", readFile("/etc/yp.conf"));
  EXPECT_EQ(before + 3, commands().size());
  EXPECT_EQ(-1, nfsSetConfig(8, 0, const_cast<char*>("x")));
  EXPECT_EQ(-1, nfsSetConfig(31, 4, nullptr));
  EXPECT_EQ(before + 3, commands().size());
}

TEST_F(Nfs, TheInitScriptIsRun) {
  Lines ran;
  const char* const words[] = {"start", "stop", "restart"};
  for (int how = 0; how < 3; ++how) {
    setExitStatus("nfs", how);  // how the script ends is its own affair
    EXPECT_EQ(0, Nas1Restart(PROTO_NFS, how));
    ran.push_back(std::string("/etc/rc.d/init.d/nfs ") + words[how]);
  }
  EXPECT_EQ(-1, Nas1Restart(PROTO_NFS, 3));
  EXPECT_EQ(-1, Nas1Restart(PROTO_NFS, -1));
  EXPECT_EQ(ran, commands());
  setExitStatus("nfs", 127);
  EXPECT_EQ(-1, nfsRestart(0));
  EXPECT_EQ(0, nfsSysEvent(0, nullptr) + nfsAddPermittedItem() + nfsDelPermittedItem());
}
