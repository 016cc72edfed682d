"""The page of the configuration keys, from the key table, the list of numeric ids and the factory defaults."""

import re

import mdoc

TYPES = {"CFG_INTEGER": "integer", "CFG_HEX": "hexadecimal integer", "CFG_TEXT": "text", "CFG_RECORD": "record"}

# Where a value comes from that is not simply stored, and who hears of a change: by the handlers' names.
SOURCES = {
    "getStored": "",
    "getLiveInterface": "read from the network interfaces",
    "getSensor": "read from the sensors",
    "getVersionRecord": "the version of the software",
    "getLvmInstalled": "whether the service lvm is installed",
    "getResolver": "the first name server of /etc/resolv.conf",
    "getHardwareStatus": "kept in shared memory",
    "getFileSystemStatus": "kept in shared memory",
    "getSystemId": "read from /mnt/param/system.id",
}
FALLBACKS = {"serverNameFromAddress": "from the hardware address", "adminPasswordInstead": "that of ADMIN_PASSWORD"}
LISTENERS = {
    "cifsSetConfig": "Samba",
    "nfsSetConfig": "NFS",
    "ncpSetConfig": "NetWare",
    "afpSetConfig": "AppleTalk",
    "notifyDirectPing": "the driver",
    "notifyNtpEnabled": "the NTP daemon",
    "notifyNtpServer": "the NTP daemon",
    "notifyAdminPassword": "the system's passwords",
    "notifyRaidSyncSkip": "the driver",
    "notifySnapshotThreshold": "the driver",
}
KEY = re.compile(r'/\*\s*\d+ \*/ \{"(\w+)",\s*(CFG_\w+),\s*(\d+),\s*(\w+),\s*(\w+),\s*(\w+),\s*(\w+)\}')
NUMBER = re.compile(r"^(\w+_ID)\( *(\d+)(?:, (\w+))?\)", re.M)
FRONT_END_KEY = re.compile(r'^    \{"(\w+)",\s*(-?\d+)(?:, \w+)?(?:, (CFG_\w+), (\d+))?\}', re.M)

# Handlers of a number that have another name than its key.
OTHER_NAMES = {"FILESYSTEM_WRITEBACK_STATUS": "FILESYSTEM_WRITEBACK_ENABLE"}


def numbers_of(ids, front_end):
    """{key: number} and {key with a number only: (number, type, size)}; the two lists have to agree."""
    listed = {int(n): (kind, name) for kind, n, name in NUMBER.findall(ids)}
    numbers, unnamed, seen = {}, {}, set()
    for key, number, cfgType, size in FRONT_END_KEY.findall(front_end):
        number = int(number)
        if number < 0:
            continue
        kind, name = listed[number]
        if kind != "READ_ONLY_ID" and OTHER_NAMES.get(name, name) != key:
            raise SystemExit(f"number {number} is {name} in the library and {key} in the front end")
        seen.add(number)
        if cfgType:
            unnamed[key] = (number, cfgType, int(size), kind == "READ_ONLY_ID")
        else:
            numbers[key] = number
    missing = {n for n, (kind, _) in listed.items() if kind != "EMPTY_ID"} - seen
    if missing:
        raise SystemExit(f"the front end does not know the numbers {sorted(missing)}")
    return numbers, unnamed


def defaults_of(text):
    """The factory defaults: a key, one character, the value up to the first blank."""
    return {m[1]: m[2] for m in re.finditer(r"^([A-Za-z_0-9]+)=(\S*)", text, re.M)}


def entry(name, facts):
    return [f".It Sy {name}"] + mdoc.paragraph("; ".join(f for f in facts if f) + ".")


def keys_text(table, numbers, defaults):
    lines = [".Bl -tag -width 6n -compact"]
    rows = KEY.findall(table)
    if len(rows) != int(re.search(r"kKeyCount = (\d+)", table)[1]):
        raise SystemExit("a row of the key table could not be read")
    for name, cfgType, size, get, fallback, write, notify in rows:
        default = f"default {defaults[name]}" if defaults.get(name) else ""
        if fallback != "nullptr":
            default = f"default {FALLBACKS[fallback]}"
        size = f" of {size} bytes" if cfgType in ("CFG_TEXT", "CFG_RECORD") else ""
        lines += entry(name, [
            TYPES[cfgType] + size,
            f"number {numbers[name]}" if name in numbers else "no number",
            "read-only" if write == "nullptr" else "",
            SOURCES[get],
            default,
            f"tells {LISTENERS[notify]}" if notify != "nullptr" else "",
        ])
    return lines + [".El"]


def unnamed_text(unnamed):
    lines = [".Bl -tag -width 6n -compact"]
    for name, (number, cfgType, size, readOnly) in unnamed.items():
        size = f" of {size} bytes" if cfgType == "CFG_TEXT" else ""
        lines += entry(name, [f"number {number}", TYPES[cfgType] + size, "read-only" if readOnly else ""])
    return lines + [".El"]


def render(template, table, ids, front_end, factory, date):
    """`table` is the text of the key table's source and header."""
    numbers, unnamed = numbers_of(ids, front_end)
    pieces = {
        "keys": lambda _: keys_text(table, numbers, defaults_of(factory)),
        "numbered": lambda _: unnamed_text(unnamed),
    }
    return mdoc.head(date, "nas1.conf", 5) + mdoc.fill(template, pieces)
