#!/usr/bin/env bats
# What all verbs of nas1 have in common, tried with each of them, in the throw-away appliance.

bats_require_minimum_version 1.5.0

# What follows a verb here: those that print something, and those that would change something.
declare -gA printing=(
  ['share list']='' ['share show']='docs' ['perm list']='docs' ['perm check']='anna docs' ['perm explain']='anna docs'
  ['nfs list']='docs' ['user list']='' ['user show']='anna' ['user groups']='anna' ['user quota']='anna' ['group list']=''
  ['group show']='staff' ['group members']='staff' ['group quota']='staff' ['account remote']='users cifs OFFICE'
  ['volume list']='' ['snapshot get']='v1' ['product get']='RACK' ['config list']='' ['config get']='TEST_STRING'
  ['conn list']='' ['log']='' ['event list']='' ['event pending']='' ['mail preview']='0 1' ['disk list']=''
  ['disk config']='' ['raid']='' ['module list']='' ['module show']='radio' ['status']='' ['db check']=''
  ['plan']='share del docs --yes' ['verify']='')
declare -gA changing=(
  ['share add']='more /volume/v1/more' ['share del']='docs --yes' ['share mod']='docs --comment other'
  ['share passwd']='docs --read-only' ['perm add']='docs user:ben=1' ['perm set']='docs user:ben=1' ['perm del']='docs user:anna'
  ['nfs set']='docs 192.0.2.2=ro' ['nfs clear']='docs' ['user add']='carl --no-password' ['user del']='anna --yes'
  ['user passwd']='anna' ['user quota']='anna 5' ['group add']='board' ['group del']='staff' ['group join']='staff ben'
  ['group leave']='staff anna' ['group primary']='staff anna' ['group quota']='staff 5' ['snapshot set']='v1 --reserved 21'
  ['service restart']='nfs restart' ['product set']='RACK 8' ['config set']='TEST_STRING other' ['event raise']='11'
  ['module add']='tv' ['module del']='radio --yes' ['shutdown']='--yes')
# They neither print what --json could say nor change what the library keeps, or tell in their own way what they would do.
others='completion|db (backup|repair|compact|restore)|conn (add|kick)|event replay|batch|state (export|import)'

setup_file() {
  [[ -e /run/appliance/marker ]] || skip 'this is no throw-away appliance'
  for daemon in smbd nmbd; do echo 1 >/var/lock/samba/locks/$daemon.pid; done
  touch /var/log/appliance/{commands,driver}
  nas1 share add docs /volume/v1/docs
  nas1 user add anna --no-password
  nas1 user add ben --no-password
  nas1 group add staff
  nas1 group join staff anna
  nas1 perm add docs user:anna=1
  nas1 nfs set docs 192.0.2.1=rw
  nas1 module add radio
  nas1 config set TEST_STRING this
  nas1 product set RACK 7
}

nounsAndVerbs() {
  local noun verbs
  for noun in $(nas1 --help | sed -n '/^Usage/,/^$/d; /^Exit codes/q; s/^  \([a-z]*\) .*/\1/p'); do
    verbs=$(nas1 "$noun" --help | sed '1,/^Subcommands:/d; /^$/,$d' | awk '{print $1}')
    [[ -n $verbs ]] && printf "$noun %s\n" $verbs || echo "$noun"
  done
}

