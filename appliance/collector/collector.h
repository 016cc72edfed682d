#pragma once
// Collects what programs in the appliance send to the system log.

// Returns the socket /dev/log is answered on, or -1 with errno set.
int collectorListen(const char* path);

// Writes one waiting message to /var/log/appliance/syslog; false when none is waiting.
bool collectorTake(int socket);
