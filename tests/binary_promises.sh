#!/bin/sh
# The shared object exports the listed names and no other, needs the utility library and the C library and nothing
# else, and is hardened.   binary_promises.sh LIBRARY EXPORTS NM READELF
set -eu
library=$1 exports=$2 nm=$3 readelf=$4
status=0

fail() {
    echo "$library: $1" >&2
    status=1
}

"$nm" -D --defined-only "$library" | awk '{ print $3 }' | LC_ALL=C sort | diff "$exports" - ||
    fail "exports differ from $exports"

# On 32-bit ARM the C library keeps the stack protector's guard in its dynamic linker.
needed=$("$readelf" -dW "$library" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | grep -v '^ld-linux' | LC_ALL=C sort | tr '\n' ' ')
[ "$needed" = "libc.so.6 libpell_player_utils.so " ] || fail "needs $needed"

"$readelf" -dW "$library" | grep -q BIND_NOW || fail "not bound at load time"
"$readelf" -lW "$library" | grep -q GNU_RELRO || fail "no read-only relocations"
"$readelf" -lW "$library" | grep GNU_STACK | grep -q E && fail "executable stack"
"$readelf" -dW "$library" | grep -q TEXTREL && fail "text relocations"
exit $status
