// The one way in which the library runs shell commands, and the probe for optional services that uses it.

#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "api/nas1api.h"
#include "core/assert.h"
#include "core/memory.h"

extern "C" char** environ;

static constexpr char kUnit[] = "nas1api.c";
static constexpr int kFirstClosedDescriptor = 3;
static constexpr int kLastClosedDescriptor = 19;
static constexpr int kNotStarted = 127;
static constexpr std::size_t kServiceNameSize = 512;

// Starts "sh -c text" without record files and devices open in it; the child shares this process's memory until exec,
// so the cost does not grow with the caller. Returns 0 or the error.
static int spawnShell(pid_t* child, char* text) {
  posix_spawn_file_actions_t actions;
  int error = posix_spawn_file_actions_init(&actions);
  if (error != 0) return error;
  for (int fd = kFirstClosedDescriptor; fd <= kLastClosedDescriptor && error == 0; ++fd) {
    error = posix_spawn_file_actions_addclose(&actions, fd);
  }
  // A process that may open fewer descriptors than that has none of the others.
  if (error == EBADF) error = 0;
  char name[] = "sh";
  char option[] = "-c";
  char* const arguments[] = {name, option, text, nullptr};
  if (error == 0) error = posix_spawn(child, "/bin/sh", &actions, nullptr, arguments, environ);
  (void)posix_spawn_file_actions_destroy(&actions);
  return error;
}

extern "C" int Nas1System(const char* command) {
  if (command == nullptr) return -1;
  const std::size_t size = 2 * std::strlen(command) + 24;
  const TrackedBuffer text(kUnit, __LINE__, size);
  if (text.data == nullptr) return kNotStarted;
  (void)std::snprintf(text.text(), size, "%s > /dev/null", command);

  pid_t child = 0;
  const int error = spawnShell(&child, text.text());
  // Only these two say that there was no child; everything else is a shell that could not be executed.
  if (error == EAGAIN || error == ENOMEM) return -1;
  if (error != 0) return kNotStarted;

  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  return status >> 8;
}

extern "C" int NasGetServiceInstall(const char* service) {
  if (service == nullptr) sysAssert(kUnit, __LINE__);
  if (std::strlen(service) >= kServiceNameSize) sysAssert(kUnit, __LINE__);
  char command[kServiceNameSize + 128];
  (void)std::snprintf(command, sizeof command,
                      "cat /etc/service.zelmar | grep '^%s' | awk -F '=' '{print $2}' | grep 'yes' > /dev/null",
                      service);
  return Nas1System(command) == 0 ? 1 : 0;
}
