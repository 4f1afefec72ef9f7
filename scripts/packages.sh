# Debian packages: which ones each command needs, installing them, and unpacking the sources that the
# cross build compiles. Read by ./dev, whose helpers it uses.

base_packages=(g++ cmake ninja-build pkg-config libpugixml-dev libcurl4-openssl-dev libsqlite3-dev
    googletest libbenchmark-dev libcli11-dev libcpp-httplib-dev nlohmann-json3-dev python3 openssl)
clang_packages=(clang)
fuzz_packages=(libclang-rt-14-dev libexpat1-dev)
check_packages=(clang clang-format clang-tidy cppcheck gcc spin abigail-tools mandoc)
docs_packages=(doxygen)
peer_packages=(nginx-light python3-jsonschema rsyslog rsyslog-relp snmp snmptrapd smitools prometheus
    prometheus-alertmanager logrotate mosquitto mosquitto-clients)
web_packages=(chromium nodejs)
package_packages=(clang lld llvm make file unzip git)
bench_packages=(libspdlog-dev rapidjson-dev gnuplot-nox liblog4cplus-dev libboost-log-dev libpoco-dev
    libsnmp-dev linux-perf)
windows_packages=(g++-mingw-w64-x86-64-posix binutils-mingw-w64-x86-64 wine64 dpkg-dev gcc make
    tcl)

installed() {
    [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

need() {
    local missing=() as_root=() package
    for package in "$@"; do
        installed "$package" || missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    heading "Installing ${missing[*]}"
    if [ "$(id -u)" != 0 ]; then
        command -v sudo >/dev/null || fail "neither root nor sudo here; please install these"
        as_root=(sudo)
    fi
    local apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q -y
        -o DPkg::Lock::Timeout=300 -o Dpkg::Use-Pty=0)
    quietly "${apt[@]}" update
    forbid_services "${as_root[@]}"
    quietly "${apt[@]}" install --no-install-recommends "${missing[@]}"
    allow_services "${as_root[@]}"
}

# Packages of servers would start them; the tests start their own, on loopback. The file that says
# so to Debian's package scripts is only ours if nobody has one.
policy=/usr/sbin/policy-rc.d
policy_is_ours=
forbid_services() {
    [ ! -e "$policy" ] || return 0
    policy_is_ours=1
    printf '#!/bin/sh\nexit 101\n' | "$@" tee "$policy" >/dev/null
    "$@" chmod +x "$policy"
}
allow_services() {
    [ -z "$policy_is_ours" ] || "$@" rm -f "$policy"
    policy_is_ours=
}

# The machine's package sources with "deb" turned into "deb-src", in a folder of our own. Suites,
# mirrors and keys stay what they are, and the machine's settings are not touched.
write_source_entries() {
    local folder=$1 file
    for file in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
        [ -f "$file" ] || continue
        awk '($1 == "deb" || $1 == "deb-src") && !/[ \t]cdrom:/ { $1 = "deb-src"; print }' "$file"
    done | sort -u >"$folder/machine.list"
    for file in /etc/apt/sources.list.d/*.sources; do
        [ -f "$file" ] || continue
        awk 'tolower($1) == "types:" { print "Types: deb-src"; next } { print }' "$file" \
            >"$folder/${file##*/}"
    done
}

# Unpacks a source package to build/deps/NAME, patched as the distribution has it.
unpack_source() {
    local name=$1 work=$root/build/deps/apt target=$root/build/deps/$1
    [ ! -e "$target" ] || return 0
    heading "Fetching the source of $name"
    rm -rf -- "$work"
    mkdir -p -- "$work/sources" "$work/lists/partial" "$work/cache/archives/partial" \
        "$work/unpacked"
    write_source_entries "$work/sources"
    local apt=(apt-get -q -o Dir::Etc::SourceList=/dev/null
        -o "Dir::Etc::SourceParts=$work/sources" -o "Dir::State::Lists=$work/lists"
        -o "Dir::Cache=$work/cache" -o "APT::Sandbox::User=$(id -un)")
    quietly "${apt[@]}" update
    (cd -- "$work/unpacked" && "${apt[@]}" source "$name") >"$work/source.log" 2>&1 || {
        cat "$work/source.log" >&2
        fail "no source package of $name from the machine's own package sources"
    }
    mv -- "$work/unpacked"/*/ "$target"
    rm -rf -- "$work"
}

# Headers that need no compiling serve the cross build too. They are linked one by one: the folder
# that they lie in holds this machine's own headers as well.
link_headers() {
    local name
    mkdir -p build/deps/include
    for name in "$@"; do
        ln -sfn -- "/usr/include/$name" "build/deps/include/$name"
    done
}

# SQLite's sources as the one file that its users compile.
make_sqlite() {
    local source=build/deps/sqlite3
    [ ! -e "$source/sqlite3.c" ] || return 0
    heading "Putting SQLite's source together"
    quietly env -C "$source" ./configure --disable-tcl --disable-load-extension
    quietly make -C "$source" sqlite3.c
}
