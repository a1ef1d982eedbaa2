#!/bin/sh
# The example plug-in in a real player on a display of its own: a cue is seen at its time, and neither before nor after.
#   mpv_plugin.sh PLUGIN SUBTITLES [PICTURES]     PICTURES: a directory to keep the three screenshots in
set -eu
plugin=$1 subtitles=$2
for tool in mpv Xvfb xwd; do
    command -v $tool >/dev/null || { echo "skipped: no $tool"; exit 77; }
done
work=$(mktemp -d)
keep=${3:-$work}
server='' player=''
trap 'kill $player $server 2>/dev/null || :; wait; rm -rf "$work"' EXIT

Xvfb -displayfd 3 -screen 0 640x360x24 -nolisten tcp 3>"$work/display" 2>"$work/server" &
server=$!
for _ in $(seq 100); do
    [ -s "$work/display" ] && break
    sleep 0.1
done
DISPLAY=:$(cat "$work/display")
export DISPLAY

# A blue film, and its subtitles beside it.
mpv --no-config --really-quiet --ovc=mpeg4 --o="$work/film.mkv" av://lavfi:color=blue:size=640x360:rate=25:duration=6
cp "$subtitles" "$work/film.${subtitles##*.}"

# The screen's pixels, one a line: blue, green, red, unused.
pixels() {
    xwd -silent -root -out "$keep/$1.xwd" && tail -c $((640 * 360 * 4)) "$keep/$1.xwd" | od -An -v -tx1 -w4
}

# white_at SECONDS: how many pixels are white in the picture that the player has stopped at.
white_at() {
    mpv --no-config --no-terminal --vo=x11 --ao=null --fs --pause --start="$1" --hr-seek=yes --sub-auto=no --osc=no \
        --osd-bar=no --script="$plugin" "$work/film.mkv" &
    player=$!
    for _ in $(seq 100); do
        [ "$(pixels "$1" | grep -c '^ f[0-9a-f] 0[0-9a-f] 0[0-9a-f]')" -gt 200000 ] && break
        sleep 0.1
    done
    sleep 0.5
    white=$(pixels "$1" | grep -c '^ ff ff ff' || :)
    kill "$player"
    wait "$player" || :
    player=''
}

status=0
for expected in 0.5:none 2:some 3.8:none; do
    white_at "${expected%:*}"
    echo "at ${expected%:*} s: $white white pixels, ${expected#*:} expected"
    case ${expected#*:} in
    none) [ "$white" -eq 0 ] || status=1 ;;
    some) [ "$white" -gt 300 ] || status=1 ;;
    esac
done
exit $status
