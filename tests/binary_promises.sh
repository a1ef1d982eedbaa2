#!/bin/sh
# What the built objects promise. The plug-in exports the listed names and no other, and needs the utility library and
# the C library and nothing else; every object is hardened.
#   binary_promises.sh NM READELF EXPORTS PLUGIN [LIBRARY|PROGRAM...]
set -eu
nm=$1 readelf=$2 exports=$3 plugin=$4
shift 3
status=0

fail() {
    echo "$object: $1" >&2
    status=1
}

# has TEXT PATTERN
has() {
    printf '%s\n' "$1" | grep -Eq -- "$2"
}

# A shared object is position-independent; a program is when it says so.
hardened() {
    dynamic=$("$readelf" -dW "$object") segments=$("$readelf" -lW "$object")
    has "$segments" 'file type is DYN' || fail "not position-independent"
    has "$dynamic" BIND_NOW || fail "not bound at load time"
    has "$segments" 'GNU_RELRO' || fail "no read-only relocations"
    has "$dynamic" TEXTREL && fail "text relocations"
    has "$segments" 'GNU_STACK .* RW ' || fail "executable stack"
    has "$segments" ' RWE ' && fail "a segment both writable and executable"
    undefined=$("$nm" -D --undefined-only "$object")
    has "$undefined" ' __stack_chk_fail' || fail "no stack protector"
    # Branch tracking takes start files that allow it; Debian's, which a C++ runtime needs, do not.
    if has "$("$readelf" -hW "$object")" 'X86-64'; then
        notes=$("$readelf" -nW "$object")
        has "$notes" 'SHSTK' || fail "not marked for a shadow stack"
        has "$dynamic" 'libstdc' || has "$notes" 'IBT' || fail "not marked for branch tracking"
    fi
}

for object in "$@"; do
    hardened
done

object=$plugin
"$nm" -D --defined-only "$plugin" | awk '{ print $3 }' | LC_ALL=C sort | diff "$exports" - ||
    fail "exports differ from $exports"
# On 32-bit ARM the C library keeps the stack protector's guard in its dynamic linker.
needed=$("$readelf" -dW "$plugin" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | grep -v '^ld-linux' | LC_ALL=C sort | tr '\n' ' ')
[ "$needed" = "libc.so.6 libpell_player_utils.so " ] || fail "needs $needed"
has "$("$readelf" -dW "$plugin")" '\((INIT|FINI|INIT_ARRAY|FINI_ARRAY)\)' && fail "runs code when it is loaded"
[ "${PELL_FORTIFIED-0}" = 0 ] || has "$("$nm" -D --undefined-only "$plugin")" ' __vsnprintf_chk' || fail "not fortified"
exit $status
