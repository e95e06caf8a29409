# SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
# SPDX-License-Identifier: MIT
#
# Functions and lists that all scripts in this folder use. Sourced, not run.

set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

build_packages=(
    cmake
    g++
    libgl1-mesa-dev
    libmosquitto-dev
    ninja-build
    pkgconf
    qt6-base-dev
    qt6-declarative-dev
    qt6-declarative-dev-tools
    qt6-websockets-dev
)
run_packages=(
    fonts-dejavu-core
    qml6-module-qtqml
    qml6-module-qtqml-models
    qml6-module-qtqml-workerscript
    qml6-module-qtquick
    qml6-module-qtquick-controls
    qml6-module-qtquick-layouts
    qml6-module-qtquick-templates
    qml6-module-qtquick-window
)
# Qt Quick Test, the headers included by the C++ code of qmltc, and the programs that tests start: a reverse
# proxy, a WebSocket server that does not use Qt, tools for certificates and translations, and the QML runtime
# of Qt.
test_packages=(
    mosquitto
    mosquitto-clients
    nginx-light
    node-ws
    nodejs
    openssl
    qml-qt6
    qml6-module-qttest
    qt6-declarative-private-dev
    qt6-l10n-tools
)
# Qt for Python, which is not in Debian 12, and systemd-analyze
optional_test_packages=(
    python3-pyside6.qtgui
    python3-pyside6.qtqml
    systemd
)
# Installed by scripts/cluster, and used by tests if present
cluster_packages=(
    haproxy
    nats-server
    openssl
)
benchmark_packages=(
    libbenchmark-dev
    nlohmann-json3-dev
    python3
    qt6-remoteobjects-dev
)
# QDoc, qhelpgenerator, the database driver for .qch files, and the tools to build the site
docs_packages=(
    cmark-gfm
    libqt6sql6-sqlite
    python3
    qt6-documentation-tools
)
lint_packages=(
    clang-format
    clang-tidy
    clazy
    cppcheck
    git
    python3
    qt6-base-dev-tools
    reuse
)
coverage_packages=(
    gcovr
)

# The packages for fuzzing. libFuzzer is in a separate package with the version of clang in its name. In some
# releases clang depends on this package, in others it does not.
fuzz_packages() {
    local version
    version=$(apt-cache depends clang 2>/dev/null | sed -n 's/^ *Depends: clang-\([0-9]*\)$/\1/p')
    printf "%s\n" clang ${version:+"libclang-rt-$version-dev"}
}

say() {
    printf '== %s\n' "$*"
}

die() {
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 1
}

# not_installed NAME...: prints the names of those that are not installed.
not_installed() {
    local package
    for package in "$@"; do
        [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)" = installed ] ||
            printf '%s\n' "$package"
    done
}

# available NAME...: prints the names of those that this distribution provides.
available() {
    command -v apt-cache >/dev/null || return 0
    local package
    for package in "$@"; do
        if apt-cache show "$package" >/dev/null 2>&1; then
            printf '%s\n' "$package"
        else
            say "Skipping the package $package, which this distribution does not provide" >&2
        fi
    done
}

