#pragma once
// What a change of a key sets off. The back-ends above implement these; the first argument is the key's numeric id when
// they are called through the operations table and the key's row number when a named key changes. The two numberings
// agree for rows 0 to 12 only, and the back-ends react to whatever number arrives.

#pragma GCC visibility push(default)
extern "C" {
int cifsSetConfig(int id, int size, void* value);
int nfsSetConfig(int id, int size, void* value);
int ncpSetConfig(int id, int size, void* value);
int afpSetConfig(int id, int size, void* value);
int ftpSetConfig(int id, int size, void* value);
int snmpSetConfig(int id, int size, void* value);
}
#pragma GCC visibility pop
