# Sourced by ./run, ./test and bench/run: Debian packages and a private X server.

BUILD_PACKAGES="g++ cmake ninja-build libx11-dev libgl-dev libglx-dev libglu1-mesa-dev \
zlib1g-dev libpng-dev libcli11-dev libeigen3-dev libassimp-dev libjpeg-dev"
RUN_PACKAGES="libgl1-mesa-dri"
HEADLESS_PACKAGES="xvfb xdotool"
MODEL_PACKAGE="libcgal-demo"
TEST_PACKAGES="libgtest-dev libgmock-dev libxfixes-dev xvfb xdotool libgl1-mesa-dri \
$MODEL_PACKAGE assimp-testmodels"
BENCH_PACKAGES="libbenchmark-dev xvfb libgl1-mesa-dri $MODEL_PACKAGE"

# need_packages NAME...: installs what is missing, as root or through sudo.
need_packages() {
    local missing="" name
    for name in "$@"; do
        dpkg-query -W -f='${Status}' "$name" 2>/dev/null | grep -q "install ok installed" ||
            missing="$missing $name"
    done
    [ -z "$missing" ] && return 0
    echo "Installing missing packages:$missing"
    local as_root=""
    if [ "$(id -u)" -ne 0 ]; then
        as_root="sudo"
        if ! command -v sudo >/dev/null; then
            echo "$0: not root and no sudo; please install:$missing" >&2
            return 1
        fi
    fi
    if ! { $as_root apt-get update -qq &&
           $as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq \
               --no-install-recommends $missing >/dev/null; }; then
        echo "$0: could not install; please install yourself:$missing" >&2
        return 1
    fi
}

# need_models FOLDER: sets MODEL_ARCHIVE to the packed models that tests and benchmarks import.
# Minimal systems leave out what packages put there: then the package is fetched again and unpacked
# in FOLDER. Without the archive those tests skip themselves.
need_models() {
    local archive=usr/share/doc/libcgal-dev/data.tar.gz
    MODEL_ARCHIVE=/$archive
    [ -f "$MODEL_ARCHIVE" ] && return 0
    mkdir -p "$1" && MODEL_ARCHIVE=$(cd "$1" && pwd)/$archive
    [ -f "$MODEL_ARCHIVE" ] && return 0
    (cd "$1" && apt-get download -qq "$MODEL_PACKAGE" && dpkg-deb -x "$MODEL_PACKAGE"_*.deb . &&
        rm "$MODEL_PACKAGE"_*.deb) >/dev/null 2>&1 ||
        echo "$0: no models from $MODEL_PACKAGE: what needs them is skipped" >&2
}

# start_xvfb GEOMETRY: starts a private X server on a free display and exports DISPLAY.
start_xvfb() {
    local number_file
    number_file=$(mktemp)
    Xvfb -displayfd 3 -screen 0 "$1" +extension GLX -nolisten tcp -noreset \
        3>"$number_file" 2>/dev/null &
    XVFB_PID=$!
    local tries=0
    while [ ! -s "$number_file" ]; do
        tries=$((tries + 1))
        if [ $tries -gt 200 ] || ! kill -0 "$XVFB_PID" 2>/dev/null; then
            echo "$0: the virtual X server did not start" >&2
            rm -f "$number_file"
            return 1
        fi
        sleep 0.1
    done
    DISPLAY=":$(cat "$number_file")"
    export DISPLAY
    rm -f "$number_file"
}

stop_xvfb() {
    [ -n "${XVFB_PID:-}" ] || return 0
    kill "$XVFB_PID" 2>/dev/null
    wait "$XVFB_PID" 2>/dev/null
    XVFB_PID=""
}
