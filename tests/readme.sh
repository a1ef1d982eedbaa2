#!/bin/sh
# What the README shows is what there is: the host program, and the output of the first command.
# readme.sh TOP PELLSUB [EMULATOR...]
set -eu
cd "$1"
pellsub=$2
shift 2
host=$(sed -n '/^```c$/,/^```$/p' README.md | sed '1d;$d')
[ "$host" = "$(cat examples/shortest_host.c)" ] || {
    echo "README.md and examples/shortest_host.c differ" >&2
    exit 1
}
shown=$(sed -n '/\$ scripts\/run samples\/movie.en.srt/,/^[^ ]/p' README.md | sed '1d;$d;s/^    //')
told=$("$@" "$pellsub" info samples/movie.en.srt; echo; "$@" "$pellsub" dump samples/movie.en.srt)
[ "$shown" = "$told" ] || {
    echo "README.md does not show what scripts/run prints:" >&2
    echo "$told" >&2
    exit 1
}
