#!/usr/bin/env bash
# Builds Qt for Windows x64 on Debian 12 from Debian 13's source package, with just the modules and
# features that the program uses. Prints the finished folder's path as the last line of standard
# output; a second run finds the folder and ends at once, an interrupted run goes on where it was.
#
# qt-windows.sha256 records the files that are downloaded. When Debian 13 has replaced them, its new ones
# are taken, with a warning; ORVANTA_RECORDED_INPUTS=yes refuses that. The folder's name holds a checksum of
# what the built bytes depend on, the recipe, the recorded files and the installed compiler; it ends with
# "-moved" if other files were taken.
#
#   qt-windows.sh                builds
#   qt-windows.sh --print-path   only prints the path
#
# The folder lies in ${XDG_CACHE_HOME:-~/.cache}/orvanta-configurator and holds
#   bin/, lib/, include/, plugins/   Qt and the compiler's run-time libraries, stripped
#   host/                            Qt's tools for this machine (QT_HOST_PATH)
#   mingw/                           Windows headers and import libraries
#   licenses/                        licence texts, and the versions of what was built
#   sbom/                            what Qt's build recorded of its parts
#   sources/                         what was downloaded, for the next build, and this recipe
#
# The program's build finds it through windows-toolchain.cmake.
set -euo pipefail

recipe_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
toolchain=$recipe_dir/windows-toolchain.cmake
sums=$recipe_dir/qt-windows.sha256
cache_dir=${XDG_CACHE_HOME:-$HOME/.cache}/orvanta-configurator
work=$cache_dir/qt-windows.work
stage=$work/stage
log=$work/log
recorded_only=${ORVANTA_RECORDED_INPUTS:-}
readonly recipe_dir toolchain sums cache_dir work stage log recorded_only

readonly build_packages=(ccache cmake dpkg-dev g++ ninja-build)
readonly compiler_packages=(
    binutils-mingw-w64-x86-64 g++-mingw-w64-x86-64-posix gcc-mingw-w64-base gcc-mingw-w64-x86-64-posix
    gcc-mingw-w64-x86-64-posix-runtime
)

readonly modules_off=(androiddeployqt dbus network printsupport qmake sql xml)

# What the program does without, in Qt Core, Gui and Widgets. Combo boxes, tables, trees, text editors
# and the like stay: Qt's Windows style does not compile without them.
readonly features_off=(
    concatenatetablesproxymodel datetimeparser glib hijricalendar icu identityproxymodel jalalicalendar
    mimetype permissions sharedmemory systemsemaphore timezone_locale transposeproxymodel zstd

    direct2d1_1 filesystemmodel freetype ico imageformat_ppm imageformat_xbm jpeg pdf picture raster_64bit
    raster_fp sessionmanager systemtrayicon tabletevent textmarkdownreader textmarkdownwriter textodfwriter
    undocommand vulkan

    buttongroup calendarwidget columnview completer datawidgetmapper dial dockwidget filedialog gestures
    keysequenceedit lcdnumber listwidget mdiarea progressbar scroller splashscreen splitter statusbar
    style_fusion toolbox
)

# GCC 12 for MinGW stops with an internal error on stack clash protection, and Windows takes no
# control-flow markers from GCC.
readonly hardening_off=(intelcet stack_clash_protection)

readonly build_options=(
    -DBUILD_WITH_PCH=ON -DQT_UNITY_BUILD=ON -DQT_USE_CCACHE=ON
    -DQT_BUILD_EXAMPLES=OFF -DQT_BUILD_TESTS=OFF -DFEATURE_pkg_config=OFF
)

# ccache needs both to work with precompiled headers.
export CXXFLAGS=-fpch-preprocess CCACHE_SLOPPINESS=pch_defines,time_macros

# Stripping writes the time into a library: the same for every build.
export SOURCE_DATE_EPOCH=0

# The same order of files everywhere.
export LC_ALL=C.UTF-8

# Compiled regular expressions leave a lock behind in MinGW's runtime when a thread ends, and the end
# of the program waits for it.
export CFLAGS=-DPCRE2_DISABLE_JIT

say() {
    echo "== $*" >&2
}

fail() {
    echo "qt-windows.sh: $*" >&2
    exit 1
}

# Appends a command's output to the log and shows the log's end when the command fails.
logged() {
    "$@" >>"$log" 2>&1 && return
    tail -n 40 "$log" >&2
    fail "failed: $* (whole log: $log)"
}

# Runs ninja in a folder; shows the percentage only, since Qt's sources warn a lot under MinGW.
build() {
    NINJA_STATUS='[%p] ' ninja -C "$1" -j "$(nproc)" 2>&1 | tee -a "$log" |
        sed --unbuffered --quiet 's/^\(\[ *[0-9]*%\]\).*/   \1/p' | stdbuf --output=L uniq >&2 && return
    tail -n 40 "$log" >&2
    fail "the build in $1 failed (whole log: $log)"
}

