#include "backends/name_list_file.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

static constexpr char kUnit[] = "name_list_file.cpp";
static_assert(kListLineSize <= kListNameSize);

bool readListLine(std::FILE* file, char* line) {
  int c = std::getc(file);
  if (c == EOF) return false;
  int length = 0;
  for (; c != '\n' && c != EOF; c = std::getc(file)) {
    if (length < kListLineSize - 1) line[length++] = static_cast<char>(c);
  }
  line[length] = '\0';
  return true;
}

namespace {

// A list file being read, just behind its first line.
struct ListFile {
  std::FILE* const file;
  int count = 0;  // what the first line says

  explicit ListFile(const char* path) : file(std::fopen(path, "re")) {
    char line[kListLineSize];
    if (file != nullptr && readListLine(file, line)) count = std::max(std::atoi(line), 0);
  }
  ~ListFile() {
    if (file != nullptr) (void)std::fclose(file);
  }
  ListFile(const ListFile&) = delete;
  ListFile& operator=(const ListFile&) = delete;
};

// How many names a file has, as far as its first line announces them.
int presentNames(const char* path) {
  const ListFile list(path);
  char line[kListLineSize];
  int present = 0;
  while (list.file != nullptr && present < list.count && readListLine(list.file, line)) ++present;
  return present;
}

}  // namespace

int nameListCount(const char* path, int missing) {
  const ListFile list(path);
  return list.file == nullptr ? missing : list.count;
}

bool nameListShow(const char* path, char** names) {
  const ListFile list(path);
  if (list.file == nullptr) {
    names[0] = nullptr;
    return false;
  }
  for (int i = 0; i < list.count; ++i) {
    if (!readListLine(list.file, names[i])) names[i][0] = '\0';
  }
  return true;
}

NameList::NameList(const char* path)
    : count(presentNames(path)),
      block(kUnit, __LINE__, static_cast<std::size_t>(count) * (sizeof(char*) + kListLineSize)),
      names(static_cast<char**>(block.data)) {
  if (names == nullptr) {
    count = 0;
    return;
  }
  // One block: the pointers, then the names they point to.
  char* name = reinterpret_cast<char*>(names + count);
  const ListFile list(path);
  int present = 0;
  for (; list.file != nullptr && present < count && readListLine(list.file, name); ++present, name += kListLineSize) {
    names[present] = name;
  }
  count = present;
}