# What must stay as it is where nothing is changed: records, generated files, what was run and asked of the driver.
state() { (cd / && sha256sum /etc/admin/* /etc/samba/* /etc/exports /etc/atalk/* /var/log/appliance/{commands,driver} && ls -R /volume) 2>&1; }

faults=''
wrong() {
  faults+="$*"
  echo "# $*" >&2
}

offers() { nas1 $1 --help | grep -q -e "--$2\b"; }

@test 'every verb prints data in all forms or can be tried without consequence' {
  mapfile -t verbs < <(nounsAndVerbs)
  ((${#verbs[@]} > 60))
  for verb in "${verbs[@]}"; do
    [[ $verb =~ ^($others)$ ]] && continue
    echo "# $verb has neither form, or there is no example of it here" >&2
    if offers "$verb" json; then [[ -v printing[$verb] ]]; else [[ -v changing[$verb] ]]; fi
    [[ ! -v changing[$verb] ]] || offers "$verb" dry-run
  done
}

@test 'data come as a table, as lines, as JSON with its schema, and as one field' {
  for verb in "${!printing[@]}"; do
    local words="$verb FORM ${printing[$verb]}"
    run --separate-stderr nas1 ${words/FORM/--json}
    [[ $status == 0 && ${#lines[@]} == 1 && $output == '{'*'"schema":"nas1/1"'*'}' ]] || wrong "$words: $status $output $stderr"
    run --separate-stderr nas1 ${words/FORM/--plain}
    plain=$output
    run --separate-stderr nas1 ${words/FORM/}
    [[ $status == 0 && $output == "$plain" ]] || wrong "$words: $output, with --plain $plain"
    run nas1 ${words/FORM/--get no_such_field}
    [[ $status == 2 && $output =~ no_such_field.*'there are '([a-z_]+) ]] || wrong "$words: $status $output"
    run -0 --separate-stderr nas1 ${words/FORM/--get ${BASH_REMATCH[1]}}
    [[ $output != *$'\t'* ]] || wrong "$words --get: $output"
  done
  [[ -z $faults ]]
}

@test 'a dry run prints calls and changes nothing' {
  before=$(state)
  for verb in "${!changing[@]}"; do
    run --separate-stderr nas1 $verb ${changing[$verb]} --dry-run <<<'secret'
    [[ $status == 0 && $output =~ ^[A-Za-z0-9]+\(.*\) && $output != *secret* ]] || wrong "$verb: $status $output $stderr"
    [[ $(state) == "$before" ]] || wrong "$verb changes something"
  done
  for words in 'conn add cifs 1 ANNA' 'conn kick cifs 1' 'event replay'; do
    run nas1 $words --dry-run
    [[ $status == [03] && $(state) == "$before" ]] || wrong "$words: $status $output"
  done
  [[ -z $faults ]]
}

@test 'what is as it should be is left alone' {
  for words in 'share mod docs --comment one' 'perm set docs user:anna=2' 'nfs set docs 192.0.2.9=ro' 'config set TEST_STRING one' \
    'config set 26 UTC' 'snapshot set v1 --reserved 25' 'product set RACK 9' 'group primary staff anna'; do
    run -0 nas1 $words
    before=$(state)
    run -0 --separate-stderr nas1 $words
    echo "# nas1 $words: $output $stderr" >&2
    [[ $output == '' && $stderr == 'nas1: unchanged' && $(state) == "$before" ]]
  done
}

@test 'a verb without data has no --json' {
  for verb in "${!changing[@]}"; do
    offers "$verb" json && continue
    run -2 nas1 $verb ${changing[$verb]} --json
    [[ $output == *'no --json'* ]]
  done
}

@test 'a mistyped word gets the nearest one, a noun alone its verbs' {
  while read -r noun verb; do
    run nas1 "${noun}x" list
    echo "# $noun $verb: $status $output" >&2
    [[ $status == 2 && $output == *"did you mean $noun?"* ]]
    [[ -n $verb ]] || continue
    run -2 nas1 "$noun" "${verb}x"
    [[ $output == *"did you mean $verb?"* ]]
    run -2 nas1 "$noun"
    [[ $output == *"  $verb "* ]]
  done < <(nounsAndVerbs)
  run -2 nas1 share list --jsn
  [[ $output == *'did you mean --json?'* ]]
  run -2 nas1 share mod docs --coment=x
  [[ $output == *'did you mean --comment?'* ]]
  run -2 nas1 --halp
  [[ $output == *'did you mean --help?'* ]]
  run -2 nas1 share --json
  [[ $output == *'needs a verb before --json'* ]]
  run -2 nas1 user passwd anna --source cifs
  [[ $output == *'not expected: --source cifs;'* ]]
  run -2 nas1 log -n -1
  [[ $output == *'0 or more, not -1'* ]]
}

@test 'a pipe that is shut and a disk that is full are failures' {
  run -1 bash -c 'nas1 share list >/dev/full'
  run -2 nas1
  run -0 nas1 --version
}

@test 'whoever is not root gets help, completions and no more' {
  asAnybody() { setpriv --reuid 1000 --regid 1000 --clear-groups nas1 "$@"; }
  before=$(state)
  for verb in "${!changing[@]}"; do
    run asAnybody $verb ${changing[$verb]} <<<'secret'
    [[ $status == 8 && $output == *'run nas1 as root'* ]] || wrong "$verb: $status $output"
  done
  for verb in "${!printing[@]}"; do
    run asAnybody $verb ${printing[$verb]}
    [[ $status == 8 ]] || wrong "$verb: $status $output"
    run asAnybody $verb --help
    [[ $status == 0 && $output == *'Usage:'* ]] || wrong "$verb --help: $status $output"
  done
  run -0 asAnybody completion bash
  [[ -z $faults && $(state) == "$before" ]]
}

@test 'nothing is told or made of records that cannot be read' {
  declare -A readers=(
    [share]='share list;nfs list;verify --repair' [share_nfs]='nfs list;verify --repair;share add new /volume/v1/new;share mod docs --comment two;share del docs --yes;user add zed --no-password'
    [system]='status;event list;raid;disk config;mail preview 0 1;config list;verify --repair'
    [user_id]='user list;perm check anna docs;perm explain anna docs;verify --repair')
  for file in "${!readers[@]}"; do
    path=/etc/admin/$file.gdbm
    cp -p $path /tmp/sound
    truncate -s 6000 $path
    before=$(cat /etc/exports /etc/atalk/*)
    while read -rd ';' words; do
      run nas1 $words
      [[ $status == 7 && $output == *"$file.gdbm"* ]] || wrong "$words without $file: $status $output"
    done <<<"${readers[$file]};"
    [[ $(cat /etc/exports /etc/atalk/*) == "$before" ]] || wrong "files without $file"
    cp -p /tmp/sound $path
  done
  [[ -z $faults ]]
}

@test 'a plan reads what lies in /tmp and leaves it there' {
  mkdir -p /tmp/kept/folder
  echo 'module del canary --yes' >/tmp/kept/lines
  nas1 module add canary --on-removal 'rm -rf /tmp/kept; touch /tmp/kept.too'
  run -0 nas1 plan batch /tmp/kept/lines
  [[ $output == *'touch /tmp/kept.too'* ]]
  [[ -d /tmp/kept/folder && ! -e /tmp/kept.too ]]
  nas1 share add odd /volume/v1/odd --allow-unsafe
  run -0 nas1 plan share mod odd --comment x --path //volume/v1/even --allow-unsafe
  [[ $output == *'/volume/v1/even'* ]]
  nas1 share del odd --yes
}

@test 'what nas1 starts finds a fixed environment, and nobody borrows its rights' {
  nas1 module add env --on-removal '(umask; env; command -v mail-receiver) >/tmp/env; true'
  (umask 000 && STRANGE=1 LANG=xx PATH=/tmp:$PATH "$(command -v nas1)" module del env --yes)
  run cat /tmp/env
  [[ $output != *STRANGE* && $output == *LANG=C* && $output == *PATH=/usr/local/sbin:/* && $output == *0077* && $output == */mail-receiver ]]
  install -m 4755 "$(command -v nas1)" /usr/local/bin/lent
  run -8 setpriv --reuid 1000 --regid 1000 --clear-groups /usr/local/bin/lent share list
  [[ $output == *'set-user-id'* ]]
  rm /usr/local/bin/lent
}

