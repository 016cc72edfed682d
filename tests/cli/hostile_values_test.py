#!/usr/bin/env python3
"""Hostile values through every text argument of every verb of the nas1 command.

No value may get a command run, and what is stored is what the real readers of the generated files make of them; all
other values are refused. The verbs and their arguments are those that the command's help tells of.
Runs inside the throw-away appliance: hostile_values_test.py [--every=N] VALUES [NOUN...]
--every=N takes each N-th value only."""

import json
import os
import re
import shlex
import signal
import subprocess
import sys
import time

if not os.path.exists("/run/appliance/marker"):
    sys.exit("this is no throw-away appliance")
every = int(sys.argv.pop(1)[len("--every="):]) if sys.argv[1].startswith("--every=") else 1

CANARY = "/tmp/canary"
# Done, a library call that failed, usage, unknown object, refused, read-only or full, not safe.
EXPECTED_CODES = {0, 1, 2, 3, 4, 5, 9}
failures = {}


def fail(where, *what):
    """What stays wrong is told once."""
    failures.setdefault(" ".join(str(word) for word in what), where)


def values():
    lines = [line.rstrip(b"\n") for line in open(sys.argv[1], "rb") if not line.startswith(b"# ")]
    unescaped = (re.sub(rb"\\x(..)", lambda m: bytes([int(m[1], 16)]), line) for line in lines if line)
    return [value.replace(b"CANARY", CANARY.encode()) for value in unescaped] + [b""]


def run(*words, stdin=b""):
    return subprocess.run(words, input=stdin, capture_output=True, timeout=60)


def nas1(*words, stdin=b""):
    return run("nas1", *words, stdin=stdin)


def set_up(*words):
    result = nas1(*words)
    if result.returncode != 0:
        sys.exit(f"{words}: {result.stderr}")


# ---- What there is to try

def verbs():
    """(words, {argument: (is a text, is required)}) of every verb, or of a noun that has none; what deletes comes last."""
    def below(heading, text):
        block = re.search(rf"^{heading}:?\n((?:  .*\n)+)", text, re.M)
        return re.findall(r"^  ([a-z][\w-]*)", block[1], re.M) if block else []

    found = [[noun, verb] if verb else [noun] for noun in below(r"Usage: .*\n", nas1("--help").stdout.decode())
             for verb in below("Subcommands", nas1(noun, "--help").stdout.decode()) or [""]]
    # Homes take names that shares would otherwise have: users come and go first.
    for words in sorted(found, key=lambda words: (words[0] != "user", words[-1] in ("del", "clear", "leave"))):
        text = nas1(*words, "--help").stdout.decode()
        arguments = re.findall(r"^  (?:-\w,)?([A-Z]+|--[\w-]+) (TEXT|U?INT)\b[^ ]*(?: \.\.\.)?( REQUIRED)?", text, re.M)
        yield words, {name: (kind == "TEXT", bool(required)) for name, kind, required in arguments}


# What other arguments are while one is tried; {n} differs from one try to the next, {v} from value to value.
SANE = {"NAME": "new{n}", "SHARE": "old{v}", "PATH": "/volume/v1/new{n}", "USER": "anna", "KEY": "RACK", "VALUE": "x",
        "ENTRY": "user:anna=1", "HOST": "192.0.2.1", "PROTOCOL": "cifs", "ACTION": "reload", "KIND": "users", "PID": "1",
        "CODE": "28", "VOLUME": "v1", "TEXT": "x", "FILE": "/tmp/file", "SHELL": "bash", "COMMAND": "status"}
SANE_OF_VERB = {("share", "mod", "NAME"): "old{v}", ("share", "passwd", "NAME"): "old{v}", ("conn", "kick", "PID"): "999999",
                ("config", "set", "KEY"): "TEST_STRING"}
# Where a value is only part of the word.
WITHIN = {("share", "add", "PATH"): b"/volume/v1/%s", ("share", "mod", "--path"): b"/volume/v1/%s", "ENTRY": b"user:%s=1"}
# Flags without which a verb asks, or does nothing.
FLAGS = {("share", "passwd"): ["--read-only"], ("share", "del"): ["--yes"], ("user", "del"): ["--yes"],
         ("module", "del"): ["--yes"], ("db", "restore"): ["--dry-run"], ("snapshot", "set"): ["--reserved", "5"],
         ("user", "add"): ["--no-password"]}
# Options that are the same code in every verb that has them.
ONCE = {"--get", "--source", "--protocol", "--file", "--group"}


