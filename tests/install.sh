#!/bin/sh
# What has been installed is enough to build hosts against: the example host is built with CMake and with pkg-config,
# and as one that loads the plug-in by itself; the tool runs. The installed tree is moved before it is used.
#   install.sh BUILD TOP CMAKE CC TOOLCHAIN_FILE [EMULATOR...]     TOOLCHAIN_FILE may be empty
set -eu
build=$1 top=$2 cmake=$3 cc=$4 toolchain=$5
shift 5
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
sample=$top/samples/movie.en.srt
status=0
unset LD_LIBRARY_PATH PELL_FORMAT_LIB PKG_CONFIG_LIBDIR || :

DESTDIR=$work/staged "$cmake" --install "$build" --prefix /first >"$work/log" 2>&1 || { cat "$work/log" >&2; exit 1; }
mv "$work/staged/first" "$work/second"
tree=$work/second
lib=$(dirname "$(find "$tree" -name libpell_format.so)")
export PKG_CONFIG_PATH="$lib/pkgconfig"

# expect WHAT PATTERN COMMAND...: the command prints a line that matches.
expect() {
    what=$1 pattern=$2
    shift 2
    "$@" >"$work/out" 2>&1 && grep -q "$pattern" "$work/out" || {
        echo "$what: no \"$pattern\" in:" >&2
        cat "$work/out" >&2
        status=1
    }
}

mkdir "$work/project"
cp "$top/examples/shortest_host.c" "$top/examples/memory_host.c" "$work/project"
cat >"$work/project/names.c" <<'END'
#include "charset/pell_charset.h"
#include "platform/player_utils/player_utils.h"
#include <stdio.h>
int main(void) { return puts(PellCharsetName(PELL_CODE_UTF8)) < 0; }
END
cat >"$work/project/CMakeLists.txt" <<'END'
cmake_minimum_required(VERSION 3.25)
project(host C)
find_package(pell 0.1 REQUIRED COMPONENTS format charset)
foreach(host shortest_host memory_host)
  add_executable(${host} ${host}.c)
  target_link_libraries(${host} PRIVATE pell::format ${CMAKE_DL_LIBS})
endforeach()
add_executable(names names.c)
target_link_libraries(names PRIVATE pell::charset)
END
{
    "$cmake" -G Ninja -S "$work/project" -B "$work/made" -DCMAKE_PREFIX_PATH="$tree" -DCMAKE_FIND_ROOT_PATH="$tree" \
        -DCMAKE_LIBRARY_PATH="$lib" -Dpell_DIR="$lib/cmake/pell" ${toolchain:+-DCMAKE_TOOLCHAIN_FILE="$toolchain"} &&
        "$cmake" --build "$work/made"
} >"$work/log" 2>&1 || { cat "$work/log" >&2; exit 1; }
last='^3723004 ms: An hour, you said\.'
expect 'host, found by CMake' "$last" "$@" "$work/made/shortest_host" "$sample"
expect 'host with its own protocol' '^3000 to 4000 ms: Non, deux thés\.' "$@" "$work/made/memory_host"
expect 'charset, found by CMake' '^UTF-8$' "$@" "$work/made/names"

cd "$work/project"
# shellcheck disable=SC2046
"$cc" shortest_host.c -o by_pkg_config $(pkg-config --cflags --libs pell_format) -ldl -Wl,-rpath,"$lib"
# shellcheck disable=SC2046
"$cc" names.c -o names $(pkg-config --cflags --libs pell_charset) -Wl,-rpath,"$lib"
"$cc" shortest_host.c -o by_itself -I "$tree/include/pell" -ldl
expect 'host, found by pkg-config' "$last" "$@" ./by_pkg_config "$sample"
expect 'charset, found by pkg-config' '^UTF-8$' "$@" ./names
LD_LIBRARY_PATH=$lib expect 'host that only loads' "$last" "$@" ./by_itself "$sample"

expect 'pellsub' 'format    SubRip (srt)' "$@" "$tree/bin/pellsub" info "$sample"
for file in man/man1/pellsub.1 bash-completion/completions/pellsub zsh/site-functions/_pellsub \
    fish/vendor_completions.d/pellsub.fish; do
    grep -q pellsub "$tree/share/$file" || { echo "share/$file says nothing of pellsub" >&2; status=1; }
done
if [ -f "$lib/pellsub/libpellsub_picture.so" ]; then
    expect 'pellsub render' 'picture' "$@" "$tree/bin/pellsub" render "$top"/samples/vobsub/*.idx --to "$work/pictures"
fi
exit $status
