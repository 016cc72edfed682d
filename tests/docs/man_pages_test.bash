#!/bin/bash
# The manual pages as made: nothing to complain about for mandoc, and every page that they refer to exists.
# usage: man_pages_test.bash FOLDER
set -u
command -v mandoc >/dev/null || { echo 'skipped: mandoc is not installed' && exit 77; }
cd "$1" || exit 1
failures=0

# mandoc looks for other pages among those that are installed; that is done below, among these.
complaints=$(find . -type f -exec mandoc -T lint {} + 2>&1 | grep -v -e 'referenced manual not found' -e 'outdated mandoc.db')
[[ -z $complaints ]] || { echo "$complaints" && ((++failures)); }

while read -r name section; do
  [[ -e man$section/$name.$section || $name == gdbm || $name == systemctl ]] || { echo "there is no page $name($section)" && ((++failures)); }
done < <(find . -type f -exec sed -nE 's/^\.(It )?Xr ([^ ]+) ([0-9]).*/\2 \3/p' {} + | sort -u)

for page in man1/nas1.1 man3/nas1api.3 man3/Nas1ShareList.3 man5/nas1.conf.5 man5/nas1-records.5; do
  [[ $(mandoc -T ascii "$page" 2>/dev/null | wc -l) -gt 40 ]] || { echo "$page has hardly a line" && ((++failures)); }
done
exit $((failures > 0))
