#!/usr/bin/env bash
# Builds the installer's compiler, NSIS, from Debian's source package: Debian 12's own lets other users
# of a machine plant files into the temporary folders of an installer that the system runs, and Debian's
# later builds do not start on Debian 12. What installers are made of comes from Debian's nsis-common.
#
# nsis.sha256 records the files that are downloaded; others are refused. The folder's name holds a
# checksum of this script and of that list.
#
#   nsis.sh                builds, once, and prints the finished folder's path; the compiler is Bin/makensis
#   nsis.sh --print-path   only prints the path
set -euo pipefail

readonly version=3.12 release=forky
recipe_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
sums=$recipe_dir/nsis.sha256
cache_dir=${XDG_CACHE_HOME:-$HOME/.cache}/orvanta-configurator
key=$(cat "$recipe_dir/nsis.sh" "$sums" | sha256sum | cut -c1-12)
result=$cache_dir/nsis-$version-$key
work=$cache_dir/nsis.work
log=$work/log
readonly recipe_dir sums cache_dir key result work log

fail() {
    echo "nsis.sh: $*" >&2
    exit 1
}

# Appends a command's output to the log and shows the log's end when the command fails.
logged() {
    "$@" >>"$log" 2>&1 && return
    tail -n 40 "$log" >&2
    fail "failed: $*"
}

# Asks the machine's own Debian mirror for that release and leaves its package lists as they are.
apt_release() {
    apt-get -o Dir::Etc::SourceList="$work/sources.list" -o Dir::Etc::SourceParts=- \
        -o Dir::State::Lists="$work/lists" -o Dir::Cache="$work/cache" \
        -o APT::Update::Error-Mode=any -o APT::Sandbox::User="$(id -un)" -o Acquire::Retries=3 "$@"
}

download() {
    local mirror
    mkdir -p "$work"/{lists,cache,cache/archives}/partial "$work/download"
    mirror=$(apt-get indextargets --format '$(REPO_URI)' \
        'Created-By: Packages' 'Release: bookworm' 'Component: main' | head -n 1)
    printf '%s [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] %s %s main\n' \
        deb "$mirror" "$release" deb-src "$mirror" "$release" >"$work/sources.list"
    logged apt_release update
    cd "$work/download"
    logged apt_release source --download-only nsis
    logged apt_release download nsis-common
    sha256sum --check --strict --quiet "$sums" >>"$log" 2>&1 ||
        fail "expected the files of $sums, but Debian now has others. To build from those, write these lines to it (and their version here):
$(sha256sum ./*.* | sed 's|\./||')"
}

# The compiler looks for the rest in the folder above its own.
build() {
    logged dpkg-source --extract "$work"/download/nsis_*.dsc "$work/source"
    logged dpkg --extract "$work"/download/nsis-common_*.deb "$work/common"
    cd "$work/source"
    logged scons -j "$(nproc)" VERSION="$version" NSIS_CONFIG_CONST_DATA_PATH=no STRIP_CP=no \
        SKIPSTUBS=all SKIPPLUGINS=all SKIPUTILS=all SKIPMISC=all SKIPDOC=all makensis
    cp build/urelease/makensis/makensis "$work/common/usr/share/nsis/Bin"
    mv "$work/common/usr/share/nsis" "$result"
}

[[ $# -eq 0 || $* == --print-path ]] || fail "expected --print-path or nothing, found: $*"
if [[ $# -eq 0 ]]; then
    mkdir -p "$cache_dir"
    exec 8>"$cache_dir/nsis.lock"
    flock 8
    if [[ ! -d $result ]]; then
        echo "== Building NSIS $version" >&2
        rm -rf "$work"
        mkdir "$work"
        download
        build
        rm -rf "$work"
    fi
fi
echo "$result"