# install_packages NAME... [--optional NAME...]: installs the missing packages, and prints their names. Users who
# cannot install packages are told which command to run as root, once for all packages. Optional packages are
# skipped if this distribution does not provide them, or if nothing else is missing and they cannot be installed.
install_packages() {
    local required=() optional=()
    while [ $# -gt 0 ] && [ "$1" != --optional ]; do
        required+=("$1")
        shift
    done
    mapfile -t required < <(not_installed "${required[@]}")
    mapfile -t optional < <(not_installed "${@:2}")
    if [ ${#required[@]} -eq 0 ]; then
        install_optional "${optional[@]}"
        return
    fi

    local install=(apt-get install --no-install-recommends)
    if ! can_install; then
        mapfile -t optional < <(available "${optional[@]}")
        die "packages are missing, and only root can install them. After \"apt-get update\", run as root:

${install[*]} ${required[*]} ${optional[*]}
"
    fi
    quietly as_root apt-get update ||
        die "apt-get update failed. To install the packages without it, run as root: ${install[*]} ${required[*]}"
    mapfile -t optional < <(available "${optional[@]}") # according to the updated lists
    install+=("${required[@]}" "${optional[@]}")
    say "Installing missing packages and their dependencies: ${required[*]} ${optional[*]}"
    quietly as_root env DEBIAN_FRONTEND=noninteractive "${install[@]}" --yes ||
        die "cannot install the packages: ${install[*]}"
}

# install_optional NAME...: does the same if only optional packages are missing.
install_optional() {
    local packages=()
    mapfile -t packages < <(available "$@")
    [ ${#packages[@]} -gt 0 ] || return 0
    if ! can_install; then
        say "Skipping optional packages, which only root can install: ${packages[*]}"
        return
    fi
    say "Installing optional packages and their dependencies: ${packages[*]}"
    quietly as_root apt-get update && quietly as_root env DEBIAN_FRONTEND=noninteractive \
        apt-get install --no-install-recommends "${packages[@]}" --yes ||
        say "Skipping optional packages, which cannot be installed: ${packages[*]}"
}

can_install() {
    [ "$(id -u)" -eq 0 ] || can_use_sudo
}

as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    else
        sudo "$@"
    fi
}

# If sudo asks for a password, somebody must enter it.
can_use_sudo() {
    command -v sudo >/dev/null && { [ -t 0 ] || sudo -n true 2>/dev/null; }
}

# quietly COMMAND...: runs the command and shows its output only if it fails.
quietly() {
    local output
    output=$("$@" 2>&1) || {
        printf '%s\n' "$output" >&2
        return 1
    }
}

# install_prerequisites [NAME...] [--optional NAME...]: installs everything that building and running needs. On
# systems that are not based on Debian, it only checks that the tools are present.
install_prerequisites() {
    if command -v apt-get >/dev/null && command -v dpkg-query >/dev/null; then
        install_packages "${build_packages[@]}" "${run_packages[@]}" "$@"
    else
        say "apt-get was not found: install Qt 6.4 or newer with QML, Quick Controls, and WebSockets yourself"
    fi
    local tool
    for tool in cmake ninja c++; do
        command -v "$tool" >/dev/null || die "$tool was not found; please install it"
    done
}

# make_debian SUITE FOLDER [debootstrap options...]: creates a minimal Debian system in the folder, from the
# mirror that this machine uses. Requires root.
make_debian() {
    local suite=$1 folder=$2 mirror
    shift 2
    [ "$(id -u)" -eq 0 ] || die "cannot create another Debian system: this requires root"
    command -v debootstrap >/dev/null || install_packages debootstrap
    [ -e "/usr/share/debootstrap/scripts/$suite" ] || die "debootstrap does not support the Debian suite $suite"
    mirror=$(apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' 2>/dev/null |
        grep -v security | head -n 1 || true)
    say "Creating Debian $suite in ${folder#"$root/"}"
    rm -rf --one-file-system "$folder"
    mkdir -p "$folder"
    debootstrap --variant=minbase "$@" "$suite" "$folder" ${mirror:+"$mirror"} >"$folder.log" 2>&1 || {
        tail -n 20 "$folder.log" >&2
        die "debootstrap failed, see ${folder#"$root/"}.log"
    }
}

# enter_debian FOLDER COMMAND...: runs the command in that system, with its /proc and /dev. The mounts exist
# only for the command and are removed when it ends, even after a failure.
enter_debian() {
    cp -a /etc/apt/apt.conf.d/. "$1/etc/apt/apt.conf.d/" # such as settings for proxies
    cp /etc/resolv.conf /etc/hosts "$1/etc/"
    unshare --mount --propagation private bash -c '
        set -e
        system=$1
        shift
        mount -t proc proc "$system/proc"
        mount --rbind /dev "$system/dev"
        exec chroot "$system" env -i HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin TERM="${TERM-dumb}" "$@"
    ' debian "$@"
}

# build PRESET [cmake options...]: configures and builds build/PRESET, or only its $build_targets.
build() {
    local preset=$1
    shift
    if command -v ccache >/dev/null; then
        export CMAKE_CXX_COMPILER_LAUNCHER=${CMAKE_CXX_COMPILER_LAUNCHER-ccache}
    fi
    # Precompiled headers are faster, except with ccache. The other presets detect files that lack an include.
    local precompile=OFF
    case $preset in
    dev | release) [ -n "${CMAKE_CXX_COMPILER_LAUNCHER-}" ] || precompile=ON ;;
    esac
    say "Building (preset $preset)"
    cd "$root"
    mkdir -p "build/$preset"
    local log=build/$preset/configure.log
    cmake --preset "$preset" -DPELLIX_PRECOMPILE_HEADERS=$precompile "$@" >"$log" 2>&1 || {
        cat "$log" >&2
        die "configuring failed"
    }
    cmake --build --preset "$preset" ${build_targets:+--target $build_targets} || die "the build failed"
}

# run_without_display: programs started after this call show no windows. Qt requires a folder that only the
# user can access. If the session has none, this function creates one, which is removed at the end.
run_without_display() {
    export QT_QPA_PLATFORM=offscreen
    if [ ! -d "${XDG_RUNTIME_DIR-}" ] || [ ! -O "$XDG_RUNTIME_DIR" ]; then
        XDG_RUNTIME_DIR=$(mktemp -d)
        export XDG_RUNTIME_DIR
        trap 'rm -rf "$XDG_RUNTIME_DIR"' EXIT
    fi
}

# put_session FILE PAGE: inserts the content of the file between the session marks of the page.
put_session() {
    local page
    page=$(awk -v file="$1" '
        /<!-- session -->/ {
            print; print ""; print "```console"
            while ((getline line < file) > 0) lines[++count] = line
            while (count > 0 && lines[count] == "") --count
            for (i = 1; i <= count; ++i) print lines[i]
            print "```"; print ""
            skipping = 1
        }
        /<!-- end of session -->/ { skipping = 0 }
        !skipping { print }
    ' "$2")
    printf '%s\n' "$page" >"$2"
}
