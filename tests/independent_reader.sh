#!/bin/sh
# What `pellsub convert` writes is read by ffprobe, cue for cue. 77 without ffprobe.
# independent_reader.sh SAMPLES PELLSUB
set -eu
samples=$1
pellsub=$2
command -v ffprobe >/dev/null || { echo "skipped: no ffprobe"; exit 77; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0
compared=0

packets() {
    ffprobe -v error -select_streams s -count_packets -show_entries stream=nb_read_packets -of csv=p=0 "$1"
}

for row in 'srt -->' 'vtt -->' 'ass ^Dialogue:'; do
    format=${row%% *}
    # Samples come with faults and some are left out for it; what is written has to be right all the same.
    "$pellsub" convert -r "$samples" --to "$format" --dir "$work/$format" >/dev/null 2>&1 || [ $? -le 2 ]
    for file in "$work/$format"/*; do
        written=$(grep -c -e "${row#* }" "$file") || true
        found=$(packets "$file")
        [ "$written" -gt 0 ] && [ "$found" = "$written" ] || {
            echo "${file##*/}: $written cues written, $found read" >&2
            failed=1
        }
        compared=$((compared + 1))
    done
done
echo "$compared files compared"
[ $compared -gt 30 ] || failed=1
exit $failed
