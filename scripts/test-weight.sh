#!/usr/bin/env bash
# Prints how heavy the tests are against the code they test: non-blank lines
# of C++, Python and shell in the files git tracks, tests/ against the rest,
# per area and in total. Exits 1 when the total passes the limit
# (LITHMAR_TEST_WEIGHT_LIMIT, in percent; 35 unless set).
set -euo pipefail
cd "$(dirname "$0")/.."

limit=${LITHMAR_TEST_WEIGHT_LIMIT:-35}

# The files that count: C++, Python and shell sources, by ending or by a
# shebang naming sh, bash or python.
counted_files() {
  git ls-files -z | while IFS= read -r -d '' file; do
    [ -f "$file" ] || continue
    case "$file" in
      *.cpp | *.cc | *.cxx | *.h | *.hpp | *.inl | *.py | *.sh) printf '%s\0' "$file" ;;
      *.*) ;;
      *) head -c 64 "$file" | head -n 1 | grep -Eq '^#!.*\b(ba|da)?sh\b|^#!.*python' && printf '%s\0' "$file" ;;
    esac
  done
}

# "area<TAB>side<TAB>lines" per file; tests/<area>/ mirrors <area>/, and
# tests/support/ (machinery shared by every area) has a row of its own.
counted_files | xargs -0 -r awk '
  FNR == 1 { if (name != "") print area(name) "\t" side(name) "\t" lines; name = FILENAME; lines = 0 }
  NF > 0 { lines++ }
  END { if (name != "") print area(name) "\t" side(name) "\t" lines }
  function side(path) { return path ~ /^tests\// ? "tests" : "code" }
  function area(path) {
    sub(/^tests\//, "", path)
    if (path ~ /^lithmar\// || path ~ /^(runtime|exchange|socket)\//) return "library"
    if (path ~ /^tools\/local\//) return "local platform"
    if (path ~ /^tools\/xchng\//) return "xchng"
    if (path ~ /^support\//) return "test support"
    return "the rest"
  }' | awk -F '\t' -v limit="$limit" '
  { lines[$1, $2] += $3; total[$2] += $3; areas[$1] = 1 }
  function ratio(tests, code) { return code > 0 ? sprintf("%.0f%%", 100 * tests / code) : "-" }
  END {
    printf "%-16s %8s %8s %8s\n", "area", "code", "tests", "ratio"
    split("library|local platform|xchng|test support|the rest", order, "|")
    for (i = 1; i <= 5; i++) {
      a = order[i]
      if (!(a in areas)) continue
      printf "%-16s %8d %8d %8s\n", a, lines[a, "code"], lines[a, "tests"], ratio(lines[a, "tests"], lines[a, "code"])
    }
    printf "%-16s %8d %8d %8s\n", "total", total["code"], total["tests"], ratio(total["tests"], total["code"])
    if (total["tests"] * 100 > limit * total["code"]) {
      printf "tests are more than %d%% of the code: merge or remove tests that catch nothing new\n", limit
      exit 1
    }
  }'
