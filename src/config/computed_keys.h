#pragma once
// Keys that are not plain records: read live from the system, or stored with a condition. Handlers of the key table.

struct ConfigKeyEntry;

// Getters: (key, size, buffer, lengthOut), 0 or -1.
int getLiveInterface(const char* key, int size, void* buffer, int* lengthOut);   // ETHERNET_ADDRESS_n, CURRENT_...
int getSensor(const char* key, int size, void* buffer, int* lengthOut);          // CPU_SPEED, CPU_VOLTAGE, CPU_THERMAL
int getVersionRecord(const char* key, int size, void* buffer, int* lengthOut);   // NAS_VERSION
int getLvmInstalled(const char* key, int size, void* buffer, int* lengthOut);    // LVM_ENABLED
int getResolver(const char* key, int size, void* buffer, int* lengthOut);        // IP_DNS
int getHardwareStatus(const char* key, int size, void* buffer, int* lengthOut);  // HW_EVENT_STATUS
int getFileSystemStatus(const char* key, int size, void* buffer, int* lengthOut);  // FILESYSTEM_STATUS
int getSystemId(const char* key, int size, void* buffer, int* lengthOut);          // SYSTEM_ID

// The gateway of the first default route of the routing table; implemented beside the other network readers.
int getDefaultGateway(int size, void* buffer, int* lengthOut);

// Fallbacks of keys that were never stored.
int serverNameFromAddress(const char* key, int size, void* buffer, int* lengthOut);
int adminPasswordInstead(const char* key, int size, void* buffer, int* lengthOut);

// Setters: (key, size, value, table), 0 or -1.
int setCifsServerName(const char* key, int size, const void* value, const ConfigKeyEntry* table);
int setNcpServerName(const char* key, int size, const void* value, const ConfigKeyEntry* table);
int setResolver(const char* key, int size, const void* value, const ConfigKeyEntry* table);
int setHardwareStatus(const char* key, int size, const void* value, const ConfigKeyEntry* table);
int setFileSystemStatus(const char* key, int size, const void* value, const ConfigKeyEntry* table);
int setSystemId(const char* key, int size, const void* value, const ConfigKeyEntry* table);
