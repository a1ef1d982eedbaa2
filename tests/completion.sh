#!/usr/bin/env bash
# The manual and the completions that were made are sound, and bash completes what it should.
# completion.sh SHARE SAMPLES
set -u
share=$1 samples=$2
failed=0
if command -v mandoc >/dev/null; then
    mandoc -T lint -W style "$share/man/man1/pellsub.1" || failed=1
fi
for shell in bash:bash-completion/completions/pellsub zsh:zsh/site-functions/_pellsub \
    fish:fish/vendor_completions.d/pellsub.fish; do
    if command -v "${shell%%:*}" >/dev/null; then
        "${shell%%:*}" -n "$share/${shell#*:}" || failed=1
    fi
done

. "$share/bash-completion/completions/pellsub"
cd "$samples" || exit 1
# completes EXPECTED WORD...: the last word is the one to complete.
completes() {
    local expected=$1
    shift
    COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMPREPLY=()
    _pellsub 2>/dev/null || true # options of a completion cannot be set outside of one
    if [[ "${COMPREPLY[*]}" != "$expected" ]]; then
        echo "$*: \"${COMPREPLY[*]}\" instead of \"$expected\"" >&2
        failed=1
    fi
}
completes 'convert check' pellsub c
completes 'info' pellsub info
completes '--help' pellsub --h
completes 'json jsonl' pellsub dump --as j
completes '--no-converter' pellsub dump --no
completes 'movie.en.srt' pellsub info movie
completes 'vobsub' pellsub convert --dir v
completes '' pellsub dump --from ''
completes '' pellsub generate ''
exit $failed
