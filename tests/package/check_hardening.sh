#!/bin/sh
# Reads built programs and libraries: are they hardened as cmake/CorvaneHardening.cmake wants it?
#   check_hardening.sh PROGRAM... -- ARCHIVE...
# Prints what is missing, and fails.
set -eu
failed=0
complain() { echo "$1: $2"; failed=1; }

# One word of the output suffices; the whole is read, so that readelf never writes into a closed pipe.
has() { grep -c -E "$1" >/dev/null; }

while [ $# -gt 0 ] && [ "$1" != -- ]; do
  readelf -W --file-header "$1" | has 'Type: +DYN' || complain "$1" "is at a fixed address (no PIE)"
  readelf -W --dynamic "$1" | has 'FLAGS_1.*\bPIE\b' || complain "$1" "is not marked as a program (no PIE)"
  readelf -W --dynamic "$1" | has 'FLAGS.*\b(BIND_)?NOW\b' || complain "$1" "binds functions late (no -z now)"
  readelf -W --program-headers "$1" | has 'GNU_RELRO' || complain "$1" "has writable relocations (no -z relro)"
  readelf -W --program-headers "$1" | has 'GNU_STACK.* RW +0x' || complain "$1" "has an executable stack"
  readelf -W --dyn-syms "$1" | has ' __stack_chk_fail\b' || complain "$1" "has no stack protector"
  readelf -W --dyn-syms "$1" | has ' __[a-z]+_chk\b.*GLIBC' || complain "$1" "has no checked library calls"
  shift
done
[ $# -gt 0 ] && shift

# Every archive has a function with an array or with the address of a local, which -strong protects.
for archive; do
  readelf -W --symbols "$archive" | has ' __stack_chk_fail\b' || complain "$archive" "has no stack protector"
done
exit "$failed"
