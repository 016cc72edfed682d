#!/bin/bash
# The binary interface is the one that programs were linked with: the symbols of the package, and every argument and
# record behind them. A change on purpose takes it over with --update (a debug build has what it needs).
# usage: interface_test.bash CHECKOUT LIBRARY [--update]
set -u
cd "$1" || exit 1
library=$2
stored=tests/packaging/libnas1api.abi
symbols=debian/libnas1api0.symbols

if [[ ${3-} == --update ]]; then
  # Without what belongs to the machine or the C++ library's own inline parts.
  abidw --exported-interfaces-only --type-id-style hash \
    --no-show-locs --no-parameter-names --no-corpus-path --no-comp-dir-path --no-elf-needed --no-architecture "$library" |
    sed -e "s|path='[^']*/src/|path='src/|" -e "/<elf-symbol name='_Z/d" >"$stored"
  exit
fi

# What is exported without a version in the package's list would be missing for those who link with it.
listed=$(sed -n 's/^ \([^@]*\)@.*/\1/p' "$symbols" | LC_ALL=C sort)
if [[ $listed != "$(<src/api/exports.txt)" ]]; then
  echo "$symbols is not what is exported:"
  diff <(echo "$listed") src/api/exports.txt
  exit 1
fi

command -v abidiff >/dev/null || { echo 'skipped: abigail-tools is not installed' && exit 77; }
readelf -h "$library" | grep -q ELF64 || { echo 'skipped: the stored interface is that of 64-bit machines' && exit 77; }
readelf -S --wide "$library" | grep -q ' \.debug_info ' || { echo 'skipped: this build has no debug information' && exit 77; }
abidiff --no-added-syms --no-architecture "$stored" "$library" ||
  { echo "the binary interface differs from $stored" && exit 1; }
echo 'the interface is as it was'
