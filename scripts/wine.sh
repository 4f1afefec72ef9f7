# Wine for the Windows build's programs. Read by ./dev, whose helpers it uses.

wine=/usr/lib/wine/wine64

# A prefix of the project's own, and one server for the whole run: starting it anew for every test
# program costs seconds. The first program of a server starts Wine's services, which keep its error
# output open for good; quietly gives them a file, so that nobody waits for the end of a pipe.
start_wine() {
    export WINEPREFIX=$root/build/wine WINEARCH=win64 WINEDEBUG=-all WINEDLLOVERRIDES=mscoree,mshtml=
    export WINESERVER=/usr/lib/wine/wineserver64
    export LC_ALL=C.UTF-8 # Wine takes the encoding of file names from it
    trap 'stop_wine' EXIT
    if [ -e "$WINEPREFIX/ready" ]; then
        "$WINESERVER" -p
        quietly "$wine" cmd /c exit
        return
    fi
    heading "Creating the Wine prefix"
    rm -rf -- "$WINEPREFIX"
    mkdir -p -- "$WINEPREFIX"
    "$WINESERVER" -p
    quietly "$wine" wineboot -i
    quietly "$wine" reg add 'HKCU\Software\Wine\WineDbg' /v ShowCrashDialog /t REG_DWORD /d 0 /f
    touch "$WINEPREFIX/ready"
}

stop_wine() {
    "$WINESERVER" -k || true
    "$WINESERVER" -w || true
}
