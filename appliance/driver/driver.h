#pragma once
// Stand-in for the appliance driver: answers the requests that arrive on the socket /dev/nas1.

// Returns the listening socket, or -1 with errno set.
int driverListen(const char* path);

// Takes a waiting connection; -1 when there is none.
int driverAccept(int listener);

// Answers one request of a connection; false when its caller has gone.
bool driverAnswer(int connection);
