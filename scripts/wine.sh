# Sourced by the scripts that run programs under wine.

# make_windows ARCHITECTURE PREFIX: makes a fresh Windows there, for all that the calling shell runs under wine from now
# on. `limit` is in seconds.
make_windows() {
    # Without the programs that would bring a browser or another runtime in.
    export WINEARCH=$1 WINEPREFIX=$2 WINEDEBUG=-all WINEDLLOVERRIDES="mscoree=d;mshtml=d;winemenubuilder.exe=d"
    export LC_ALL=C.UTF-8 # names of files beyond ASCII
    unset DISPLAY         # nothing may ask a person
    rm -rf "$WINEPREFIX"
    timeout "$limit" wine wineboot -i >/dev/null 2>&1
    wineserver -w # its service manager goes with it; what comes gets a fresh one
}
