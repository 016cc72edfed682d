// The operations table and the walks over it: what is called, in which order, and whose result counts.

// The table is hidden in the library; this program has one of its own.
#include "api/protocol_ops.cpp"

#include <array>

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

}  // namespace

TEST(Broadcast, OnlyTheSystemRowDecidesTheResult) {
  const ProtocolOps good = {.shareDel = ok};
  const ProtocolOps bad = {.shareDel = fail};
  const struct {
    const char* name;
    ProtocolOps rows[3];
    Stop stop;
    int batch, result;
    const char* calls;
  } cases[] = {
      {"all succeed", {good, good, good}, Stop::never, 0, 0, "ok ok ok "},
      {"a daemon fails", {good, bad, good}, Stop::never, 0, 0, "ok fail ok "},
      {"the database fails", {bad, good, good}, Stop::never, 0, -1, "fail ok ok "},
      {"empty slots", {{}, bad, {}}, Stop::never, 0, 0, "fail "},
      {"a batch does not stop every walk", {good, good, good}, Stop::never, 1, 0, "ok ok ok "},
      {"no batch to stop for", {good, good, good}, Stop::onShareBatch, 0, 0, "ok ok ok "},
      {"a batch by any number", {bad, good, good}, Stop::onShareBatch, -7, -1, "fail "},
      {"a batch stops behind the first call", {{}, good, good}, Stop::onShareBatch, 1, 0, "ok "},
  };
  for (const auto& c : cases) {
    shareBatch = c.batch;
    calls.clear();
    EXPECT_EQ(c.result, broadcast(c.rows, &ProtocolOps::shareDel, c.stop, "name")) << c.name;
    EXPECT_EQ(c.calls, calls) << c.name;
  }
  shareBatch = 0;
}

// Every slot holds the function of its row and its own name, or nothing: a line per row, a column per slot.
TEST(Operations, RowsAreWiredAsTheGridSays) {
  // clang-format off
  const std::string slots[] = {
      "Restart", "DbUpdate", "ShareAdd", "ShareDel", "ShareMod", "ListConnection", "NetDisconnect", "SetConfig",
      "SysEvent", "GetGroupList", "GetUserList", "ListGroups", "ListMembers", "GetUserPasswd", "SetUserPasswd",
      "GetUserListFrom", "GetUserListCountIn", "ShowUserListIn", "GetGroupListFrom", "GetGroupListCountIn",
      "ShowGroupListIn"};
  // clang-format on
  constexpr std::size_t kFirstRemote = 15;
  const struct {
    std::string prefix;
    const char* remote;  // what the row calls its remote server
    const char* grid;
  } rows[PROTO_COUNT] = {
      {"sys", "", "x.xxx..x.xxxxxx......"},  {"cifs", "PDC", "xxxxx.xx.xx....xxxxxx"},
      {"nfs", "", "xxxxx..xx............"},  {"ncp", "Bindery", "x.xxxxxxxxx....xxxxxx"},
      {"afp", "", "xxxxxxxxx............"},  {"ftp", "", "x......x............."},
      {"snmp", "", "x......x............."},
  };
  for (std::size_t row = 0; row < std::size(rows); ++row) {
    std::array<void*, std::size(slots)> functions;
    std::memcpy(functions.data(), &protocolOps[row], sizeof functions);
    for (std::size_t slot = 0; slot < std::size(slots); ++slot) {
      const char* const remote = slot < kFirstRemote ? "" : rows[row].remote;
      Dl_info found = {};
      if (functions[slot] != nullptr) (void)dladdr(functions[slot], &found);
      EXPECT_EQ(rows[row].grid[slot] == 'x' ? rows[row].prefix + slots[slot] + remote : "",
                found.dli_sname == nullptr ? "" : found.dli_sname)
          << "row " << row << ", slot " << slot;
    }
  }
}
