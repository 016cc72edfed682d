#pragma once
// The driver of a throw-away copy: answers every request with 0 and notes it down.

#include <poll.h>

#include <string>
#include <vector>

struct CopyDriver {
  std::vector<pollfd> sockets;  // the listening one first
  std::vector<std::string> requests;

  // False with errno set when it cannot listen there.
  bool listenAt(const std::string& path);
  // Answers until the process that `watched` (a pidfd) stands for has ended.
  void serve(int watched);
  ~CopyDriver();
};