# Runs a step's function once, whatever number of interrupted runs it takes to reach the end.
step() {
    [[ -e $work/$1.done ]] && return
    say "$2"
    "$1"
    touch "$work/$1.done"
}

# Configures Qt's source into a folder; the features to leave out stand before "--", CMake's arguments behind.
configure() {
    local folder=$1 switches=()
    shift
    while [[ $1 != -- ]]; do
        switches+=("-DFEATURE_$1=OFF")
        shift
    done
    shift
    logged cmake -S "$work/source" -B "$folder" -G Ninja "${build_options[@]}" "${switches[@]}" "$@"
}

# The machine's own Debian mirror, asked for Debian 13. Debian 12 knows two formats of this file.
trixie_sources() {
    local machine=/etc/apt/sources.list.d/debian.sources
    if [[ -e $machine ]]; then
        sed -e 's/bookworm/trixie/g; s/\S*-backports\S*//g; s/^Types:.*/Types: deb deb-src/' "$machine" \
            >"$work/apt/trixie.sources"
        echo "$work/apt/trixie.sources"
    else
        sed --quiet '/backports\|cdrom:/d; s/bookworm/trixie/g; s/^deb /&/p; s/^deb /deb-src /p' /etc/apt/sources.list \
            >"$work/apt/trixie.list"
        echo "$work/apt/trixie.list"
    fi
}

# Leaves the machine's package lists as they are. apt verifies everything with Debian's archive keyring.
apt_trixie() {
    apt-get -o Dir::Etc::SourceList="$(trixie_sources)" -o Dir::Etc::SourceParts=- \
        -o Dir::State::Lists="$work/apt/lists" -o Dir::Cache="$work/apt/cache" \
        -o Acquire::AllowInsecureRepositories=false -o APT::Get::AllowUnauthenticated=false \
        -o APT::Update::Error-Mode=any -o APT::Sandbox::User="$(id -un)" -o Acquire::Retries=3 "$@"
}

# The packages whose files a list of checksums names, one "name=version" a line.
packages_of() {
    sed --quiet 's/^\S* *\([^_]*\)_\(.*\)\(\.dsc\|_all\.deb\)$/\1=\2/p'
}

