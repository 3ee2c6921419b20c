# Sourced by the other scripts: sees to the Debian packages that they need.

# need_packages PACKAGE...: installs what is missing with apt-get where that may be done. Where it may not, or
# where a package can't be had, it says what is missing and fails.
need_packages() {
    local missing=() package
    for package in "$@"; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q '^install ok installed$' || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    local run=()
    if [ "$(id -u)" -ne 0 ]; then
        if ! sudo -n true 2>/dev/null; then
            echo "Missing packages: ${missing[*]}" >&2
            echo "Install them with: apt-get install ${missing[*]}" >&2
            return 1
        fi
        run=(sudo -n)
    fi
    echo "Installing ${missing[*]}"
    if ! { "${run[@]}" apt-get update -qq &&
        "${run[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"; } \
        >/dev/null 2>&1; then
        echo "These packages are needed and could not be installed: ${missing[*]}" >&2
        return 1
    fi
}
