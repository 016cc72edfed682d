// The operations table and the walks over it: what is called, in which order, and whose result counts.

// The table is hidden in the library; this program has one of its own.
#include "api/protocol_ops.cpp"

#include <array>
#include <cstring>

#include <dlfcn.h>

#include "frame/appliance.h"

namespace {

std::string calls;

int ok(const char* /*name*/) {
  calls += "ok ";
  return 1;
}
int fail(const char* /*name*/) {
  calls += "fail ";
  return -2;
}

struct BatchFlag {
  explicit BatchFlag(int on) { shareBatch = on; }
  ~BatchFlag() { shareBatch = 0; }
  BatchFlag(const BatchFlag&) = delete;
  BatchFlag& operator=(const BatchFlag&) = delete;
};

}  // namespace

TEST(Broadcast, OnlyTheSystemRowDecidesTheResult) {
  const ProtocolOps rowOk = {.shareDel = ok};
  const ProtocolOps rowFail = {.shareDel = fail};
  const struct {
    const char* name;
    ProtocolOps rows[3];
    Stop stop;
    int batch;
    int result;
    const char* calls;
  } cases[] = {
      {"all succeed", {rowOk, rowOk, rowOk}, Stop::never, 0, 0, "ok ok ok "},
      {"a daemon fails", {rowOk, rowFail, rowOk}, Stop::never, 0, 0, "ok fail ok "},
      {"the database fails", {rowFail, rowOk, rowOk}, Stop::never, 0, -1, "fail ok ok "},
      {"an empty slot", {rowOk, {}, rowOk}, Stop::never, 0, 0, "ok ok "},
      {"no system row", {{}, rowFail, rowOk}, Stop::never, 0, 0, "fail ok "},
      {"no row at all", {{}, {}, {}}, Stop::never, 0, 0, ""},
      {"a batch does not stop every walk", {rowOk, rowOk, rowOk}, Stop::never, 1, 0, "ok ok ok "},
      {"no batch to stop for", {rowOk, rowOk, rowOk}, Stop::onShareBatch, 0, 0, "ok ok ok "},
      {"a batch", {rowOk, rowOk, rowOk}, Stop::onShareBatch, 1, 0, "ok "},
      {"a batch by any number", {rowOk, rowOk, rowOk}, Stop::onShareBatch, -7, 0, "ok "},
      {"a batch whose database fails", {rowFail, rowOk, rowOk}, Stop::onShareBatch, 1, -1, "fail "},
      {"a batch stops behind the first call", {{}, rowOk, rowOk}, Stop::onShareBatch, 1, 0, "ok "},
  };
  for (const auto& c : cases) {
    const BatchFlag batch(c.batch);
    calls.clear();
    EXPECT_EQ(c.result, broadcast(c.rows, &ProtocolOps::shareDel, c.stop, "name")) << c.name;
    EXPECT_EQ(c.calls, calls) << c.name;
  }
}

// Every slot holds the function of its row and its own name, or nothing: a line per row, a column per slot.
TEST(Operations, RowsAreWiredAsTheGridSays) {
  constexpr const char* slots[] = {
      "Restart",         "DbUpdate",           "ShareAdd",       "ShareDel",         "ShareMod",
      "ListConnection",  "NetDisconnect",      "SetConfig",      "SysEvent",         "GetGroupList",
      "GetUserList",     "ListGroups",         "ListMembers",    "GetUserPasswd",    "SetUserPasswd",
      "GetUserListFrom", "GetUserListCountIn", "ShowUserListIn", "GetGroupListFrom", "GetGroupListCountIn",
      "ShowGroupListIn"};
  const struct {
    const char* prefix;
    const char* remote;  // what the row calls its remote server
    const char* grid;
  } rows[PROTO_COUNT] = {
      {"sys", "", "x.xxx..x.xxxxxx......"},  {"cifs", "PDC", "xxxxx.xx.xx....xxxxxx"},
      {"nfs", "", "xxxxx..xx............"},  {"ncp", "Bindery", "x.xxxxxxxxx....xxxxxx"},
      {"afp", "", "xxxxxxxxx............"},  {"ftp", "", "x......x............."},
      {"snmp", "", "x......x............."},
  };
  constexpr std::size_t kFirstRemote = 15;
  for (std::size_t row = 0; row < std::size(rows); ++row) {
    std::array<void*, std::size(slots)> functions;
    static_assert(sizeof functions == sizeof(ProtocolOps));
    std::memcpy(functions.data(), &protocolOps[row], sizeof functions);
    for (std::size_t slot = 0; slot < std::size(slots); ++slot) {
      std::string expected;
      if (rows[row].grid[slot] == 'x') {
        expected = rows[row].prefix + std::string(slots[slot]) + (slot >= kFirstRemote ? rows[row].remote : "");
      }
      Dl_info found = {};
      if (functions[slot] != nullptr) (void)dladdr(functions[slot], &found);
      EXPECT_EQ(expected, found.dli_sname == nullptr ? "" : found.dli_sname) << "row " << row << ", slot " << slot;
    }
  }
}
