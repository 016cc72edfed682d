#include "db_archive.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace {

constexpr char kFirstLine[] = "nas1 backup 1";

constexpr std::array<std::uint32_t, 256> crcTable = [] {
  std::array<std::uint32_t, 256> table = {};
  for (std::uint32_t i = 0; i < table.size(); ++i) {
    table[i] = i;
    for (int bit = 0; bit < 8; ++bit) table[i] = table[i] >> 1 ^ (table[i] & 1 ? 0xEDB88320 : 0);
  }
  return table;
}();

std::string checksum(std::string_view bytes) {
  std::uint32_t crc = ~0U;
  for (const char c : bytes) crc = crcTable[(crc ^ static_cast<unsigned char>(c)) & 0xFF] ^ crc >> 8;
  char digits[9];
  (void)std::snprintf(digits, sizeof digits, "%08x", ~crc);
  return digits;
}

// What is left of an archive; taking more than there is fails for good.
struct Reader {
  std::string_view left;

  bool take(std::size_t bytes, std::string& out) {
    if (bytes > left.size()) return false;
    out = left.substr(0, bytes);
    left.remove_prefix(bytes);
    return true;
  }
  bool takeLine(std::string& line) {
    const std::size_t end = left.find('\n');
    if (end == std::string_view::npos) return false;
    line = left.substr(0, end);
    left.remove_prefix(end + 1);
    return true;
  }
};

bool parseNumber(std::string_view digits, std::size_t& number) {
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return error == std::errc() && end == digits.data() + digits.size();
}

// Takes "A B" apart.
bool splitInTwo(std::string_view line, std::string_view& a, std::string_view& b) {
  const std::size_t blank = line.find(' ');
  if (blank == std::string_view::npos) return false;
  a = line.substr(0, blank);
  b = line.substr(blank + 1);
  return true;
}

bool takeRecord(Reader& reader, Records& records) {
  std::string line;
  std::string_view keyDigits;
  std::string_view valueDigits;
  std::size_t keyBytes = 0;
  std::size_t valueBytes = 0;
  const bool isHead = reader.takeLine(line) && splitInTwo(line, keyDigits, valueDigits) &&
                      parseNumber(keyDigits, keyBytes) && parseNumber(valueDigits, valueBytes);
  std::string key;
  std::string value;
  if (!isHead || !reader.take(keyBytes, key) || !reader.take(valueBytes, value)) return false;
  return records.emplace(std::move(key), std::move(value)).second;
}

RecordSet* setNamed(std::vector<RecordSet>& sets, std::string_view name) {
  const auto found =
      std::find_if(sets.begin(), sets.end(), [&](const RecordSet& s) { return shortName(*s.file) == name; });
  return found == sets.end() || found->exists ? nullptr : &*found;
}

bool takeFile(Reader& reader, std::string_view line, std::vector<RecordSet>& sets) {
  std::string_view word;
  std::string_view rest;
  std::string_view name;
  std::string_view digits;
  std::size_t count = 0;
  const bool isHead =
      splitInTwo(line, word, rest) && word == "file" && splitInTwo(rest, name, digits) && parseNumber(digits, count);
  RecordSet* const set = isHead ? setNamed(sets, name) : nullptr;
  if (set == nullptr) return false;
  set->exists = true;
  for (; count > 0; --count) {
    if (!takeRecord(reader, set->records)) return false;
  }
  return true;
}

bool writeAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(fd, bytes.data(), bytes.size());
    if (written < 0 && errno != EINTR) return false;
    if (written > 0) bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

}  // namespace

std::string archiveOf(const std::vector<RecordSet>& sets) {
  std::string archive = std::string(kFirstLine) + "\n";
  for (const RecordSet& set : sets) {
    if (!set.exists) continue;
    archive += "file " + shortName(*set.file) + " " + std::to_string(set.records.size()) + "\n";
    for (const auto& [key, value] : set.records) {
      archive += std::to_string(key.size()) + " " + std::to_string(value.size()) + "\n";
      archive += key;
      archive += value;
    }
  }
  return archive + "end " + checksum(archive) + "\n";
}

bool readArchive(const std::string& archive, std::vector<RecordSet>& sets, std::string& fault) {
  sets.clear();
  for (const RecordFileEntry& file : recordFiles)
    sets.push_back({.file = &file, .exists = false, .fault = {}, .records = {}});
  Reader reader{archive};
  std::string line;
  if (!reader.takeLine(line) || line != kFirstLine) {
    fault = "it is no backup of this kind";
    return false;
  }
  // The checksum first: only then does what is in there mean anything.
  const std::string end = "end " + checksum(std::string_view(archive).substr(0, archive.rfind("end "))) + "\n";
  if (!archive.ends_with(end)) {
    fault = "it is cut or was changed: its checksum does not fit";
    return false;
  }
  reader.left.remove_suffix(end.size());
  while (!reader.left.empty()) {
    if (reader.takeLine(line) && takeFile(reader, line, sets)) continue;
    fault = "it holds something that this version does not know";
    return false;
  }
  return true;
}

ExitCode writeAtomically(const std::string& path, const std::string& content) {
  std::string temporary = path + ".XXXXXX";
  OpenFile file(mkostemp(temporary.data(), O_CLOEXEC));
  if (file.fd < 0) return complain(LIBRARY_FAILED, "%s cannot be written: %s", path.c_str(), std::strerror(errno));
  const bool written =
      writeAll(file.fd, content) && fsync(file.fd) == 0 && rename(temporary.c_str(), path.c_str()) == 0;
  if (written) return DONE;
  const int reason = errno;
  (void)unlink(temporary.c_str());
  return complain(LIBRARY_FAILED, "%s cannot be written: %s", path.c_str(), std::strerror(reason));
}
