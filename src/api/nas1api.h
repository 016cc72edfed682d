#ifndef NAS1API_H
#define NAS1API_H
/* libnas1api: shares, accounts, configuration, connections, events and status of one network-attached storage
 * appliance, through one flat C API.
 *
 * Conventions, unless a function says otherwise:
 *   - Results are int: 0, a count or a size for success; -1 for a bad argument or a failed store. List and count calls
 *     answer 0 where they cannot answer.
 *   - Texts are NUL-terminated bytes in the appliance's code page. The library keeps no pointer it was given.
 *   - A protocol or account source is one of the PROTO_ numbers, compared unsigned: anything else is refused.
 *   - A buffer comes with its size in bytes and is cleared before it is filled. It is never written past that size.
 *   - Changes are stored in record files under /etc/admin and then handed to every file protocol. Only the record file
 *     decides the result: a daemon that cannot reload never makes a stored change look lost.
 *   - Any number of processes may call at once. One process calls from one thread at a time. */

#include <stdarg.h>
#include <stdint.h>
#include <time.h>

#pragma GCC visibility push(default)
#ifdef __cplusplus
extern "C" {
#endif

/* Protocol numbers; also the source of an account (0 local, 1 domain controller, 2 NIS, 3 bindery, 4 AppleTalk). */
enum {
  PROTO_SYSTEM = 0,
  PROTO_CIFS = 1,
  PROTO_NFS = 2,
  PROTO_NCP = 3,
  PROTO_AFP = 4,
  PROTO_FTP = 5,
  PROTO_SNMP = 6,
  PROTO_COUNT = 7
};

/* ---- Start-up, version, text arguments, shell -------------------------------------------------------------------- */

/* NasApiInit: sets the text functions to the configured code page (CIFS_CODE_PAGE, 860 when it cannot be read; for 932
 * also CODING_SYSTEM). A front end calls it once at start; every other call works without it.
 * Returns the result of NasLangInit. */
int NasApiInit(void);

/* NasLangInit: sets the text functions to a code page.
 *   codePage    932, 936, 949, 950, or any single-byte code page
 *   codingFlag  how text travels to clients: -1 unchanged; for 932 1 when CODING_SYSTEM is 0, else 0
 * Returns 0. */
int NasLangInit(int codePage, int codingFlag);

/* Nas1ApiVersion: stores the API's version, 0 and 1; either pointer may be null. Returns 0. */
int Nas1ApiVersion(int* major, int* minor);

/* Nas1CheckLength: tells whether a text fits a field of max bytes, NUL included.
 * Returns 0 when it fits, 1 when it does not, all ones for a null text. */
unsigned Nas1CheckLength(const char* text, unsigned max);

/* Nas1Remove_ht_space: removes the blanks (0x20 only) at both ends of text, in place. text must not be null. */
void Nas1Remove_ht_space(char* text);

/* Nas1UpStr: upper-cases text in place; double-byte characters stay as they are. Returns text. */
char* Nas1UpStr(char* text);

/* NasGetServiceInstall: tells whether an optional service is installed: a line of /etc/service.zelmar begins with its
 * name and has "yes" after the "=". Starts one shell command. Aborts for a null name and one of 512 bytes or more.
 * Returns 1 or 0. */
int NasGetServiceInstall(const char* service);

/* Nas1System: runs a command through /bin/sh with its standard output discarded and waits for it. Descriptors 3 to 19
 * are closed in the command.
 * Returns the exit code (0 for a command that a signal ended), 127 when the command could not be started, -1 for a
 * null command, no child process or a failed wait. */
int Nas1System(const char* command);

/* ---- Dispatch, restart and batching ------------------------------------------------------------------------------ */

/* Nas1Restart: starts, stops or restarts a protocol's daemon.
 *   how  0 start, 1 stop, 2 restart; 3 is for the protocols that reload without dropping sessions
 * Returns the back-end's result; -1 for an unknown protocol. */
int Nas1Restart(int protocol, int how);

/* Nas1NetDisconnect: ends a client's session; a and b are what the protocol calls for (CIFS: b is the PID).
 * Returns the back-end's result; -1 for an unknown protocol and one that has no such operation. */
int Nas1NetDisconnect(int protocol, int a, int b);

/* EnableNas1ShareBatch: while on (not 0), Nas1ShareAdd and Nas1ShareDel change only the record file. Switching it off
 * lets every daemon rebuild its configuration once. The flag belongs to the process and does not nest. Returns 0. */
int EnableNas1ShareBatch(int on);

/* EnableNasDelPermBatch: while on (not 0), deleting a user or group leaves its permission entries to the caller.
 * Returns 0. */
int EnableNasDelPermBatch(int on);

/* ---- Configuration ----------------------------------------------------------------------------------------------- */

/* Data types of named keys. */
enum {
  CFG_INTEGER = 0, /* unsigned 32-bit in host order, decimal in the defaults file */
  CFG_TEXT = 1,    /* NUL-terminated */
  CFG_HEX = 2,     /* as CFG_INTEGER, hexadecimal in the defaults file */
  CFG_RECORD = 3   /* binary, without a text form */
};

/* NasGetConfig: reads a key by name: from /etc/admin/system.gdbm, or live for computed keys; a key never stored is
 * taken from /etc/default.zelmar and stored.
 *   key        key name; at most 63 characters count
 *   size       bytes in buffer
 *   buffer     receives the value; a text that does not fit is cut and has no NUL
 *   lengthOut  receives the bytes of the value, for texts their length plus 1; may be null
 * With a null buffer or a size of 0: lengthOut receives the natural size and the result is the data type (CFG_...).
 * A key neither stored nor among the defaults reads as zeros.
 * Returns 0; -1 bad argument or storage failure; -2 no such key; -3 the key cannot be read. */
int NasGetConfig(const char* key, int size, void* buffer, int* lengthOut);

/* The software's version, the value of NAS_VERSION: 18 bytes. "1.04.0117" is 1, 4, "0117". */
typedef struct NasVersion {
  uint8_t majorNumber;
  uint8_t minorNumber;
  char build[16]; /* NUL-terminated */
} NasVersion;

/* NasSetConfig: stores size bytes of value under a key in /etc/admin/system.gdbm and tells the back-end that depends on
 * it. CIFS_CODE_PAGE and CODING_SYSTEM also re-run NasApiInit.
 * Returns 0; -1 bad argument or storage failure; -2 no such key; -3 the key is read-only. */
int NasSetConfig(const char* key, int size, const void* value);

/* Nas1GetConfig: reads a key by its number (CONFIG_...), 0 to 121, as NasGetConfig does; the keys that have only a
 * number are read from /etc/admin/system.gdbm alone. buffer is cleared first; lengthOut may be null.
 * Returns 0 (also for a number without a key, which is logged); -1 bad argument, absent value or storage failure. */
int Nas1GetConfig(int id, int size, void* buffer, int* lengthOut);

/* Nas1SetConfig: trims blanks off both ends of value, in place and as text whatever the key's type is, stores it and
 * tells every protocol. CIFS_CODE_PAGE and CODING_SYSTEM also re-run NasApiInit.
 * Returns 0 (also for a number without a key); -1 bad argument, read-only by failure or storage failure. */
int Nas1SetConfig(int id, int size, void* value);

/* One numeric key: both handlers, null where the key cannot be read or written. */
typedef struct ConfigHandlers {
  int (*get)(int size, void* buffer, int* lengthOut);
  int (*set)(int size, void* value);
} ConfigHandlers;

enum { CONFIG_COUNT = 122 };

/* The handlers behind Nas1GetConfig and Nas1SetConfig, by number. */
extern const ConfigHandlers fpConfig[CONFIG_COUNT];

/* ---- Shares ------------------------------------------------------------------------------------------------------ */

enum { NAS_NAME_SIZE = 32, NAS_COMMENT_SIZE = 64 }; /* fields, NUL included */

/* A share as handed to callers. Lists hold blocks end to end: step by size. */
typedef struct ShareInfo {
  uint32_t size;                  /* bytes in this block: 104 + length of path */
  char name[NAS_NAME_SIZE];       /* NUL-terminated */
  char comment[NAS_COMMENT_SIZE]; /* NUL-terminated */
  char path[4];                   /* start of the NUL-terminated path; the rest runs on past the struct */
} __attribute__((packed)) ShareInfo;

/* Nas1ShareAdd: adds a share to /etc/admin/share.gdbm, creates its directory, makes every protocol offer it and sets
 * its two passwords from DEFAULT_SHARE_RO_PASSWD and DEFAULT_SHARE_RW_PASSWD (the value "name" stands for the share's
 * name).
 *   name     trimmed of blanks in place; at most 31 characters, not empty (an empty name aborts the process)
 *   comment  at most 63 characters
 *   path     the share's directory, not empty
 * Returns 0; -1 for a bad argument, a name that exists, or a failed store. */
int Nas1ShareAdd(char* name, const char* comment, const char* path);

/* Nas1ShareDel: deletes a share, its NFS hosts and permissions from the record files, makes every protocol stop
 * offering it, and removes its directory with all that is in it unless RESERVE_SHARE_PATH is 1; the directory goes even
 * when the record could not be deleted. Returns 0; -1 for a null or unknown name or a failed deletion. */
int Nas1ShareDel(const char* name);

/* Nas1ShareMod: gives a share another comment and path (its passwords and home mark stay) and creates the new
 * directory; the old one stays as it is. name is not trimmed. Every protocol is told even while a batch is on. Returns
 * 0; -1 for a bad argument, an unknown share or a failed store. */
int Nas1ShareMod(const char* name, const char* comment, const char* path);

/* Nas1GetShareInfo: copies a share's ShareInfo, as much of it as fits.
 * Returns 0; -1 for a bad argument or an unknown share. */
int Nas1GetShareInfo(const char* name, void* buffer, int size);

/* Nas1GetShareInfoSize: returns the bytes of a share's ShareInfo; -1 for an unknown share. */
int Nas1GetShareInfoSize(const char* name);

/* Nas1ShareCountSize: stores the number of shares and the bytes that the list of all needs (bytes may be null).
 * Both are 0 when the record file cannot be opened. Returns 0; -1 for a null count. */
int Nas1ShareCountSize(int* count, int* bytes);

/* Nas1ShareList: copies share descriptions, in stored order (by hash, not sorted), into the caller's buffer.
 *   start   index of the first share, from 0
 *   count   most shares to copy
 *   buffer  receives ShareInfo blocks end to end; the size word of a block that no longer fits stands behind the last
 *           one where 4 bytes are left
 *   size    bytes in buffer; Nas1ShareCountSize tells how many the whole list needs
 * Returns the number of blocks copied; 0 for a null buffer, a size of 0 or a start past the end. */
int Nas1ShareList(int start, int count, void* buffer, int size);

/* Nas1ShareGetPassword: reads a share's password into out (33 bytes).
 *   which  0 read-only, else read-write
 * Returns 0; -1 for a bad argument or an unknown share. */
int Nas1ShareGetPassword(const char* name, int which, char* out);

/* Nas1ShareSetPassword: stores a share's password, at most 31 characters.
 * Returns 0; -1 for a bad argument, an unknown share or a failed store. */
int Nas1ShareSetPassword(const char* name, int which, const char* password);

/* NasShareGetConfig: reads one setting of a share.
 *   type       "ro_passwd", "rw_passwd" (texts: out holds length + 1 bytes) or "is_home" (4 bytes)
 *   length     most characters of a text, or the bytes to copy (at most 32)
 *   outLength  receives the text's length plus 1, or the bytes copied, at most 4; may be null
 * Returns 0; -1 unknown share or bad argument; -2 unknown type. */
int NasShareGetConfig(const char* name, const char* type, int length, void* out, int* outLength);

/* NasShareSetConfig: stores one setting of a share; value holds a text of at most 31 characters, or 4 bytes for
 * "is_home"; length is not used.
 * Returns 0; -1 unknown share, bad argument or failed store; -2 unknown type. */
int NasShareSetConfig(const char* name, const char* type, int length, const void* value);

/* ---- Share directories ------------------------------------------------------------------------------------------- */

/* Nas1SysMkdir: creates a share's directory, owner 32767, mode 755, through three shell commands; nothing happens while
 * /var/lock/zelmar_builduser exists. A "$" in path is expanded by the shell. Aborts for a null or empty path.
 * Returns 0; -1 when creating failed; -2 out of memory. */
int Nas1SysMkdir(const char* path);

/* NasSysRmdir: removes a share's directory and all in it through a shell command, under the same lock and rules.
 * Returns 0; -1 when removing failed; -2 out of memory. */
int NasSysRmdir(const char* path);

/* NasAddSlash: copies sourceLength bytes (NUL included) of source to destination, each backslash, backquote and double
 * quote with a backslash before it, ready to stand between double quotes in a shell command; terminated.
 *   size  bytes in destination, at least twice sourceLength, else the process aborts
 * Returns the bytes written, the copied NUL included; -1 for a negative sourceLength. */
int NasAddSlash(int size, char* destination, int sourceLength, const char* source);

/* ---- Permissions ------------------------------------------------------------------------------------------------- */

/* Whether an entry is about a user or a group. */
enum { PERMITTED_USER = 0, PERMITTED_GROUP = 1 };

/* Who may do what on a share: 40 bytes. */
typedef struct PermittedItem {
  int32_t type;             /* PERMITTED_USER; everything else is checked as a group */
  int32_t rights;           /* access level: the larger, the more is allowed; -1 for none */
  char name[NAS_NAME_SIZE]; /* account name, NUL-terminated; case does not count */
} __attribute__((packed)) PermittedItem;

/* Each share has a list of PermittedItems per protocol, for PROTO_SYSTEM (local accounts), PROTO_CIFS, PROTO_NFS,
 * PROTO_NCP and PROTO_AFP, in /etc/admin/user_local.gdbm and its siblings. PROTO_FTP and PROTO_SNMP have none: their
 * calls fail. Share names are exact. */

/* Nas1AddPermittedItem: appends an entry to a share's list.
 *   item  copied as it is; its name has at most 31 characters
 * Returns 0; -1 for a bad argument, an unknown share, a failed store, or when the list has an entry of that type and
 * name. */
int Nas1AddPermittedItem(const char* share, int protocol, const PermittedItem* item);

/* Nas1DelPermittedItem: removes the first entry of a name, be it a user or a group; the last entry takes its place.
 * Returns 0, also when there is no such entry or no list; -1 for a bad argument or a failed store. */
int Nas1DelPermittedItem(const char* share, int protocol, const char* name);

/* Nas1DelPermittedItemEx: the same for the first entry of that name and type. */
int Nas1DelPermittedItemEx(const char* share, int protocol, const char* name, int type);

/* Nas1CheckPermission: tells the access level of a user on a share: the highest among its own entry and those of its
 * groups.
 *   groups  names of the user's groups, ended by a null pointer; null for none
 * For PROTO_AFP the user and the groups are first made known: accounts of that source are created where they are
 * missing, and entries with rights -1 are added to the list.
 * Returns the level; -1 when no entry matches, the share has no list, or for a bad argument. */
int Nas1CheckPermission(const char* share, int protocol, const char* user, const char* const* groups);

/* Nas1GetPermittedItemsCount: returns the number of entries; 0 for a bad argument, no list or an unreadable file. */
int Nas1GetPermittedItemsCount(const char* share, int protocol);

/* Nas1ListPermittedItems: copies entries, in stored order.
 *   start  index of the first entry, from 0
 *   count  most entries to copy
 *   out    receives PermittedItems end to end; cleared first
 *   size   bytes in out; only whole entries are copied
 * Returns the number of entries copied; 0 for a bad argument, no list or a start past the end. */
int Nas1ListPermittedItems(const char* share, int protocol, int start, int count, PermittedItem* out, int size);

/* Nas1SetPermittedList: replaces a share's list by count entries, stored as they are: neither doubled entries nor an
 * unknown share are noticed. A count of 0 stores an empty list; items must not be null then either.
 * Returns 0, whatever the store did; -1 for a bad argument, a file that cannot be opened or no memory. */
int Nas1SetPermittedList(const char* share, int protocol, int count, const PermittedItem* items);

/* ---- NFS hosts --------------------------------------------------------------------------------------------------- */

/* How a client may use a share: bits of NfsHostEntry.flags. */
enum {
  NFS_HOST_WRITE = 0x01,       /* may write; without it only read */
  NFS_HOST_ROOT_SQUASH = 0x02, /* its root becomes nobody; without effect beside NFS_HOST_ALL_SQUASH */
  NFS_HOST_ALL_SQUASH = 0x04,  /* all its users become one: anonuid, or 32767 */
  NFS_HOST_MASK = 0x10,        /* host is a network, mask its netmask */
  NFS_HOST_ANONGID = 0x20,     /* anongid holds */
  NFS_HOST_ANONUID = 0x40      /* anonuid holds */
};

/* A client, or a network of clients, that may mount a share. Lists hold entries end to end: step by size. */
typedef struct NfsHostEntry {
  uint32_t size;   /* bytes in this entry: at least 33 + length of host */
  uint32_t flags;  /* NFS_HOST_ bits */
  int32_t anonuid; /* user id of squashed users */
  int32_t anongid; /* group id of squashed users */
  char mask[16];   /* netmask as text */
  char host[1];    /* start of the NUL-terminated name, address or network; the rest runs on past the struct */
} __attribute__((packed)) NfsHostEntry;

/* Nas1ShareGetPermittedNfsSize: stores the number of entries in a share's list and the bytes that they need; both are 0
 * for a share without a list; either pointer may be null.
 * Returns 0; -1 for a null or empty share, and when the list cannot be read. */
int Nas1ShareGetPermittedNfsSize(const char* share, int* count, int* bytes);

/* Nas1ShareGetPermittedNfs: copies the first entries of a share's list.
 *   count  most entries to copy
 *   out    receives NfsHostEntries end to end; cleared first
 *   size   bytes in out; only whole entries are copied
 * Returns the number of entries copied; 0 for a bad argument and a share without a list. */
int Nas1ShareGetPermittedNfs(const char* share, int count, void* out, int size);

/* Nas1ShareSetPermittedNfs: replaces a share's list in /etc/admin/share_nfs.gdbm with count entries, end to end, and,
 * unless a share batch is on, rewrites /etc/exports. A list of 0 entries counts as none.
 * Returns 0, also when nothing was done for a null argument or a negative count; -1 for an empty share, an entry whose
 * size does not hold its host name, a record file that cannot be opened, or exports that cannot be written. */
int Nas1ShareSetPermittedNfs(const char* share, int count, const void* entries);

/* ---- Volumes ----------------------------------------------------------------------------------------------------- */

/* A mounted data area: 248 bytes. */
typedef struct VolumeInfo {
  uint32_t size;              /* 248 */
  char device[NAS_NAME_SIZE]; /* texts NUL-terminated, cut to 31 characters */
  char mount[NAS_NAME_SIZE];  /* "/volume/" and the volume's name */
  char name[NAS_NAME_SIZE];   /* what follows "/volume/"; empty for a shorter mount point */
  uint32_t snapshot[5];       /* as Nas1GetSnapshotConfig gives it */
  uint8_t reserved[128];      /* 0 */
} __attribute__((packed)) VolumeInfo;

/* Nas1GetVolumeCount: counts the lines of the volume table /etc/fstab.zelmar, blank ones included, through a shell
 * command.
 *   count  receives the number; null: nothing is counted
 *   bytes  receives what Nas1ListVolume needs for that many, 0 without count; may be null
 * Returns 0. */
int Nas1GetVolumeCount(int* count, int* bytes);

/* Nas1ListVolume: describes the volumes in the order of the table, up to the first line that has less than two words
 * (a blank line too).
 *   buffer  receives VolumeInfos end to end; cleared first
 *   size    bytes in buffer; only whole entries are written
 * Returns the number of volumes; 0 for a null buffer, a size of 0 or a table that cannot be read. */
int Nas1ListVolume(VolumeInfo* buffer, int size);

/* ---- Snapshot and product settings ------------------------------------------------------------------------------- */

/* Nas1GetSnapshotConfig: reads the snapshot record of a volume: five words, of which the first is the reserved
 * snapshot space; the others belong to the snapshot scheduler.
 *   volume  name, of which 32 characters count
 *   record  receives 20 bytes, fewer when fewer are stored. A volume without a record has DEF_SNAPSHOT_RESERVED as its
 *           first word and zeros behind it
 * Returns 0, also for a null pointer (nothing is done then). */
int Nas1GetSnapshotConfig(const char* volume, uint32_t* record);

/* Nas1SetSnapshotConfig: stores the five words and, whatever became of that, has the scheduler read them again
 * (/sbin/takecron; a shell command in which the name stands as it is).
 * Returns 0; -1 for a null pointer or a file that cannot be opened. */
int Nas1SetSnapshotConfig(const char* volume, const uint32_t* record);

enum { NAS_PRODUCT_TEXT_SIZE = 51 }; /* NUL included */

/* Nas1GetProductConfig: reads the text stored under a key of the caller's own.
 *   text  receives at most 50 characters and a NUL; 51 zero bytes when nothing is stored
 * Returns 0, also for a null pointer (nothing is done then). */
int Nas1GetProductConfig(const char* key, char* text);

/* Nas1SetProductConfig: stores size bytes of text under a key. A text without a NUL in its last byte is stored all the
 * same, with a line in the system log.
 * Returns 0; -1 for a null pointer, a size below 1 or a file that cannot be opened. */
int Nas1SetProductConfig(const char* key, int size, const char* text);

/* ---- Accounts ---------------------------------------------------------------------------------------------------- */

/* A user as handed to callers; lists are stepped through by size. */
typedef struct UserItem {
  uint32_t size;            /* 112 */
  uint32_t source;          /* PROTO_ number of where the account lives */
  uint32_t uid;             /* 32768 to 64979 */
  uint32_t groups[16];      /* gids, 0 for an empty slot; slot 0 is the primary group */
  uint32_t quota;           /* megabytes on every volume, 0 for none */
  char name[NAS_NAME_SIZE]; /* NUL-terminated */
} UserItem;

/* A group as handed to callers; lists are stepped through by size. */
typedef struct GroupItem {
  uint32_t size;            /* 48 */
  uint32_t gid;             /* 32768 to 64979 */
  uint32_t quota;           /* megabytes, 0 for none */
  char name[NAS_NAME_SIZE]; /* NUL-terminated */
  uint32_t source;          /* as in UserItem */
} GroupItem;

/* Account items: the record that gives an account its numeric id, memberships and quota; kept in
 * /etc/admin/user_id.gdbm and group_id.gdbm under name and source. Names are at most 31 characters, sources are
 * below 7. */

/* Nas1GetUserItem, Nas1GetGroupItem: copy an account's item; an account that is not known yet is made, with a new id
 * and the default quota. Nas1CheckUserItem, Nas1CheckGroupItem: the same, but never make one.
 *   name     upper-cased in place by the Get calls, taken as it is by the Check calls
 *   out      receives the item (UserItem or GroupItem)
 *   outSize  receives its size
 * Return 0; -1 bad argument, unknown account (Check), no id left, or failed store. */
int Nas1GetUserItem(int source, char* name, void* out, int* outSize);
int Nas1GetGroupItem(int source, char* name, void* out, int* outSize);
int Nas1CheckUserItem(int source, const char* name, void* out, int* outSize);
int Nas1CheckGroupItem(int source, const char* name, void* out, int* outSize);

/* Nas1SetUserItem, Nas1SetGroupItem: store an account's quota (and a user's groups) and set the quota on the four
 * volume roots. source and name select the account; everything else of the item is ignored.
 * Return 0; -1 bad argument, unknown account or failed store. */
int Nas1SetUserItem(const UserItem* item);
int Nas1SetGroupItem(const GroupItem* item);

/* Nas1UserItemCount, Nas1GroupItemCount: return the number of ids in use, of all sources. */
int Nas1UserItemCount(void);
int Nas1GroupItemCount(void);

/* Nas1ListUserItem, Nas1ListGroupItem: copy items of all sources, in stored order (by hash, not sorted), end to end.
 *   start  index of the first item, from 0
 *   count  most items to copy
 * Return the number of items copied; 0 for a null buffer or a size of 0. */
int Nas1ListUserItem(int start, int count, void* buffer, int size);
int Nas1ListGroupItem(int start, int count, void* buffer, int size);

/* Nas1DelUidGid: frees a numeric id; deleting the account does it by itself.
 *   kind  0 user, 1 group
 * Returns 0, also for an id that was free (which is logged); -1 for a number outside 32768 to 64979. */
int Nas1DelUidGid(int kind, int id);

/* Nas1AddUser: adds an account. A local one (source 0) gets a password record and, when AUTO_HOME begins with "1", a
 * home share of its name on the first volume with an entry for it in the local permission list.
 *   name      upper-cased, and for local accounts trimmed, in place
 *   password  at most 31 characters; not used for other sources
 * Returns 0; -1 bad argument, existing account or failed store; -2 a share of that name exists, or the id file could
 * not be opened; -3 a home share is wanted but there is no volume. Nothing is undone after a later failure. */
int Nas1AddUser(int source, char* name, const char* password);

/* Nas1DelUser: deletes an account; its permission entries go unless a delete-permission batch is on, a local user's
 * home share goes unless RESERVE_HOME is set. name is upper-cased in place.
 * Returns 0; -1 bad argument, unknown account or failed deletion. */
int Nas1DelUser(int source, char* name);

/* Nas1AddGroup: adds a group. name is upper-cased, for local groups trimmed, in place; unused is not looked at.
 * Returns 0; -1 bad argument, existing group or failed store; -2 the id file could not be opened. */
int Nas1AddGroup(int source, char* name, const char* unused);

/* Nas1DelGroup: deletes a group, takes it from every user and, unless a delete-permission batch is on, from every
 * share's permissions. name is upper-cased in place. Returns 0; -1. */
int Nas1DelGroup(int source, char* name);

/* Nas1GetUserPasswd: copies a local user's password, at most size - 1 characters. name is upper-cased in place; source
 * is not looked at. Returns 0; -1 bad argument or no such user. */
int Nas1GetUserPasswd(int source, char* name, char* buffer, int size);

/* Nas1SetUserPasswd: stores a local user's password, cut to 31 characters. name is upper-cased in place; source is not
 * looked at. Returns 0; -1 bad argument, no such user or failed store. */
int Nas1SetUserPasswd(int source, char* name, const char* password);

/* NasGetUserConfig, NasSetUserConfig: read and store one field of a local user's record in /etc/admin/passwd.gdbm. Null
 * arguments abort the process.
 *   type    "passwd" or "home" (the name of the home share)
 *   size    bytes in out; not used for storing, which cuts at 31 characters
 *   outLen  receives the length of the text; may be null
 * Return 0; -1 no such user, another type or failed store. */
int NasGetUserConfig(const char* name, const char* type, int size, char* out, int* outLen);
int NasSetUserConfig(const char* name, const char* type, int size, const char* value);

/* Nas1JoinGroup: tells whether a user is in a group: it never adds a membership (write the groups of a UserItem, or set
 * a primary group). Nas1LeaveGroup takes a user out of a group. Both names are upper-cased in place.
 * Return 0; -1 bad argument, unknown account, not a member, or failed store. */
int Nas1JoinGroup(int source, char* user, char* group);
int Nas1LeaveGroup(int source, char* user, char* group);

/* Nas1SetPrimaryGroup: makes a group the user's primary one (slot 0), adding the membership if need be. A group that
 * does not exist, or a null one, takes the user out of all groups. Names are taken as they are.
 * Returns 0; -1 bad argument, unknown user, no free slot or failed store. */
int Nas1SetPrimaryGroup(int source, const char* user, const char* group);

/* Nas1ListGroupMembersCount: returns the number of local users in a local group; -1 unless source is 0 and the group
 * exists. group is upper-cased in place. */
int Nas1ListGroupMembersCount(char* group, int source);

/* Nas1GetUserListCount, Nas1GetGroupListCount: return the number of local accounts. */
int Nas1GetUserListCount(void);
int Nas1GetGroupListCount(void);

/* Nas1GetQuota: reads one figure of a user's quota from the system's own report.
 *   unused      not looked at
 *   id          numeric user id
 *   filesystem  text that identifies the file system's line of the report; goes to a shell unquoted
 *   which       0 soft limit, 1 space in use, 2 hard limit
 * Returns megabytes, rounded down; 0 for anything else. */
int Nas1GetQuota(int unused, int id, const char* filesystem, int which);

/* Nas1SetQuota: does nothing (quotas are set through account items). Returns 0. */
int Nas1SetQuota(void);

/* Nas1GetUserList, Nas1GetGroupList: list the accounts of one source: items packed end to end, of which the remote
 * sources fill only size, source and name.
 *   start   index of the first account, from 0
 *   count   most accounts; below 1, or with a null buffer or a size of 0, the call only counts (a remote source
 *           refreshes its list file first) and the buffer is left alone
 * Returns the items written, or the number of accounts; -1 when a refresh failed; 0 for a source without accounts. */
int Nas1GetUserList(int source, int start, int count, void* buffer, int size);
int Nas1GetGroupList(int source, int start, int count, void* buffer, int size);

/* Nas1ListUserGroups: lists the groups of a user as GroupItems, Nas1ListGroupMembers the members of a group as
 * UserItems. The name is upper-cased in place.
 *   start, count  which of the user's 16 slots, or of the members, to look at
 * Returns the items written; 0 for an empty name, a null or empty buffer, or a source that has no such list. */
int Nas1ListUserGroups(char* user, int source, int start, int count, void* buffer, int size);
int Nas1ListGroupMembers(char* group, int source, int start, int count, void* buffer, int size);

/* Remote account lists, in the order of use: fetch the list from the server (a domain controller for PROTO_CIFS, a
 * bindery server for PROTO_NCP; it is written to a list file), count it, show it.
 *   server  name of the server; for users of PROTO_NCP it is upper-cased in place
 *   names   as many pointers to buffers of 128 bytes as were counted
 * Return the back-end's result; 0 for a source that has no such list. */
int Nas1GetUserListFromRemoteServer(int source, char* server);
int Nas1GetUserListCountInRemoteServer(int source);
int Nas1ShowUserListInRemoteServer(int source, char** names);
int Nas1GetGroupListFromRemoteServer(int source, const char* server);
int Nas1GetGroupListCountInRemoteServer(int source);
int Nas1ShowGroupListInRemoteServer(int source, char** names);

/* ---- SNMP -------------------------------------------------------------------------------------------------------- */

/* NasSendSNMPtrap: sends the trap of an event to the configured receivers, in the background.
 *   code  event code; the trap's specific number is one higher
 * Returns 0, also when traps are switched off (nothing is sent then); -1 when the agent is switched off. */
int NasSendSNMPtrap(int code);

/* ---- Samba share list -------------------------------------------------------------------------------------------- */

/* Path of the share list that the CIFS back-end writes, "/etc/samba/smb.conf"; a process may point it elsewhere. */
extern char servicesf[1024];

/* ---- Log --------------------------------------------------------------------------------------------------------- */

/* Severity of a log line. */
enum { LOG_LEVEL_INFO = 0, LOG_LEVEL_WARN = 1, LOG_LEVEL_ERR = 2, LOG_LEVEL_CRIT = 3, LOG_LEVEL_ACCESS = 4 };

/* What a log line is about. */
enum {
  LOG_CATEGORY_KERN = 0,
  LOG_CATEGORY_HW = 1,
  LOG_CATEGORY_SW = 2,
  LOG_CATEGORY_HD = 3,
  LOG_CATEGORY_NW = 4,
  LOG_CATEGORY_UPS = 5,
  LOG_CATEGORY_CIFS = 6,
  LOG_CATEGORY_NFS = 7,
  LOG_CATEGORY_NCP = 8,
  LOG_CATEGORY_AFP = 9,
  LOG_CATEGORY_DIS = 10
};

/* One line of the log before it is formatted: 288 bytes. */
typedef struct LogRecord {
  int32_t time;      /* seconds since the epoch */
  uint32_t level;    /* LOG_LEVEL_ */
  uint32_t category; /* LOG_CATEGORY_ */
  char message[276]; /* NUL-terminated; a newline at its end is optional */
} LogRecord;

/* nas1_log: writes one line to /var/log/nas1log, or to the system log when that cannot be opened. The monitor daemon is
 * sent SIGHUP first, and TZ follows the configured zone. A message of more than 275 characters is cut; an unknown level
 * or category writes nothing.
 * Returns the result of LogFile; there is nothing a caller could do about it. */
__attribute__((format(printf, 3, 4))) int nas1_log(unsigned level, unsigned category, const char* format, ...);

/* vNas1Log: nas1_log with its arguments in a list. Returns 0. */
__attribute__((format(printf, 3, 0))) int vNas1Log(unsigned level, unsigned category, const char* format,
                                                   va_list arguments);

/* LogFile: writes one record as nas1_log does, without signal and without setting TZ. Aborts for a null record.
 * Returns 0; -1 for an unknown level or category. */
int LogFile(const LogRecord* record);

/* nas_time: time(t), after setting this process's TZ to the configured TIME_ZONE. t may be null. */
time_t nas_time(time_t* t);

/* GetDaemonPid: returns the PID of the monitor daemon as the driver knows it; 0 when the driver refuses, -1 when there
 * is no driver. */
int GetDaemonPid(void);

/* ---- Connections ------------------------------------------------------------------------------------------------- */

enum { CONNECTION_MAX = 2048 }; /* most connections of one protocol */

/* A client connection: 104 bytes. */
typedef struct ConnectionRecord {
  int32_t pid;   /* the process that serves it; no two connections of a protocol have the same */
  int32_t time;  /* set by the library; in a listing the seconds since the client connected */
  char data[96]; /* the service's own description, kept and returned as it is */
} ConnectionRecord;

/* The table of client connections of PROTO_CIFS, PROTO_NFS, PROTO_NCP and PROTO_AFP; it lives until the system goes
 * down. Connections whose process has ended are dropped in passing. */

/* Nas1AddConnection: adds a connection, or replaces the description of the one with the same PID, whose time stays.
 * Returns 0; -1 bad argument, or a protocol without a table; -2 added, but there is no driver to be told;
 * -3 the table is full. */
int Nas1AddConnection(int protocol, const ConnectionRecord* record);

/* Nas1DelConnection: removes the connection of a process. The last one in the table takes its place.
 * Returns 0, also for an empty table; -1 bad argument, unknown PID, or a protocol without a table. */
int Nas1DelConnection(int protocol, int pid);

/* Nas1ConnectionCount: returns the number of connections; 0 for a bad argument or a protocol without a table. */
int Nas1ConnectionCount(int protocol);

/* Nas1ListConnection: copies connections into the caller's buffer, end to end, in no particular order.
 *   start   index of the first connection, from 0
 *   count   most connections to copy
 *   buffer  receives ConnectionRecords; cleared first
 *   size    bytes in buffer; only whole records are copied
 * Returns the number of records; 0 for a bad argument and always for PROTO_NFS, which has no such list; -1 for a
 * protocol without a table. */
int Nas1ListConnection(int protocol, int start, int count, void* buffer, int size);

/* ---- Text -------------------------------------------------------------------------------------------------------- */

/* Names may be written in a double-byte code page. One code page is in force in a process; it is read from the
 * configuration (NasApiInit) by the first text function that runs. A double-byte character, and a half-width katakana
 * of code page 932, is one unit: it has no case, is compared byte for byte, and its second byte is never taken for a
 * character of its own. All other bytes go by the C library's character classes. A byte argument may be a char of
 * either sign: only its lowest eight bits count. Counts are in bytes. */

/* The code page in force; 0 before the first use. */
extern int g_codepage;

/* 1 while a double-byte code page (932, 936, 949, 950) is in force, else 0. */
extern int g_is_multibyte_codepage;

/* The length routine of the code page in force, as NasCharLen; null before the first use. */
extern int (*lang_skip_multibyte_char)(int byte);

/* NasStrUpper, NasStrLower: change the case of a text in place.
 *   text   must not be null (the process is aborted)
 * Return text. */
char* NasStrUpper(char* text);
char* NasStrLower(char* text);

/* NasStrCaseCmp: compares two texts ignoring case. Of longer texts only the first 2047 bytes count.
 *   a, b   must not be null (the process is aborted)
 * Returns 0 when they are equal. Texts of different lengths are ordered by length alone: the result is length of a -
 * length of b. Otherwise the first difference decides: upper-case value in a - upper-case value in b for single
 * bytes, -1 or 1 for units. */
int NasStrCaseCmp(const char* a, const char* b);

/* NasStrNCaseCmp: whether the first bytes of two texts are equal ignoring case.
 *   a, b   must not be null (the process is aborted)
 *   count  bytes that must match; give the length, for texts that end together before count are different
 * Returns 0 when they are equal or count is 0, else 1; 1 also when a text is empty or count is negative. */
int NasStrNCaseCmp(const char* a, const char* b, int count);

/* NasStrchr: finds the first character of a text that begins with a byte.
 *   byte   0 finds the NUL
 * Returns its place in text, or null when there is none or text is null. */
char* NasStrchr(const char* text, int byte);

/* NasCharLen: how many bytes the unit takes that begins with a byte.
 * Returns 2 for a lead byte, 1 for a half-width katakana of code page 932, 0 for an ordinary byte. */
int NasCharLen(int byte);

/* NasReplaceChar: puts one byte in the place of others.
 *   text   changed in place; must not be null (the process is aborted)
 *   set    the bytes to replace, each on its own; must not be null (the process is aborted); empty: nothing is done
 *   byte   what to put there; 0 ends the text at the first byte replaced
 * Returns 0. */
int NasReplaceChar(char* text, const char* set, int byte);

/* NasStrNCpy: copies a text without cutting a character in half: a lead byte that would come last is left out.
 *   dst    room for count + 1 bytes, NUL included; nothing is written when null
 *   src    null gives an empty dst
 *   count  most bytes to copy; nothing is written when negative
 * Returns dst. */
char* NasStrNCpy(char* dst, const char* src, int count);

/* NasStrServerToClient, NasStrClientToServer: convert a name in place between the encoding in which the server keeps
 * it and that of its clients. They differ only with code page 932 and a CODING_SYSTEM of 0: the server then keeps
 * EUC-JP, the clients use Shift-JIS. A text is left as it is when it is not well formed, when it holds a character
 * that the other encoding lacks, or when it would grow (half-width katakana on the way to the server).
 *   text   must not be null (the process is aborted)
 * Return text. */
char* NasStrServerToClient(char* text);
char* NasStrClientToServer(char* text);

/* ---- Events and mail --------------------------------------------------------------------------------------------- */

enum { EVENT_COUNT = 29, BACKUP_JOB_COUNT = 3, MAIL_LANGUAGE_COUNT = 5 };

/* Nas1Event: reports that something happened: tells every protocol, keeps the status word HW_EVENT_STATUS, sends trap
 * and mail as EVENT_ACTION asks for, writes the log line, lights a disk LED, and shuts the appliance down where the
 * event and EVENT_ACTION demand it. Mails that must wait for a restart are noted in /var/log/MailEvent.
 *   code  0 to 28
 *   arg   what the event is about: a 32-bit word (a disk's internal index, a backup job's number, a RAID's number), for
 *         codes 6, 7 and 28 a text, for code 4 four words; may be null. A first word of -1 marks a replay, which sends
 *         the deferred mail; for codes 17 and 18 the word then receives the argument that was deferred.
 * Returns 0. */
int Nas1Event(unsigned code, void* arg);

/* The alert templates, by language (0 English, 1 traditional Chinese, 2 Japanese, 3 Korean, 4 simplified Chinese) and
 * then by event, or for backup by job; null where absent or not loaded. */
extern char** body[MAIL_LANGUAGE_COUNT];
extern char** Subject[MAIL_LANGUAGE_COUNT];
extern char** backup[MAIL_LANGUAGE_COUNT];

/* GetLang: returns the language index that EMAIL_LANGUAGE, a code page, stands for. */
int GetLang(void);

/* NasMailMsgInit: loads the templates of a language from /etc/mail, unless they are loaded.
 * Returns 1 when it opened the file: call NasMailMsgFree when done; else 0. */
int NasMailMsgInit(int lang);

/* NasMailMsgFree: gives the templates of a language back. Returns 0. */
int NasMailMsgFree(int lang);

/* Nas1SendMail: sends the alert mail of an event to ADMIN_EMAIL and ADMIN_EMAIL_2, in the background, through
 * /etc/nas1mail and a spool file that it deletes. code and arg as in Nas1Event.
 * Returns the sender's start-up result, -2 without memory for the command. */
int Nas1SendMail(unsigned code, const void* arg);

/* Nas1SendMailDelFile: the same; the sender also deletes the file `path` (may be null). */
int Nas1SendMailDelFile(unsigned code, const void* arg, const char* path);

/* SetupMailBody: writes the text of an event's mail, headers first, to the descriptor fd, in the language of the last
 * mail sent. Returns 0; -1 without memory. */
int SetupMailBody(int fd, unsigned code, const void* arg, const char* recipients);

/* EncodeHeader: replaces a text, its NUL included, by its form in the base64 alphabet, without padding; the buffer
 * needs room for (length + 3) / 3 * 4 + 1 bytes. */
void EncodeHeader(char* text);

/* CharMap: returns the character of the base64 alphabet for 0 to 63, else -1. */
int CharMap(int n);

/* ---- Disks and RAID ---------------------------------------------------------------------------------------------- */

enum { DISK_COUNT = 256, RAID_STATUS_SIZE = 176 };

/* The number of the disk as the administrator sees it, by the driver's internal index; built by the first Nas1Event or
 * by initDiskNumMap. */
extern int DiskNumMap[DISK_COUNT];

/* initDiskNumMap: builds DiskNumMap from /etc/hotswap.conf; without that file disk i has the number i + 1. */
void initDiskNumMap(void);

/* The disk configuration: 176 bytes. */
typedef struct DiskConfig {
  int32_t raidLevel;    /* from RAID_LEVEL; 6 reads as level 5 with flag 1, 7 as -1 */
  int32_t fileSystem;   /* from FILE_SYSTEM */
  int32_t flag;         /* 1 for RAID_LEVEL 6 */
  uint8_t callers[164]; /* the caller's own, stored and returned as given */
} DiskConfig;

/* Nas1GetRaidStatus: lets the driver fill its RAID status record (RAID_STATUS_SIZE bytes); its first two words are then
 * the RAID level and the flag of the disk configuration.
 * Returns 0; -1 null argument or no driver; -2 refused by the driver (the two words are filled all the same). */
int Nas1GetRaidStatus(void* status);

/* Nas1GetDiskConfig: reads the disk configuration: from other keys, then what is stored under DISK_CONFIG over it.
 * Returns 0; -1 for a null pointer. */
int Nas1GetDiskConfig(DiskConfig* config);

/* Nas1SetDiskConfig: stores the disk configuration in /etc/admin/system.gdbm and logs which program did it.
 * Returns 0; -1 null pointer or failed store. */
int Nas1SetDiskConfig(const DiskConfig* config);

/* Nas1Shutdown: has the driver shut the appliance down. Returns the driver's result; -1 without a driver. */
int Nas1Shutdown(void);

/* ---- Modules ----------------------------------------------------------------------------------------------------- */

/* An add-on module: 364 bytes, kept in /etc/admin/module.gdbm under its name. */
typedef struct ModuleRecord {
  char description[236];    /* begins with the NUL-terminated name; the rest is the front end's own */
  char removalCommand[128]; /* NUL-terminated; run before the module is taken out; empty for none */
} ModuleRecord;

/* Nas1ModuleAdd: adds a module; a null record or an empty name aborts the process.
 * Returns 0; -1 when the name exists or the store failed. */
int Nas1ModuleAdd(const ModuleRecord* record);

/* Nas1ModuleMod: replaces a module's record, or adds it. Returns 0; -1 null record, empty name or failed store. */
int Nas1ModuleMod(const ModuleRecord* record);

/* Nas1ModuleDel: runs the module's removal command, then deletes its record. A null name aborts the process.
 * Returns 0; -1 unknown module or failed deletion. */
int Nas1ModuleDel(const char* name);

/* Nas1ModuleList: copies records, in stored order, end to end.
 *   start       index of the first module, from 0
 *   count       most records; below 1 the call returns the number of modules
 *   buffer      receives them; null aborts the process unless the call only counts
 *   bufferSize  bytes in buffer
 * Returns the number copied. */
int Nas1ModuleList(int start, int count, void* buffer, int bufferSize);

#ifdef __cplusplus
}
#endif
#pragma GCC visibility pop
#endif
