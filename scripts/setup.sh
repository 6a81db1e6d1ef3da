# Sourced by ./run, ./test and the scripts: installs the Debian packages of some groups, configures and
# builds a preset. Everything printed here goes to standard error, and nothing is printed when nothing is
# to do: standard output belongs to the command that is run afterwards.
#
# Requires: bash, `set -euo pipefail`, and that this file is sourced by its physical path.
#
# The path with nothing to do costs a few forks only (flock and one dry run of ninja), because ./run stands
# in front of every use of the command.

root=${BASH_SOURCE[0]%/scripts/setup.sh}
unset CDPATH NINJA_STATUS

say() {
    printf '%s\n' "$@" >&2
}

fail() {
    say "$@"
    exit 1
}

# packages_of GROUP...: sets `packages` to the packages of the groups.
packages_of() {
    local group name list found
    packages=()
    for group; do
        found=
        while IFS=: read -r name list; do
            if [[ $name == "$group" ]]; then
                found=yes
                # shellcheck disable=SC2206 # one word is one package
                packages+=($list)
            fi
        done <"$root/scripts/packages"
        [[ -n $found ]] || fail "scripts/packages has no group $group"
    done
}

# missing_packages: sets `missing` to those of `packages` that are not installed.
missing_packages() {
    local package installed format='${Package}:${db:Status-Status} '
    installed=" $(dpkg-query --show --showformat "$format" "${packages[@]}" 2>/dev/null || true)"
    missing=()
    for package in "${packages[@]}"; do
        [[ $installed == *" $package:installed "* ]] || missing+=("$package")
    done
}

as_root() {
    if ((EUID == 0)); then
        "$@"
    else
        sudo "$@"
    fi
}

# require_packages GROUP...: installs what is missing. A stamp per group remembers the answer; it holds as
# long as it is newer than the list of packages and than dpkg's own record, so a removed package is noticed.
require_packages() {
    local group stamp holds=yes
    for group; do
        stamp=$root/build/packages-$group.stamp
        [[ $stamp -nt $root/scripts/packages && $stamp -nt /var/lib/dpkg/status ]] || holds=
    done
    [[ -z $holds ]] || return 0

    if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
        say "This system has no apt-get: the packages of scripts/packages are taken to be installed."
    else
        local packages missing
        packages_of "$@"
        missing_packages
        if ((${#missing[@]})); then
            install_packages "${missing[@]}"
            missing_packages
            ((!${#missing[@]})) || fail "These packages are still missing: ${missing[*]}"
        fi
    fi

    # A checkout that somebody else owns and has built may be used without writing into it.
    mkdir -p "$root/build" 2>/dev/null || true
    for group; do
        touch "$root/build/packages-$group.stamp" 2>/dev/null || true
    done
}

# Standard input is closed off: it belongs to the command, and sudo asks for a password at the terminal.
install_packages() {
    local install=(apt-get install -y -qq --no-install-recommends -o Dpkg::Use-Pty=0)
    install+=(-o DPkg::Lock::Timeout=600 "$@")
    if ((EUID != 0)) && ! command -v sudo >/dev/null; then
        fail "These packages are missing: $*
There is no sudo here; as root, run: apt-get install --no-install-recommends $*"
    fi
    say "Installing: $*"
    # Hundreds of lines that matter to nobody unless it fails.
    local output
    output=$(as_root env DEBIAN_FRONTEND=noninteractive apt-get update -qq </dev/null 2>&1 9<&-) ||
        say "$output" "apt-get update failed; going on with the lists that are there."
    output=$(as_root env DEBIAN_FRONTEND=noninteractive "${install[@]}" </dev/null 2>&1 9<&-) ||
        fail "$output" "
The installation failed; as root, run: apt-get install --no-install-recommends $*"
}

# configure PRESET: ninja runs cmake again when a CMakeLists.txt changed; what it does not see is a changed
# preset and a repository that was moved, whose cache cmake refuses.
configure() {
    local directory=$root/build/$1 configured=
    local stamp=$directory/configured-for
    if [[ -f $directory/build.ninja && $stamp -nt $root/CMakePresets.json ]]; then
        IFS= read -r configured <"$stamp" || true
        [[ $configured != "$root" ]] || return 0
    fi
    if [[ -f $directory/CMakeCache.txt ]] &&
        ! grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$root" "$directory/CMakeCache.txt"; then
        rm -rf -- "$directory"
    fi
    say "Configuring $1"
    (cd "$root" && cmake --preset "$1" --log-level=WARNING </dev/null 9<&- >&2) ||
        fail "Configuring $1 failed."
    printf '%s\n' "$root" >"$stamp"
}

# build PRESET [TARGET...]: a dry run answers whether there is anything to do; only then is ninja run with
# its progress shown.
build() {
    local preset=$1 work
    shift
    work=$(ninja -C "$root/build/$preset" -n "$@" 2>&1 9<&-) || true
    [[ $work != *"ninja: no work to do."* ]] || return 0
    say "Building $preset"
    "${launcher[@]}" ninja -C "$root/build/$preset" "$@" </dev/null 9<&- >&2 ||
        fail "Building $preset failed."
}

# Words put before a build and its tests, see sanitizer_settings.
launcher=()

# prepare PRESET GROUPS [TARGET...]: packages, configuration and build, under a lock per preset, so that
# two commands started at once do not build at once. The lock's file is opened for reading, which suffices
# for flock and works in a checkout that is not ours to write.
prepare() {
    local preset=$1 groups=$2
    local lock=$root/build/$preset.lock
    shift 2
    if [[ ! -e $lock ]]; then
        mkdir -p "$root/build"
        : >>"$lock"
    fi
    {
        if ! flock -w 5 9; then
            say "Waiting for another build of $preset to end."
            flock 9
        fi
        # shellcheck disable=SC2086 # one word is one group
        require_packages $groups
        configure "$preset"
        build "$preset" "$@"
    } 9<"$lock"
}

# sanitizer_settings: strict options for whatever is built with a sanitizer; no suppressions. What the
# caller has set comes last and wins. The thread sanitizer needs the usual address layout, which kernels
# with much randomisation do not give; where the switch is not permitted, it runs as it is.
sanitizer_settings() {
    local strict=halt_on_error=1:detect_leaks=1:strict_string_checks=1:detect_stack_use_after_return=1
    strict+=:check_initialization_order=1:strict_init_order=1
    export ASAN_OPTIONS="$strict:${ASAN_OPTIONS-}"
    export UBSAN_OPTIONS="halt_on_error=1:print_stacktrace=1:${UBSAN_OPTIONS-}"
    export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1:${TSAN_OPTIONS-}"
    if [[ $1 == thread ]] && setarch -R true 2>/dev/null; then
        launcher=(setarch -R)
    fi
}

# list_files PATTERN...: the files of the repository, tracked or new but not ignored, each ended by a zero
# byte, relative to the root. Without git (an unpacked archive) everything outside build/.
list_files() {
    (
        cd "$root"
        if git rev-parse --is-inside-work-tree >/dev/null 2>&1; then
            git ls-files -z --cached --others --exclude-standard -- "$@"
        else
            local pattern names=(-false)
            for pattern; do
                names+=(-o -name "$pattern")
            done
            find . -path ./build -prune -o -path ./.git -prune -o -type f \( "${names[@]}" \) -printf '%P\0'
        fi
    ) | while IFS= read -r -d '' file; do
        # A file that was deleted but not committed is still listed.
        [[ ! -f $root/$file ]] || printf '%s\0' "$file"
    done
}
