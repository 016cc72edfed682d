// NFS: the exports, the NIS client's file, and what is run when.

#include "backends/nfs.h"

#include <sys/file.h>
#include <sys/mount.h>
#include <sys/resource.h>

#include "backends/nfs_exports.h"
#include "backends/nis_client.h"
#include "config/numeric_config.h"
#include "share/nfs_entry.h"
#include "share/share_database.h"

namespace {

constexpr char kExports[] = "/etc/exports";
constexpr char kBefore[] = "# what was exported before\n";

class Nfs : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    writeFile(kExports, kBefore);
  }
};

void setHosts(const std::string& share, const std::string& list) { storeRecord("share_nfs.gdbm", share, list); }

// A share in the record file alone.
void addShare(const std::string& name) { ASSERT_EQ(0, sysShareAdd(name.c_str(), "", ("/volume/v1/" + name).c_str())); }

// The exports of shares in the order in which they are stored: to everyone, or as the map has it.
std::string exportsOf(std::map<std::string, std::string> own = {}) {
  std::string text;
  char block[4096];
  for (int i = 0; Nas1ShareList(i, 1, block, sizeof block) == 1; ++i) {
    const std::string name = reinterpret_cast<const ShareInfo*>(block)->name;
    text += "/volume/v1/" + name + "\t" + (own.contains(name) ? own[name] : "*(sync,rw,all_squash,anonuid=32767)\n");
  }
  return text;
}

// What one share adds to the exports, behind its path, with the result in front.
std::string written(const std::string& share) {
  char* bytes = nullptr;
  std::size_t size = 0;
  std::FILE* const stream = open_memstream(&bytes, &size);
  const int result = Process_Permitted_NFS(stream, share.c_str(), "/p");
  (void)std::fclose(stream);
  const std::string text(bytes, size);
  std::free(bytes);
  if (!text.empty()) {
    EXPECT_EQ("/p\t", text.substr(0, 3));
  }
  return std::to_string(result) + (text.empty() ? "" : " " + text.substr(3));
}

const std::string exportfs = "/usr/sbin/exportfs -ra";
const Lines unbind = {"/etc/init.d/ypbind stop"};
const Lines bind = {"/etc/init.d/ypbind start"};
const Lines rebind = unbind + bind;

Lines domainname(const std::string& domain) { return {"/usr/bin/domainname" + domain}; }

}  // namespace

TEST_F(Nfs, AShareIsExportedToItsHostsOrByDefault) {
  const std::string host = nfsEntry("h");
  const std::string rw = "-1 *(sync,rw,all_squash,anonuid=32767)\n", ro = "-1 *(sync,ro,all_squash,anonuid=32767)\n";
  const struct {
    const char* name;
    const char* privilege;
    std::string list, written;
  } cases[] = {
      // clang-format off
      {"no list, nobody", "", "", "-1"},
      {"no list, rw", "rw", "", rw},
      {"no list, RO", "RO", "", ro},
      {"mixed case", "Rw", "", "-1"},
      {"count without entries", "ro", nfsList(1, ""), ro},
      {"cut list", "ro", nfsList(1, host).substr(0, 39), ro},
      {"mask without NUL", "", nfsList(1, nfsEntry("h", 0x10, 0, 0, "255.255.255.2550")),
       "0 h/255.255.255.2550(sync,ro,no_all_squash,no_root_squash) \n"},
      {"to a group", "", nfsList(1, nfsEntry("h", 0x25, 5, 6)), "0 h(sync,rw,all_squash,anongid=6,anonuid=32767) \n"},
      {"two hosts", "", nfsList(2, nfsEntry("%s", 1) + nfsEntry("b", 2)),
       "0 %s(sync,rw,no_all_squash,no_root_squash) b(sync,ro,no_all_squash,root_squash) \n"},
      {"fewer than counted", "", nfsList(9, host + nfsEntrySized(0, "b")),
       "0 h(sync,ro,no_all_squash,no_root_squash) \n"},
      {"none that is whole", "rw", nfsList(1, nfsEntrySized(99, "b")), "-1"},
      // clang-format on
  };
  int row = 0;
  for (const auto& c : cases) {
    const std::string share = std::to_string(++row);
    storeText("NFS_EXPORT_PRIVILEGE", c.privilege);
    if (!c.list.empty()) setHosts(share, c.list);
    EXPECT_EQ(c.written, written(share)) << c.name;
  }
  // Without its file the list cannot be asked for.
  blockFile("/etc/admin/share_nfs.gdbm");
  EXPECT_EQ(rw, written("1"));
  storeText("NFS_EXPORT_PRIVILEGE", "");
  EXPECT_EQ("-1", written("1"));
}

