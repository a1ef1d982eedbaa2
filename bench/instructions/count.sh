#!/bin/sh
# Instructions that the library takes per cue to index a file, or to read it then. With a bound, more than that fails.
# Without valgrind the result is 77.   count.sh ONE_FILE KIND index|read [BOUND]
set -eu
one_file=$1 kind=$2 what=$3 bound=${4:-}
command -v valgrind >/dev/null || {
    echo "no valgrind" >&2
    exit 77
}
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# A string instruction counts once for every byte, which is not what it costs: the C library is told to do without.
export GLIBC_TUNABLES=glibc.cpu.x86_rep_stosb_threshold=1000000000:glibc.cpu.x86_rep_movsb_threshold=1000000000

# count index|read CUES
count() {
    file=$("$one_file" write "$kind" "$2" "$folder")
    valgrind --tool=callgrind --callgrind-out-file=/dev/null "$one_file" "$1" "$file" 2>"$folder/log" || {
        cat "$folder/log" >&2
        exit 1
    }
    sed -n 's/.*Collected : *//p' "$folder/log"
}

# per_cue index|read: between two sizes of file, so that start and end of the program fall out.
per_cue() {
    few=$(count "$1" 1000)
    many=$(count "$1" 5000)
    echo $(((many - few) / 4000))
}

instructions=$(per_cue "$what")
[ "$what" = index ] || instructions=$((instructions - $(per_cue index)))
echo "$instructions"
[ -z "$bound" ] || [ "$instructions" -le "$bound" ] || {
    echo "$what $kind: $instructions instructions per cue, at most $bound are expected" >&2
    exit 1
}
