# Sourced by the other scripts: what they install from Debian's packages, where our code is, and how a preset is built.

packages_build="g++ cmake ninja-build pkg-config libuchardet-dev libcli11-dev nlohmann-json3-dev libfmt-dev libgtest-dev"
packages_check="clang-format binutils locales valgrind python3-jsonschema mandoc"
packages_analyze="clang-tidy cppcheck"
packages_coverage="gcovr"
packages_package="dpkg-dev fakeroot file"
# Optional for the tests: a player for the example plug-in, a browser for the pages, another reader for converted files.
packages_outside="mpv libmpv-dev xvfb x11-apps chromium ffmpeg"
# Optional for the build: pellsub draws pictures with them.
packages_draw="libavcodec-dev libavutil-dev libpng-dev"
packages_fuzz="clang libclang-rt-14-dev"
packages_arm="g++-arm-linux-gnueabihf qemu-user libuchardet-dev:armhf libfmt-dev:armhf libstdc++6:armhf libc6:armhf"

as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    else
        sudo "$@"
    fi
}

# Where our code is, but for benchmarks and examples.
checked_directories="charset format fuzz platform protocol subtitle tests tools"

is_installed() {
    dpkg-query -W -f='${db:Status-Status}\n' "$1" 2>/dev/null | grep -qx installed
}

install_packages() {
    missing=
    for package in "$@"; do
        is_installed "$package" || missing="$missing $package"
    done
    [ -n "$missing" ] || return 0
    echo "Installing from Debian's packages:$missing" >&2
    case "$missing" in
    *:armhf*) as_root dpkg --add-architecture armhf ;;
    esac
    # A list that could not be refreshed may still do; the install tells.
    as_root apt-get update >&2 || true
    # shellcheck disable=SC2086
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends $missing >&2 || return
    installed=yes
}

# build_preset PRESET [TARGET...]: configures once, and again when packages came; builds what has changed.
build_preset() {
    preset=$1
    shift
    if [ ! -f "build/$preset/build.ninja" ] || [ -n "${installed-}" ]; then
        cmake --preset "$preset" >&2
    fi
    # shellcheck disable=SC2086
    cmake --build --preset "$preset" ${1:+--target} "$@" >&2
}
