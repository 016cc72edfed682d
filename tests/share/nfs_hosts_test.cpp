// NFS host lists: what stands in the record file, what callers get back, and that no record can lead a reader astray.

#include "share/nfs_hosts.h"

#include "share/nfs_entry.h"

namespace {

class NfsHosts : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    writeFile("/etc/exports", "before\n");
  }
  // What the size query says: "result count bytes", from words that it has to overwrite.
  static std::string asked(const char* share) {
    int count = 77;
    int bytes = 77;
    const int result = Nas1ShareGetPermittedNfsSize(share, &count, &bytes);
    return std::to_string(result) + " " + std::to_string(count) + " " + std::to_string(bytes);
  }
  // The entries read into a buffer of exactly `size` bytes, so that a byte too many is found out.
  static std::string listed(int count, int size, int expected) {
    std::string out(static_cast<std::size_t>(size), '#');
    EXPECT_EQ(expected, Nas1ShareGetPermittedNfs("docs", count, out.data(), size)) << count << " in " << size;
    return out;
  }
};

}  // namespace

TEST_F(NfsHosts, AListIsStoredByteByByteAndReplaced) {
  const std::string first = nfsEntry("client.example.org", 0x55, 1000, 100, "255.255.0.0");
  const std::string second = nfsEntry("192.0.2.77", 0x03);
  EXPECT_EQ(0, Nas1ShareSetPermittedNfs("docs", 2, (first + second).data()));
  EXPECT_EQ(nfsList(2, first + second), storedRecord("share_nfs.gdbm", "docs"));
  EXPECT_EQ("0 2 " + std::to_string(first.size() + second.size()), asked("docs"));
  EXPECT_EQ(0, Nas1ShareSetPermittedNfs("docs", 0, second.data()));
  EXPECT_EQ(nfsList(0, ""), storedRecord("share_nfs.gdbm", "docs"));
  EXPECT_EQ("0 0 0", asked("docs"));
  EXPECT_EQ("0 0 0", asked("never listed"));
}

TEST_F(NfsHosts, OnlyWholeEntriesAreRead) {
  const std::string first = nfsEntry("alpha");
  const std::string second = nfsEntry("a longer name");
  const int one = static_cast<int>(first.size());
  const int both = one + static_cast<int>(second.size());
  ASSERT_EQ(0, Nas1ShareSetPermittedNfs("docs", 2, (first + second).data()));
  EXPECT_EQ(first + second + std::string(5, '\0'), listed(9, both + 5, 2));
  EXPECT_EQ(first + std::string(second.size() - 1, '\0'), listed(2, both - 1, 1));
  EXPECT_EQ(first + std::string(second.size(), '\0'), listed(1, both, 1));
  EXPECT_EQ(std::string(first.size() - 1, '\0'), listed(2, one - 1, 0));
}

TEST_F(NfsHosts, WhatIsNoListIsRefused) {
  const std::string good = nfsEntry("alpha");
  ASSERT_EQ(0, Nas1ShareSetPermittedNfs("docs", 1, good.data()));
  const auto size = static_cast<std::uint32_t>(good.size());
  for (const std::uint32_t bad : {0U, 32U, size - 1})
    EXPECT_EQ(-1, Nas1ShareSetPermittedNfs("docs", 2, (good + nfsEntrySized(bad, "alpha")).data())) << bad;
  for (const int count : {-1, INT32_MIN}) EXPECT_EQ(0, Nas1ShareSetPermittedNfs("docs", count, good.data()));
  EXPECT_EQ(-1, Nas1ShareSetPermittedNfs("", 1, good.data()));
  EXPECT_EQ(nfsList(1, good), storedRecord("share_nfs.gdbm", "docs"));
  EXPECT_EQ(Lines{"docs"}, storedKeys("share_nfs.gdbm"));
}

TEST_F(NfsHosts, DamagedRecordsAreNeverReadPastTheirEnd) {
  const std::string good = nfsEntry("alpha");
  const auto size = static_cast<std::uint32_t>(good.size());
  const std::string one = "0 1 " + std::to_string(size);
  const struct {
    const char* name;
    std::string record, asked;
    int listed;
  } cases[] = {
      {"negative count", nfsList(-1, good), "-1 77 77", 0},
      {"count too large", nfsList(0x7FFFFFFF, good), "0 2147483647 " + std::to_string(size), 1},
      {"size 0", nfsList(2, good + nfsEntrySized(0, "beta")), "0 2 " + std::to_string(2 * size - 1), 1},
      {"size past the record", nfsList(1, nfsEntrySized(size + 1, "alpha")), one, 0},
      {"size wraps", nfsList(1, nfsEntrySized(0xFFFFFFFF, "alpha")), one, 0},
      {"host without NUL", nfsList(1, nfsEntrySized(size - 1, "alpha")), one, 0},
      {"more than counted", nfsList(1, good + good), "0 1 " + std::to_string(2 * size), 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    storeRecord("share_nfs.gdbm", "docs", c.record);
    EXPECT_EQ(c.asked, asked("docs"));
    (void)listed(100, 200, c.listed);
  }
  const std::string whole = nfsList(2, good + good);
  for (std::size_t cut = 0; cut < whole.size(); ++cut) {
    storeRecord("share_nfs.gdbm", "docs", whole.substr(0, cut));
    EXPECT_EQ(cut < 40 ? -1 : 0, Nas1ShareGetPermittedNfsSize("docs", nullptr, nullptr)) << cut;
    (void)listed(2, 200, cut < 40 + good.size() ? 0 : 1);
  }
  blockFile("/etc/admin/share_nfs.gdbm");
  EXPECT_EQ("-1 77 77", asked("docs"));
  (void)listed(1, 64, 0);
  EXPECT_EQ(-1, Nas1ShareSetPermittedNfs("docs", 1, good.data()));
  EXPECT_EQ(Lines(), commands());
}
