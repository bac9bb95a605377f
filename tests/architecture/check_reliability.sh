#!/bin/sh
# docs/reliability.md must not rot: every test that its tables name exists. Prints what is missing, and fails.
#
# A row has four cells: | case | user gets | kept | tests |
# The last cell names one or more, each in backticks:
#   `Suite.Test`        as in TEST(Suite, Test), TEST_F, TEST_P or TYPED_TEST; of a table-driven test also
#   `Suite.Test/Row`    where "Row" is a word of the file with the test
#   `tests/x/check.sh`  a script or another file, from the root of the repository
# Words outside backticks are free. A bar within a cell is written \|.
set -eu
cd "$1"
table=docs/reliability.md
known=$(mktemp)
trap 'rm -f "$known"' EXIT

# "Suite.Test file" for each test, also where clang-format broke the line after the comma.
find tests fuzz -name '*.[ch]pp' 2>/dev/null | sort | while read -r source; do
  tr '\n' ' ' <"$source" |
    grep -oE '\b(TEST|TEST_F|TEST_P|TYPED_TEST|TYPED_TEST_P)\([A-Za-z0-9_]+, *[A-Za-z0-9_]+\)' |
    sed -E "s|^[A-Z_]+\(([A-Za-z0-9_]+), *([A-Za-z0-9_]+)\)|\1.\2 $source|" || true
done >"$known"

# "line kind text" for each row that is no header: kind is ref, or what is wrong with the row.
awk -F'|' '
  { gsub(/\\\|/, "\\bar") }
  !/^\|/ || /^\|[ :|-]+\|$/ || /^\| *case *\|/ { next }
  NF != 6 { print NR, "cells", $0; next }
  {
    count = split($5, parts, "`")
    if (count < 3) print NR, "none", $2
    for (i = 2; i < count; i += 2) print NR, "ref", parts[i]
  }' "$table" | {
  failed=0
  complain() { echo "$table:$1: $2"; failed=1; }
  while read -r line kind text; do
    case $kind in
    cells) complain "$line" "a row has the four cells case, user gets, kept, tests: $text" ;;
    none) complain "$line" "no test is named for: $text" ;;
    *)
      case $text in
      *.*/*)
        test=${text%%/*}
        source=$(awk -v test="$test" '$1 == test { print $2; exit }' "$known")
        if [ -n "$source" ]; then
          grep -qwF -- "${text#*/}" "$source" || complain "$line" "$test has no row ${text#*/}"
        else
          [ -e "$text" ] || complain "$line" "no such test or file: $text"
        fi
        ;;
      */*) [ -e "$text" ] || complain "$line" "no such file: $text" ;;
      *) awk -v test="$text" '$1 == test { found = 1 } END { exit !found }' "$known" ||
        complain "$line" "no such test: $text" ;;
      esac
      ;;
    esac
  done
  exit "$failed"
}