@test 'an import of many is one rebuild, takes memory by its document, and shows how far it is' {
  nas1 share add first /volume/v1/first
  nas1 state export /tmp/few
  python3 - <<'END'
import json
document = json.load(open("/tmp/few"))
first = next(share for share in document["state"]["shares"] if share["name"] == "first")
for count, path in (300, "/tmp/many"), (10000, "/tmp/most"):
    document["state"] = {"shares": [{**first, "name": f"s{i}", "path": f"/volume/v1/s{i}"} for i in range(count)]}
    json.dump(document, open(path, "w"))
END
  # Long enough for a look at how far it is.
  printf '#!/bin/sh\nsleep 0.01\nexec /usr/bin/mkdir "$@"\n' | install -m 755 /dev/stdin /usr/local/bin/mkdir
  : >/var/log/appliance/commands
  script -qec 'nas1 state import /tmp/many --yes' /tmp/shown >/dev/null
  [[ $(grep -c exportfs /var/log/appliance/commands) == 1 ]]
  rm /usr/local/bin/mkdir
  grep -q 'change [0-9]* of 300' /tmp/shown
  [[ $(nas1 share list | wc -l) -gt 300 ]]
  # Room for the program, the libraries and 25 times the document. Address checking has memory of its own.
  kib=$((12000 + $(stat -Lc %s "$(command -v nas1)") / 1024 + $(stat -c %s /tmp/most) / 1024 * 25))
  [[ $(ldd "$(command -v nas1)") == *libasan* ]] || (ulimit -v $kib; nas1 state import /tmp/most --dry-run >/dev/null)
  nas1 share list --get name | grep '^s[0-9]*$' | sed 's/^/share del /; s/$/ --yes/' | nas1 batch -
}

