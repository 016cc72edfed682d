// nas1 status: the appliance on one page. nas1 shutdown: its end for today.

#include <nas1api.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <string>
#include <vector>

#include "calls.h"
#include "confirm.h"
#include "deferred_mails.h"
#include "events.h"
#include "log_reader.h"
#include "nouns.h"
#include "output.h"
#include "record_files.h"

namespace {

constexpr std::size_t kLogLines = 5;
constexpr std::size_t kTimeLength = 24;

constexpr int kSnmpState = 80;  // it has a number and no name

struct Service {
  const char* name;     // also in the list of what is installed
  const char* enabled;  // null: SNMP's
  int protocol;         // whose connections are counted; PROTO_COUNT for none
};

constexpr Service services[] = {
    {"cifs", "CIFS_ENABLED", PROTO_CIFS}, {"nfs", "NFS_ENABLED", PROTO_NFS},   {"ncp", "NCP_ENABLED", PROTO_NCP},
    {"afp", "AFP_ENABLED", PROTO_AFP},    {"ftp", "FTP_ENABLED", PROTO_COUNT}, {"snmp", nullptr, PROTO_COUNT},
};

bool yes = false;
Output output;

std::string stateOf(const Service& service) {
  if (NasGetServiceInstall(service.name) == 0) return "not installed";
  int state = 0;
  if (service.enabled == nullptr) {
    (void)Nas1GetConfig(kSnmpState, sizeof state, &state, nullptr);
  } else {
    (void)NasGetConfig(service.enabled, sizeof state, &state, nullptr);
  }
  return state == 1 ? "on" : "off";
}

std::vector<std::string> lastLogLines() {
  LogReader reader;
  (void)readOn(reader);
  std::vector<std::string> lines = takeLines(reader);
  lines.erase(lines.begin(), lines.end() - static_cast<std::ptrdiff_t>(std::min(lines.size(), kLogLines)));
  return lines;
}

void addEvents(Listing& listing, const char* section, std::uint32_t mask) {
  for (unsigned code = 0; code < EVENT_COUNT; ++code) {
    if (hasBit(mask, code)) listing.rows.push_back({section, std::to_string(code), events[code].meaning});
  }
}

ExitCode show() {
  if (const ExitCode fault = checkRecordFile(kSystemFile, Use::read); fault != DONE) return fault;
  Listing listing = {"status", {"section", "item", "value"}, {}};
  for (const Service& service : services) listing.rows.push_back({"service", service.name, stateOf(service)});
  for (const Service& service : services) {
    if (service.protocol == PROTO_COUNT) continue;
    listing.rows.push_back(
        {"connections", service.name, std::to_string(std::max(Nas1ConnectionCount(service.protocol), 0))});
  }
  addEvents(listing, "event", readMask("HW_EVENT_STATUS"));
  addEvents(listing, "waiting mail", deferred::pending());
  for (const std::string& line : lastLogLines()) {
    const std::size_t at = std::min(kTimeLength, line.size());
    const std::size_t message = std::min(kTimeLength + 1, line.size());
    listing.rows.push_back({"log", line.substr(0, at), line.substr(message)});
  }
  return printListing(output, listing);
}

ExitCode shutDown() {
  tell("the appliance goes down now");
  if (!isConfirmed(yes)) return complain(REFUSED, "it stays up");
  if (isOnlyShown("Nas1Shutdown", {})) return DONE;
  if (Nas1Shutdown() < 0) return complain(LIBRARY_FAILED, "the driver behind /dev/nas1 did not take the request");
  return DONE;
}

}  // namespace

void registerStatus(CLI::App& noun, ExitCode& result) {
  output = {};
  addOutputOptions(noun, output);
  noun.callback([&result] { result = show(); });
}

void registerShutdown(CLI::App& noun, ExitCode& result) {
  yes = false;
  noun.add_flag("--yes", yes, "Do not ask");
  addDryRunOption(noun);
  noun.callback([&result] { result = shutDown(); });
}
