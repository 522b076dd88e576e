# Sourced by demo and check: the packages they need, the steps they print.

# need PACKAGE...: installs what is missing, as root or through sudo, or says in one line what to install.
need() {
    local missing=() package
    for package in "$@"; do
        [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return
    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        if ! sudo -n true 2>/dev/null; then
            echo "missing packages; run as root: apt-get install ${missing[*]}" >&2
            exit 1
        fi
        as_root=(sudo -n)
    fi
    echo "installing ${missing[*]}"
    if ! "${as_root[@]}" apt-get -qq update || ! "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get -qq install -y --no-install-recommends "${missing[@]}" >/dev/null; then
        echo "cannot install; as root: apt-get install ${missing[*]}" >&2
        exit 1
    fi
}

BUILD_PACKAGES=(g++ cmake ninja-build pkg-config libedit-dev)
UNIT_PACKAGES=(util-linux procps sysvinit-utils busybox)
TEST_PACKAGES=(libgtest-dev googletest)
FULL_PACKAGES=(git g++-arm-linux-gnueabihf qemu-user clang-format clang-tidy abigail-tools doxygen)
FUZZ_PACKAGES=(clang libclang-rt-dev)