# copy_kept LIST: copies the files of a list of checksums from a folder that has them all.
copy_kept() {
    local folder
    for folder in "$recipe_dir" "$cache_dir"/qt-windows-*/sources; do
        (cd "$folder" && sha256sum --check --strict --status "$1") 2>/dev/null || continue
        rm -f "$work/download"/*
        cp "$folder"/*_* "$work/download"
        return
    done
    return 1
}

# fetch PACKAGE...: downloads them, each with "=version" or as the newest of Debian 13.
fetch() {
    local package
    rm -f "$work/download"/*
    for package in "$@"; do
        case $package in
        qt6-base*) apt_trixie source --download-only "$package" ;;
        *) apt_trixie download "$package" ;;
        esac || return
    done >>"$log" 2>&1
}

download() {
    local recorded
    mapfile -t recorded < <(packages_of <"$sums")
    rm -f "$work/moved-inputs.txt"
    mkdir -p "$work"/apt/{lists,cache}/partial "$work"/apt/cache/archives/partial "$work/download"
    cd "$work/download"
    copy_kept "$sums" && return
    apt_trixie update >>"$log" 2>&1 || say "Debian 13's lists of packages cannot be read"
    fetch "${recorded[@]}" && sha256sum --check --strict --quiet "$sums" >>"$log" 2>&1 && return
    [[ $recorded_only != yes ]] || fail "neither Debian 13 nor an earlier build has the files of $sums (whole log: $log)"
    fetch "${recorded[@]%=*}" || copy_kept qt-windows.sha256 ||
        fail "neither Debian 13 nor an earlier build has ${recorded[*]%=*} (whole log: $log)"
    echo "Warning: Qt for Windows is built from $(sha256sum -- *_* | packages_of | xargs)," \
        "not from the recorded ${recorded[*]}." >"$work/moved-inputs.txt"
}

unpack() {
    local package
    rm -rf "$work/source" "$work/mingw" "$stage"
    mkdir -p "$stage"
    logged dpkg-source --extract "$work"/download/qt6-base_*.dsc "$work/source"
    for package in "$work"/download/mingw-*.deb; do
        logged dpkg --extract "$package" "$work/mingw"
    done
    cp --recursive --dereference "$work/mingw/usr/x86_64-w64-mingw32" "$stage/mingw"
}

host_tools() {
    configure "$work/host" "${modules_off[@]}" "${features_off[@]}" \
        concurrent gui testlib widgets -- \
        -DCMAKE_INSTALL_PREFIX="$stage/host" -DCMAKE_BUILD_TYPE=MinSizeRel -DBUILD_SHARED_LIBS=OFF
    build "$work/host"
    logged cmake --install "$work/host" --strip
}

# The prefix ends up in the libraries, so it names no folder of this machine. Text needs Direct2D's
# sources to compile, but not its platform plugin.
windows() {
    configure "$work/windows" "${modules_off[@]}" "${features_off[@]}" "${hardening_off[@]}" -- \
        -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DORVANTA_QT_WINDOWS="$stage" -DCMAKE_INSTALL_PREFIX=/qt \
        -DCMAKE_BUILD_TYPE=Release -DBUILD_SHARED_LIBS=ON -DFEATURE_optimize_size=ON \
        -DFEATURE_direct2d=ON -DINPUT_opengl=no
    build "$work/windows"
    logged cmake --install "$work/windows" --prefix "$stage" --strip
}

runtime() {
    local library
    for library in libgcc_s_seh-1.dll libstdc++-6.dll; do
        x86_64-w64-mingw32-strip -o "$stage/bin/$library" "$(x86_64-w64-mingw32-g++-posix -print-file-name=$library)"
    done
    x86_64-w64-mingw32-strip -o "$stage/bin/libwinpthread-1.dll" "$stage/mingw/lib/libwinpthread-1.dll"
}

# Beside each of Qt's lists of other people's code lie the licences that it names.
licenses() {
    mkdir -p "$stage/licenses/qt"
    cd "$work/source"
    find LICENSES src util -type f \
        \( -path 'LICENSES/*' -o -name qt_attribution.json -o -iname '*licen[cs]e*' -o -name 'COPY*' \) \
        -exec cp --parents --target-directory="$stage/licenses/qt" {} +
    cp debian/copyright "$stage/licenses/qt6-base.txt"
    cp "$work/mingw/usr/share/doc/mingw-w64-common/copyright" "$stage/licenses/mingw-w64.txt"
    cp /usr/share/doc/gcc-mingw-w64-base/copyright "$stage/licenses/gcc-mingw-w64.txt"
    {
        echo "qt6-base $(dpkg-parsechangelog --show-field Version)"
        echo "mingw-w64 $(dpkg-deb --field "$work"/download/mingw-w64-common_*.deb Version)"
        echo "gcc-mingw-w64 $(dpkg-query --show --showformat='${Version}' gcc-mingw-w64-base)"
    } >"$stage/licenses/versions.txt"
}

sources() {
    mkdir -p "$stage/sources"
    cp "$work"/download/* "$recipe_dir/qt-windows.sh" "$toolchain" "$stage/sources"
    cd "$stage/sources"
    sha256sum -- *_* >qt-windows.sha256
}

# Keeps an interrupted run's work only if the recipe is still the same. The folder's name stays the same
# for every recipe, since ccache finds nothing under another name.
open_work() {
    [[ -e $work/$key && ! ($recorded_only == yes && -e $work/moved-inputs.txt) ]] && return
    rm -rf "$work"
    mkdir -p "$work"
    touch "$work/$key"
}

finish() {
    if [[ -e $work/moved-inputs.txt ]]; then
        cp "$work/moved-inputs.txt" "$stage"
        result+=-moved
    fi
    mv "$stage" "$result"
    rm -rf "$work"
}

[[ $# -eq 0 || $* == --print-path ]] || fail "expected --print-path or nothing, found: $*"
dpkg --status "${build_packages[@]}" "${compiler_packages[@]}" >/dev/null 2>&1 ||
    fail "expected these packages to be installed: ${build_packages[*]} ${compiler_packages[*]}"
key=$({ cat "$recipe_dir/qt-windows.sh" "$toolchain" "$sums" && dpkg-query --show "${compiler_packages[@]}"; } |
    sha256sum | cut -c1-12)
readonly key

if [[ $# -eq 0 ]]; then
    mkdir -p "$cache_dir"
    exec 8>"$cache_dir/qt-windows.lock"
    flock 8
fi
result=$cache_dir/qt-windows-$key
[[ -d $result || $recorded_only == yes || ! -d $result-moved ]] || result+=-moved
if [[ $# -eq 0 && ! -d $result ]]; then
    open_work
    step download "Downloading Qt's source package and the Windows headers"
    step unpack "Unpacking"
    step host_tools "Building Qt's tools for this machine"
    step windows "Building Qt for Windows"
    step runtime "Adding the compiler's run-time libraries"
    step licenses "Collecting the licence texts"
    step sources "Keeping what was downloaded"
    finish
fi
[[ ! -e $result/moved-inputs.txt ]] || say "$(<"$result/moved-inputs.txt")"
echo "$result"
