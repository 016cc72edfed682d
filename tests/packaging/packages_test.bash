#!/bin/bash
# The Debian packages as built: what is in them, and whether they work where nothing else of the project is.
# They are installed in a throw-away appliance.
# usage: packages_test.bash CHECKOUT FOLDER
set -u
enter=$1/appliance/enter
build=$2/installed
failures=0

fail() {
  echo "FAILED: $*"
  ((++failures))
}

# holds PACKAGE PATTERN: a line of the package's list of contents (mode, owner, size, ..., path)
holds() {
  grep -Eq "$2" <<<"$(dpkg-deb -c "$folder/$1"_*.deb)" || fail "$1 has nothing like $2"
}

folder=$2
holds libnas1api0 '^drwx------ root/root .* \./etc/admin/$'
holds libnas1api0 '\./usr/lib/[^/]+/libnas1api\.so\.0 -> libnas1api\.so\.0'
holds libnas1api-dev '\./usr/include/nas1api\.h$'
holds libnas1api-dev '\./usr/share/man/man3/Nas1ShareList\.3\.gz -> '
holds libnas1api-dev '\./usr/share/man/man5/nas1-records\.5\.gz$'
holds nas1 '^-rwxr-xr-x root/root .* \./usr/sbin/nas1$'
holds nas1 '\./usr/share/man/man1/nas1\.1\.gz$'
holds nas1 '\./usr/share/bash-completion/completions/nas1$'
holds nas1 '\./usr/share/zsh/vendor-completions/_nas1$'
holds nas1 '\./usr/share/fish/vendor_completions\.d/nas1\.fish$'
holds nas1 '\./usr/share/man/man5/nas1\.conf\.5\.gz$'
holds python3-nas1api '\./usr/lib/python3/dist-packages/nas1api/nas1api\.h$'

# Nothing of the place where it was built.
for package in "$folder"/*.deb; do
  if dpkg-deb --fsys-tarfile "$package" | grep -aq -e "$1"; then fail "$package knows where it was built"; fi
done

# The appliance that they are tried in starts from its own installed copy; of what lies under /tmp it shows that alone.
rm -rf "$build" && mkdir "$build" && dpkg-deb -x "$folder"/nas1_*.deb "$build"
inside=$build/usr/lib/nas1
cp "$folder"/*.deb "$inside"
cat >"$inside/try" <<'TRY'
set -eu
dpkg -i --force-depends "$1"/libnas1api0_*.deb "$1"/libnas1api-dev_*.deb "$1"/nas1_*.deb "$1"/python3-nas1api_*.deb >/tmp/log 2>&1 || { cat /tmp/log; exit 1; }
cd /tmp
[[ $(command -v nas1) == /usr/sbin/nas1 ]]
nas1 share add pub /volume/v1/pub --comment 'for all'
[[ $(nas1 share list --plain) == $'pub\tfor all\t/volume/v1/pub' ]]
[[ -s /var/log/appliance/commands ]]
cat >list.c <<'C'
#include <nas1api.h>
int main(void) { int count = 0, bytes = 0; return Nas1ShareCountSize(&count, &bytes) != 0 || count != 1; }
C
gcc list.c $(pkg-config --cflags --libs nas1api) -o list
./list
[[ $(python3 -c 'import nas1api; print(nas1api.shares()[0].path)') == /volume/v1/pub ]]
dpkg -r python3-nas1api nas1 libnas1api-dev libnas1api0
[[ -e /etc/admin/share.gdbm ]]
TRY
"$inside/appliance/enter" --build "$inside" -- bash -x "$inside/try" "$inside" >"$build/log" 2>&1 || { tail -n 15 "$build/log" && fail 'the installed packages do not work'; }
((failures == 0)) && echo 'the packages are as promised'
exit $((failures > 0))