def lines_to_try():
    """(name of the argument, command line for a value, the number of the value and that of the try)"""
    tried = set()
    for words, arguments in verbs():
        if sys.argv[2:] and words[0] not in sys.argv[2:]:
            continue
        positional = [name for name, (_, required) in arguments.items() if required and not name.startswith("--")]
        for tested, (is_text, _) in arguments.items():
            if not is_text or (tested in ONCE and tested in tried):
                continue
            tried.add(tested)
            key = (*words, tested)
            form = WITHIN.get(key) or WITHIN.get(tested) or b"%s"

            def line(value, v, n, words=words, tested=tested, positional=positional, form=form):
                def sane(name):
                    word = SANE_OF_VERB.get((*words, name)) or SANE[name]
                    return word.replace("{v}", str(v)).replace("{n}", str(n)).encode()
                options = [] if not tested.startswith("--") else [tested.encode() + b"=" + form % value]
                names = positional + ([tested] if tested not in positional and not options else [])
                given = [form % value if name == tested else sane(name) for name in names]
                return [w.encode() for w in [*words, *FLAGS.get(tuple(words), [])]] + options + [b"--"] + given

            yield " ".join(key), line


# ---- What the readers make of the files

def rows(*words):
    return [line.split(b"\t") for line in nas1(*words, "--plain").stdout.splitlines()]


def stored_shares():
    # The comment of a home is the library's own; Samba reads it with one blank.
    return {name: (comment.replace(b"home of  ", b"home of "), path) for name, comment, path in rows("share", "list")}


def samba_shares():
    found, name = {}, None
    # Names are bytes of a code page, with one byte a letter here.
    main = open("/etc/samba/main.conf").read().replace("[global]", "[global]\nunix charset = ISO8859-15\ndos charset = ISO8859-15", 1)
    with open("/tmp/main.conf", "w") as file:
        file.write(main)
    for line in run("testparm", "-s", "/tmp/main.conf").stdout.splitlines():
        section = re.fullmatch(rb"\[(.*)\]", line)
        if section:
            name = section[1]
            found[name] = {}
        elif name and b" = " in line:
            key, value = line.lstrip().split(b" = ", 1)
            found[name][key] = value
    found.pop(b"global", None)
    return {name: (share.get(b"comment", b""), share.get(b"path", b"")) for name, share in found.items()}


def octal(text):
    return re.sub(rb"\\([0-7]{3})", lambda m: bytes([int(m[1], 8)]), text)


def exports(stored):
    """What is exported, and what is not because there is no such host."""
    said = run("/usr/lib/appliance/real/exportfs", "-ra").stderr
    found = {(path, host) for path, host in stored if b"Failed to resolve " + host + b"\n" in said}
    for line in open("/var/lib/nfs/etab", "rb"):
        path, client = line.rstrip(b"\n").split(b"\t", 1)
        found.add((octal(path), client[:client.index(b"(")]))
    return found


def stored_exports(shares):
    hosts = {}
    for share, host, _ in rows("nfs", "list"):
        hosts.setdefault(share, set()).add(host)
    # The NFS server leaves slashes out that mean nothing.
    return {(re.sub(b"/+", b"/", path).rstrip(b"/"), host) for name, (_, path) in shares.items() for host in hosts.get(name, {b"*"})}


def volume_list():
    lines = open("/etc/atalk/AppleVolumes.default", "rb").read().splitlines()
    return {tuple(re.fullmatch(rb'"([^"]*)" "([^"]*)" options:usedots', line).groups()) for line in lines}


def compare(where, reader, stored, read):
    for thing in stored ^ read:
        fail(where, reader, "reads" if thing in read else "does not read", thing)


def compare_files(where):
    shares = stored_shares()
    compare(where, "Samba", {(name, *rest) for name, rest in shares.items()},
            {(name, *rest) for name, rest in samba_shares().items()})
    listed = stored_exports(shares)
    compare(where, "the NFS server", listed, exports(listed))
    compare(where, "AppleTalk", {(path, name) for name, (_, path) in shares.items()}, volume_list())
    for name, (_, path) in shares.items():
        if not os.path.isdir(path):
            fail(where, "the folder of", name, "is not there:", path)


# ---- Trying

def check(what, value, result):
    if result.returncode not in EXPECTED_CODES or b"terminate called" in result.stderr:
        fail(what, value, "ends with", result.returncode, result.stderr)
    if re.search(rb"[\x00-\x09\x0b-\x1f\x7f]", result.stderr):
        fail(what, value, "steers the terminal:", result.stderr)
    if os.path.exists(CANARY):
        fail(what, value, "is run")
        os.remove(CANARY)


def try_arguments(all_values):
    tries, compared = 0, None
    for what, line in lines_to_try():
        done = 0
        for v, value in enumerate(all_values):
            tries += 1
            result = nas1(*line(value, v, tries), stdin=value)
            check(what, value, result)
            done += result.returncode == 0
        print(f"{time.monotonic() - start:5.1f} s  {what}: {done} of {len(all_values)} taken", flush=True)
        times = [os.stat(f"/etc/admin/{name}.gdbm").st_mtime_ns for name in ("share", "share_nfs")]
        if times != compared:
            compare_files(what)
            compared = times