TEST_F(Nfs, OnlyAddAndFullUpdateBringTheSnapshots) {
  for (const char* const name : {"first", "second"}) addShare(name);
  storeText("NFS_EXPORT_PRIVILEGE", "rw");
  setHosts("second", nfsList(1, nfsEntry("h", 1)));
  const std::string shares = exportsOf({{"second", "h(sync,rw,no_all_squash,no_root_squash) \n"}});
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
      {"nfsDbUpdate", nfsDbUpdate, true},
      {"nfsShareSetPermittedNfs", nfsShareSetPermittedNfs, false},
      {"nfsShareAdd", [] { return nfsShareAdd("n", "c", "p"); }, true},
      {"nfsShareDel", [] { return nfsShareDel("n"); }, false},
      {"nfsShareMod", [] { return nfsShareMod("n", "c", "p"); }, false},
  };
  std::string before = kBefore;
  for (const auto& c : cases) {
    EXPECT_EQ(Lines{exportfs}, commandsOf([&] { EXPECT_EQ(0, c.renew()) << c.name; })) << c.name;
    EXPECT_EQ(before, readFile("/etc/exports.bak")) << c.name;
    before = shares + (c.withSnapshots ? snapshots : "");
    EXPECT_EQ(before, readFile(kExports)) << c.name;
  }

  // Exports that cannot be written are logged and not exported.
  blockFile(kExports);
  const std::size_t ran = commands().size();
  Lines told;
  for (const auto& c : cases) {
    EXPECT_EQ(0, inChild([&] { EXPECT_EQ(-1, c.renew()) << c.name; }).exitCode) << c.name;
    told.push_back("<ERR>  [NFS]  " + std::string(c.name) + " failed!");
  }
  EXPECT_EQ(told, applianceMessages());
  EXPECT_EQ(ran, commands().size());
  (void)rmdir(kExports);
}

TEST_F(Nfs, WithoutSharesTheOldExportsStayInForce) {
  EXPECT_EQ(0, nfsShareDel("last"));
  EXPECT_EQ(kBefore, readFile(kExports));
  EXPECT_EQ(Lines{exportfs}, commands());
}

TEST_F(Nfs, ATableThatDoesNotFitOnTheDiskIsNotExported) {
  storeText("NFS_EXPORT_PRIVILEGE", "ro");
  const std::string deep = "/" + std::string(200, 'd');
  ASSERT_EQ(0, sysShareAdd("pub", "", ("/volume/v1" + deep + deep + deep).c_str()));
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
  storeText("NFS_EXPORT_PRIVILEGE", "rw");
  addShare("early");
  const int lock = open(kExports, O_RDWR | O_CLOEXEC);
  ASSERT_EQ(0, flock(lock, LOCK_EX));
  Processes other;
  other.start([=] {
    (void)close(lock);  // it would hold the lock as well
    EXPECT_EQ(0, Update_Export_Conf());
  });
  EXPECT_TRUE(comes([&] {
    const Lines locks = readLines("/proc/locks");
    const std::string waiting = " " + std::to_string(other.pids[0]) + " ";
    return std::any_of(locks.begin(), locks.end(), [&](const std::string& line) {
      return line.find("-> FLOCK") != std::string::npos && line.find(waiting) != std::string::npos;
    });
  }));
  EXPECT_EQ(kBefore, readFile(kExports));
  addShare("late");
  ASSERT_EQ(0, close(lock));
  EXPECT_EQ(0, other.failed());
  EXPECT_EQ(exportsOf(), readFile(kExports));
  EXPECT_NE(std::string::npos, exportsOf().find("late"));
}

