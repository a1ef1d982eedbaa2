#!/bin/sh
# What the README shows is what there is: the host program, the output of the first command, and one example of each of
# the tool's.
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

# Every command of the tool is shown, and does what it is shown for on samples of those names.
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp samples/movie.en.srt samples/vobsub/film.* "$work"
sed -n 's/^    pellsub //p' README.md | sed 's/  .*//' >"$work/examples"
cd "$work"
while read -r example; do
    status=0
    # shellcheck disable=SC2086
    "$@" "$pellsub" $example >out 2>&1 </dev/null || status=$?
    if [ $status -gt 1 ] && ! grep -q 'pictures cannot be drawn' out; then
        echo "README.md: pellsub $example: status $status" >&2
        cat out >&2
        exit 1
    fi
done <examples
"$@" "$pellsub" --help | sed -n '/^Commands:/,/^$/s/^  \([a-z]*\) .*/\1/p' | while read -r command; do
    grep -q "^$command " examples || { echo "README.md has no example of pellsub $command" >&2; exit 1; }
done