def try_system_folders():
    """Deleting a share removes its folder: none of the system's may become one."""
    os.symlink("/etc", "/volume/v1/out")
    folders = ["/etc/samba/hostile", "/usr/lib/hostile", "/tmp/hostile/within", "/volume/hostile", "/volume/v1x/hostile", "/hostile"]
    for folder in folders:
        os.makedirs(folder)
        open(f"{folder}/canary", "w").close()
    paths = [form % folder for folder in folders for form in ("%s", "%s/", "/%s", "/volume/v1/../..%s", "/volume/v1/.%s/../..")]
    paths += ["/", "/volume", "/volume/v1", "/volume/v1/", "/volume/v1//", "/volume/v1/out/samba/hostile", "/volume/v1/out"]
    for number, path in enumerate(paths):
        name = f"whole{number}"
        document = json.dumps({"schema": "nas1/1", "state": {"shares": [{"name": name, "path": path}]}})
        for words in (["share", "add", name, path], ["share", "mod", "old0", "--path", path], ["state", "import", "--yes", "-"]):
            result = nas1(*words, stdin=document.encode())
            if result.returncode != 9:
                fail(words, path, "ends with", result.returncode, result.stderr)
            nas1("share", "del", name, "--yes")
    for folder in folders:
        if not os.path.exists(f"{folder}/canary"):
            fail("share del", "removes", folder)


# Settings by what reads them: a file and what its line looks like, or commands.
SETTINGS = [("39", "/etc/ntp.conf", ["server"]), ("IP_DNS", "/etc/resolv.conf", ["nameserver"]),
            ("NFS_NIS_SERVER_NAME", "/etc/yp.conf", ["domain", "d", "server"]), ("54", None, None), ("26", None, None),
            ("CIFS_SERVER_NAME", None, None), ("CIFS_PDC_NAME", None, None), ("NCP_BINDERY_SERVER_NAME", None, None),
            ("ADMIN_EMAIL", None, None), ("SENDER_ADDRESS", None, None), ("CIFS_GROUP_NAME", None, None)]


def try_settings(all_values):
    set_up("config", "set", "NFS_DOMAIN_NAME", "d")
    for key, path, words in SETTINGS:
        for value in all_values:
            result = nas1("config", "set", key, "--", value)
            check(key, value, result)
            taken = result.returncode == 0 and b"unchanged" not in result.stderr and value.strip()
            if taken and path and [*words, os.fsdecode(value.strip())] not in [
                    shlex.split(line, comments=True) for line in os.fsdecode(open(path, "rb").read()).splitlines()]:
                fail(key, value, "is not what", path, "says:", open(path, "rb").read())
        nas1("config", "set", "NFS_DOMAIN_NAME", "d")
        print(f"{time.monotonic() - start:5.1f} s  {key}", flush=True)


def try_communities(all_values):
    """The agent itself is asked with each community that was taken."""
    set_up("config", "set", "80", "1")
    if not os.path.exists("/usr/sbin/snmpd"):
        return
    for value in all_values:
        result = nas1("config", "set", "SNMP_RO_COMM", "--", value)
        check("SNMP_RO_COMM", value, result)
        if result.returncode != 0 or not value:
            continue
        set_up("service", "restart", "snmp", "restart")
        agent = subprocess.Popen(["/usr/sbin/snmpd", "-f", "-C", "-c", "/usr/local/share/snmp/snmpd.conf", "-Lf", "/dev/null",
                                  "127.0.0.1:161"], env={"MIBS": ""})
        get = run("snmpget", "-v1", "-r", "20", "-t", "0.2", "-Oqv", "-c", value, "127.0.0.1", ".1.3.6.1.2.1.1.7.0")
        if get.stdout != b"76\n":
            fail("SNMP_RO_COMM", value, "is not known to the agent:", get.stdout, get.stderr)
        agent.send_signal(signal.SIGKILL)
        agent.wait()


start = time.monotonic()
everything = values()[::every]
open("/run/appliance/record-only", "w").close()
for daemon in ("smbd", "nmbd"):
    with open(f"/var/lock/samba/locks/{daemon}.pid", "w") as file:
        file.write("1\n")
set_up("config", "set", "AUTO_HOME", "1")
set_up("user", "add", "anna", "--no-password")
for number in range(len(everything)):
    set_up("share", "add", f"old{number}", f"/volume/v1/old{number}")
if not sys.argv[2:] or "share" in sys.argv[2:]:
    try_system_folders()
compare_files("at first")
try_arguments(everything)
if not sys.argv[2:]:
    try_settings(everything)
    try_communities(everything)
for failure, where in failures.items():
    print(f"{where}: {failure}")
print(f"{len(everything)} values, {len(failures)} failures")
sys.exit(bool(failures))