@test 'a share takes a folder on a volume and nothing else' {
  ln -s /etc /volume/v1/out
  ln -s /volume/v2 /volume/v1/two
  touch /volume/v1/file
  while read -r expected path; do
    for words in "add more $path" "mod docs --path $path"; do
      run --separate-stderr nas1 share $words
      [[ $status == "$expected" && $stderr == 'nas1: the '*path* ]] || wrong "$words: $status $stderr"
    done
    echo '{"schema": "nas1/1", "state": {"shares": [{"name": "more", "path": "'$path'"}]}}' >/tmp/state
    run --separate-stderr nas1 state import --yes /tmp/state
    [[ $status == "$expected" ]] || wrong "import $path: $status $stderr"
  done <<'PATHS'
9 /etc/samba/more
9 /volume/v9/more
9 /volume/v1
9 /volume/v1/
9 /volume/v1/out/more
9 //volume/v1/more
4 /volume/v1/file
4 /volume/v1/file/more
PATHS
  run -0 nas1 share add more /volume/v1/two/more
  [[ -d /volume/v2/more ]]
  run -0 nas1 share del more --yes
  run -0 nas1 share add more /etc/samba/more --allow-unsafe
  run -9 nas1 share del more --yes
  run -0 nas1 share del more --yes --allow-unsafe
  [[ ! -e /etc/samba/more && -z $faults ]]
}

@test 'a folder that is not made is a failure' {
  touch /var/lock/zelmar_builduser # no folders are made meanwhile
  run -1 --separate-stderr nas1 share add later /volume/v1/later
  [[ $stderr == 'nas1: the share later is there, but its folder /volume/v1/later could not be made' ]]
  rm /var/lock/zelmar_builduser
  run -0 nas1 share del later --yes
}

@test 'names of shares that differ in case alone are not imported' {
  for shares in '{"name": "DOCS", "path": "/volume/v1/x"}' \
    '{"name": "new", "path": "/volume/v1/x"}, {"name": "New", "path": "/volume/v1/y"}'; do
    echo '{"schema": "nas1/1", "state": {"shares": ['"$shares"']}}' >/tmp/state
    before=$(state)
    run -9 nas1 state import --yes /tmp/state
    [[ $output == *'in case alone'* && $(state) == "$before" ]]
  done
}

@test '- is standard output, or refused' {
  cd /tmp
  [[ $(nas1 state export -) == "$(nas1 state export)" ]]
  run -2 nas1 db backup -
  [[ ! -e - ]]
}

@test 'Control-C ends the question for a password, with the echo back' {
  python3 - <<'END'
import os, pty, signal, subprocess, termios
ours, theirs = pty.openpty()
def sit():
    os.setsid()
    os.close(os.open(os.ttyname(theirs), os.O_RDWR))
asking = subprocess.Popen(["nas1", "user", "passwd", "anna"], stdin=theirs, stdout=theirs, stderr=theirs, preexec_fn=sit)
shown = b""
while b"password:" not in shown or termios.tcgetattr(theirs)[3] & termios.ECHO:
    if b"password:" not in shown:
        shown += os.read(ours, 100)
os.write(ours, b"half\x03")
assert asking.wait(10) == -signal.SIGINT, asking.returncode
assert termios.tcgetattr(theirs)[3] & termios.ECHO
END
}

@test 'the exports of the last share are told of and can be taken out' {
  nas1 share list --get name | sed 's/^/share del /; s/$/ --yes/' >/tmp/all
  run -0 nas1 batch /tmp/all
  [[ $output == *'no share is left, but /etc/exports'* && -s /etc/exports ]]
  run nas1 verify --repair
  [[ ! -s /etc/exports && ! -s /etc/atalk/AppleVolumes.default ]]
}
