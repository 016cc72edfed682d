#include "shares.h"

#include <nas1api.h>
#include <strings.h>

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "output.h"
#include "record_files.h"

// Reads the block at the start of `bytes`, of which `room` are there.
static Share shareOf(const char* bytes, std::size_t room) {
  ShareInfo head;
  std::memcpy(&head, bytes, sizeof head);
  const std::size_t pathAt = offsetof(ShareInfo, path);
  const std::size_t end = std::min<std::size_t>(head.size, room);
  return {fieldText(head.name, sizeof head.name), fieldText(head.comment, sizeof head.comment),
          end > pathAt ? fieldText(bytes + pathAt, end - pathAt) : ""};
}

std::optional<Share> findShare(const std::string& name) {
  const int size = Nas1GetShareInfoSize(name.c_str());
  if (size < static_cast<int>(sizeof(ShareInfo))) return std::nullopt;
  std::vector<char> block(static_cast<std::size_t>(size));
  if (Nas1GetShareInfo(name.c_str(), block.data(), size) != 0) return std::nullopt;
  return shareOf(block.data(), block.size());
}

std::vector<Share> allShares() {
  int count = 0;
  int bytes = 0;
  (void)Nas1ShareCountSize(&count, &bytes);
  std::vector<char> blocks(static_cast<std::size_t>(std::max(bytes, 0)));
  const int listed = Nas1ShareList(0, count, blocks.data(), bytes);
  std::vector<Share> shares;
  std::size_t at = 0;
  for (int i = 0; i < listed && blocks.size() - at >= sizeof(ShareInfo); ++i) {
    std::uint32_t size;
    std::memcpy(&size, blocks.data() + at, sizeof size);
    if (size < sizeof(ShareInfo) || size > blocks.size() - at) break;
    shares.push_back(shareOf(blocks.data() + at, size));
    at += size;
  }
  std::sort(shares.begin(), shares.end(), [](const Share& a, const Share& b) { return a.name < b.name; });
  return shares;
}

ExitCode complainOfNamesake(const std::string& name, const std::string& namesake) {
  return complain(UNSAFE_VALUE,
                  "the name %s differs from that of the share %s in case alone, and Samba would take them for one; "
                  "choose another name, or give --allow-unsafe",
                  name.c_str(), namesake.c_str());
}

ExitCode checkNamesake(const std::string& name, bool allowUnsafe) {
  if (allowUnsafe) return DONE;
  const std::vector<Share> shares = allShares();
  const auto namesake = std::find_if(shares.begin(), shares.end(), [&](const Share& share) {
    return share.name != name && strcasecmp(share.name.c_str(), name.c_str()) == 0;
  });
  if (namesake == shares.end()) return DONE;
  return complainOfNamesake(name, namesake->name);
}

ExitCode checkWayTo(const std::string& path) {
  std::filesystem::path way;
  std::error_code ignored;
  for (const std::filesystem::path& part : std::filesystem::path(path)) {
    way /= part;
    // A symbolic link that leads nowhere is in the way, too.
    if (!exists(symlink_status(way, ignored)) || is_directory(way, ignored)) continue;
    return complain(REFUSED, "the folder %s cannot be made: %s is there and is no folder; choose another path",
                    path.c_str(), way.c_str());
  }
  return DONE;
}

ExitCode checkFolderOf(const std::string& name, const std::string& path) {
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored)) return DONE;
  return complain(LIBRARY_FAILED, "the share %s is there, but its folder %s could not be made", name.c_str(),
                  path.c_str());
}

void tellOfLeftExports() {
  std::error_code fault;
  const auto bytes = std::filesystem::file_size("/etc/exports", fault);
  int count = 0;
  (void)Nas1ShareCountSize(&count, nullptr);
  if (fault || bytes == 0 || count > 0) return;
  tell(
      "no share is left, but /etc/exports and AppleTalk's volume list still hold the last ones, until there is a share "
      "again or nas1 verify --repair empties them");
}

ExitCode noSuchShare(const std::string& name) {
  if (const ExitCode fault = checkRecordFile(kShareFile, Use::read); fault != DONE) return fault;
  return complain(UNKNOWN_OBJECT, "there is no share %s; nas1 share list shows them", name.c_str());
}
