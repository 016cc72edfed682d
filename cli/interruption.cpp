#include "interruption.h"

#include <ctime>

Interruption::Interruption() {
  (void)sigemptyset(&waiting);
  (void)sigaddset(&waiting, SIGINT);
  (void)sigprocmask(SIG_BLOCK, &waiting, &before);
}

Interruption::~Interruption() { (void)sigprocmask(SIG_SETMASK, &before, nullptr); }

bool Interruption::hasCome() const {
  const timespec atOnce = {};
  return sigtimedwait(&waiting, nullptr, &atOnce) == SIGINT;
}
