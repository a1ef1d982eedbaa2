#!/bin/sh
# rooms.sh PROJECT: every include of the code is one that the table in docs/architecture.md allows, and every arrow of
# the table is used.
set -eu
cd "$1"
awk '
function room(path,    a, n, i, name, best) {
    best = ""
    n = split(path, a, "/")
    for (i = 1; i <= n; i++) {
        name = i == 1 ? a[1] : name "/" a[i]
        if (name in rooms) best = name
    }
    return best
}
FILENAME == "docs/architecture.md" {
    if ($0 ~ /^\| `/) {
        n = split($0, cell, "`")
        rooms[cell[2]] = 1
        for (i = 4; i <= n; i += 2) allowed[cell[2], cell[i]] = 1
    }
    next
}
/^#include "/ {
    split($0, quoted, "\"")
    from = room(FILENAME)
    to = room(quoted[2])
    if (from == "" || to == "") {
        print FILENAME ": " quoted[2] " is in no room"; bad = 1
    } else if (from != to && !((from, to) in allowed)) {
        print FILENAME ": " from " may not include " to " (" quoted[2] ")"; bad = 1
    }
    used[from, to] = 1
    includes++
}
END {
    for (arrow in allowed) if (!(arrow in used)) {
        split(arrow, ends, SUBSEP)
        if (ends[2] != "format/pell_format.h") { print "unused: " ends[1] " -> " ends[2]; bad = 1 }
    }
    if (includes < 100) { print "only " includes + 0 " includes found"; bad = 1 }
    exit bad
}' docs/architecture.md $(find format protocol subtitle platform charset tools examples -name '*.h' -o -name '*.cpp' -o -name '*.c')
