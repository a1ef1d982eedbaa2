#!/bin/sh
# What a browser makes of timeline's pages: the script runs under the page's own policy, draws what is there, and makes
# elements of nothing that a file says. 77 without Chromium.
# timeline_page.sh TOP PELLSUB
set -eu
top=$1
pellsub=$2
browser=$(command -v chromium || command -v chromium-browser || command -v google-chrome) || exit 77
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0

# dom PAGE[#PLACE] [OPTION...]: the document after its scripts have run, without style, script and data.
dom() {
    page=$1
    shift
    # On a busy machine the document may be taken before its first frame is drawn.
    for _ in 1 2 3 4 5 6; do
        timeout 120 "$browser" --headless=new --no-sandbox --disable-gpu --user-data-dir="$work/profile" \
            --no-first-run --window-size=1200,900 --virtual-time-budget=5000 "$@" --dump-dom "file://$work/$page" \
            2>"$work/log" | sed '/<style>/,/<\/style>/d;/<script/,/<\/script>/d' >"$work/dom"
        ! grep -q 'data-bars=' "$work/dom" || return 0
    done
}

# expect COUNT PATTERN WHAT: so often the pattern is in the document.
expect() {
    count=$(grep -o -e "$2" "$work/dom" | wc -l)
    [ "$count" -eq "$1" ] || {
        echo "$3: $count instead of $1 of $2" >&2
        failed=1
    }
}

# Lyrics are delivered as they stand. In the browser each of these would leave an element or another title.
hostile='</script><script>document.title="owned"</script><img src=x onerror=document.title="owned"><svg onload=alert(1)>'
{
    printf '[00:01.00]%s\n' "$hostile"
    printf '[00:02.00]<!--<script>\n[00:03.00]&lt;b&gt;plain\n'
} >"$work/<b>bold&.lrc"
"$pellsub" timeline "$work/<b>bold&.lrc" -o "$work/hostile.html"
dom hostile.html
expect 1 'data-bars="3"' "bars of hostile text"
expect 3 'role="option"' "rows of hostile text"
expect 0 '<script\|<img\|<svg\|<b>' "elements out of text"
expect 3 '&lt;b&gt;bold&amp;\.lrc</h1>\|&lt;b&gt;bold&amp;\.lrc – timeline</title>\|&amp;lt;b&amp;gt;plain</div>' "text as it stands"

# Two streams that overlap, one cue too fast, a gap under 80 ms and one over 10 s; a place in the address.
cat >"$work/a.en.srt" <<'END'
1
00:00:01,000 --> 00:00:03,000
A quiet start.

2
00:00:03,040 --> 00:00:03,540
Twenty-four characters.

3
00:00:20,000 --> 00:00:24,000
After the gap.

4
00:00:22,000 --> 00:00:25,000
Both at once.

END
printf '1\n00:00:01,000 --> 00:00:03,000\n\352\260\200\353\202\230\353\213\244\n\n' >"$work/a.ko.srt"
"$pellsub" timeline "$work/a.en.srt" "$work/a.ko.srt" -o "$work/two.html"
dom 'two.html#00:00:23.000'
expect 1 'data-bars="4"' "bars of the first stream"
expect 1 'data-bars="1"' "bars of the second stream"
expect 5 'role="option"' "rows of both"
expect 1 'aria-selected="true"' "selected rows"
expect 1 '>Cue 3</h2>' "the cue at the place"
expect 1 '>46\.0 cps</button>' "the fastest"
expect 1 '>3\.0 cps</span>' "Hangul counts as two"
expect 1 '>16\.5 s</button>' "the longest gap"
expect 1 'aria-label="1 of a.en.srt · en: Overlapping"' "overlaps"
expect 1 'aria-label="1 of a.en.srt · en: After a gap under 80 ms"' "short gaps"

# Only what is in view is drawn, however much there is.
awk 'BEGIN { for (i = 0; i < 20000; i++) printf "{%d}{%d}line %d\n", i * 60, i * 60 + 45, i }' >"$work/long.sub"
"$pellsub" timeline --fps 30 "$work/long.sub" -o "$work/long.html"
dom long.html
expect 1 '>20,000 cues</span>' "cues of a long file"
[ "$(grep -o 'role="option"' "$work/dom" | wc -l)" -lt 40 ] || { echo "rows out of view" >&2; failed=1; }
[ "$(sed -n 's/.*data-bars="\([0-9]*\)".*/\1/p' "$work/dom")" -lt 40 ] || { echo "bars out of view" >&2; failed=1; }

# VobSub: pictures where this build draws them.
"$pellsub" timeline "$top/samples/vobsub/film.idx" -o "$work/film.html" || [ $? -eq 1 ]
dom film.html
pictures=$(grep -c 'iVBORw0KGgo' "$work/film.html") || true
expect "$pictures" '<img [^>]*alt="Picture shown at' "pictures in the list"
exit $failed