TEST_F(Nfs, TheNisClientFollowsServerAndDomain) {
  constexpr char kFile[] = "/etc/yp.conf";
  EXPECT_EQ(Results(2, -1), (Results{nfsSave_nis_server_name("nis"), nfsSet_host_domain_name("domain")}));
  EXPECT_FALSE(exists(kFile)) << "no file, no client";
  EXPECT_EQ(Lines(), commands());

  const std::string old =
      "# first\ndomain\tx\tserver\ty\n\n #not a comment\n#" + std::string(3000, 'c') + "\nypserver z\n# last";
  storeText("NFS_DOMAIN_NAME", "old.domain");
  writeFile(kFile, old);
  EXPECT_EQ(domainname(" old.domain") + rebind, commandsOf([] { EXPECT_EQ(0, nfsSave_nis_server_name("192.0.2.5")); }));
  EXPECT_EQ("# first\n#" + std::string(1021, 'c') + "\n# last\ndomain\told.domain\tserver\t192.0.2.5\n",
            readFile(kFile));
  EXPECT_EQ(old, readFile("/etc/yp.conf.bak"));
  // Cleared by an empty domain given, but not by an empty one stored.
  writeFile(kFile, "");
  storeText("NFS_NIS_SERVER_NAME", "nis");
  EXPECT_EQ(domainname(" ") + rebind, commandsOf([] { EXPECT_EQ(0, nfsSet_host_domain_name("")); }));
  EXPECT_EQ("domain\t\tserver\tnis\n", readFile(kFile));
  storeText("NFS_DOMAIN_NAME", "");
  EXPECT_EQ(domainname("") + rebind, commandsOf([] { EXPECT_EQ(0, nfsSave_nis_server_name("")); }));

  // A file that cannot be written is restored.
  writeFile(kFile, "# kept\n");
  ASSERT_EQ(0, mount(kFile, kFile, nullptr, MS_BIND, nullptr));
  EXPECT_EQ(0, mount(nullptr, kFile, nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr));
  const ChildResult child = inChild([] { EXPECT_EQ(-1, nfsSet_host_domain_name("domain")); });
  EXPECT_EQ(0, child.exitCode) << child.output;
  EXPECT_EQ(0, umount(kFile));
  EXPECT_NE(std::string::npos, child.output.find(kFile)) << "the copy back was not tried: " << child.output;
  EXPECT_EQ("# kept\n", readFile(kFile));
}

TEST_F(Nfs, SettingsReachTheDaemonsByNumber) {
  const Lines stop = {"/etc/init.d/nfs stop"};
  const Lines start = stop + Lines{"/etc/init.d/nfs start"};
  const std::string on = bytesOf(1), off = bytesOf(0);
  const struct {
    const char* name;
    int id;
    std::string value;
    Lines ran;
  } cases[] = {
      {"off", 31, off, stop + unbind},
      {"share mode on", 22, on, rebind},
      {"server without its NUL", 8, "nis", domainname("") + rebind},
      {"on, empty domain", 31, on, start + unbind + domainname(" ") + bind},
      {"domain", 54, std::string("dom\0", 4), domainname(" dom") + rebind},
      {"a row of the key table", 25, on, {}},
  };
  writeFile("/etc/yp.conf", "");
  for (const auto& c : cases) {
    std::string value = c.value;
    EXPECT_EQ(c.ran,
              commandsOf([&] { EXPECT_EQ(0, Nas1SetConfig(c.id, static_cast<int>(value.size()), value.data())); }))
        << c.name;
  }
  EXPECT_EQ("domain\tdom\tserver\tnis\n", readFile("/etc/yp.conf"));

  // By name the row number arrives, and only the server's is also its id.
  EXPECT_EQ(domainname(" dom") + rebind,
            commandsOf([] { EXPECT_EQ(0, NasSetConfig("NFS_NIS_SERVER_NAME", 3, "ab")); }));
}
