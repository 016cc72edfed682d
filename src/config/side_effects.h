#pragma once
// Settings that act on the system besides being stored: the time zone tool, the NTP daemon, the administrator password,
// the network scripts and switches of the driver. Their numeric setters stand in config/handlers.h; these are the hooks
// that a named change runs after the store: (row of the key table, size, value), results ignored by the caller.

int notifyDirectPing(int row, int size, void* value);
int notifyNtpEnabled(int row, int size, void* value);
int notifyNtpServer(int row, int size, void* value);
int notifyAdminPassword(int row, int size, void* value);
int notifyRaidSyncSkip(int row, int size, void* value);
int notifySnapshotThreshold(int row, int size, void* value);
