# ./dev package and ./dev test packages: packages of what is installed, and a stranger's program built
# and run on each of them. Read by ./dev, whose helpers it uses.

packages=$root/build/packages
consumers=$root/build/consumers

# The same commit makes the same packages: what is packed bears the commit's time.
stamp_packages() {
    SOURCE_DATE_EPOCH=$(git log -1 --format=%ct 2>/dev/null || date +%s)
    export SOURCE_DATE_EPOCH
}

package() {
    local preset
    stamp_packages
    rm -rf -- "$packages"
    for preset in package windows; do
        build "$preset" zvevent_installed
        heading "Packing $preset"
        quietly cpack --config "build/$preset/CPackConfig.cmake" -B "$packages"
    done
    rm -rf -- "$packages/_CPack_Packages"
    ls -l "$packages"
}

# --- A stranger's program on each form ---------------------------------------------------------------

# Runs a consumer (the words are its command) in the current folder, and holds what it prints against
# what the event of its source becomes.
run_consumer() {
    heading "Running ${*: -1}"
    rm -f consumer.csv
    cp -- "$root/tests/consumer/consumer.xml" .
    "$@" </dev/null >output.txt || { cat output.txt; fail "the consumer failed"; }
    tr -d '\r' <output.txt | diff "$root/tests/consumer/expected.txt" - ||
        fail "the consumer printed something else"
}

# An empty folder for one form to be tried in.
fresh() {
    heading "$1"
    rm -rf -- "${consumers:?}/$2"
    mkdir -p -- "$consumers/$2"
    cd -- "$consumers/$2"
}

# Builds a target of the consumer project in a folder, by CMake and against an installed tree; the words
# after these three go to CMake.
consume_by_cmake() {
    local folder=$1 prefix=$2 target=$3
    shift 3
    quietly cmake -G Ninja -S "$root/tests/consumer" -B "$folder" -DCMAKE_BUILD_TYPE=Release \
        -DCMAKE_PREFIX_PATH="$prefix" "$@"
    quietly cmake --build "$folder" --target "$target"
}

# The same with both consumers by pkg-config and make, in the folder "make".
consume_by_make() {
    local pkgconfig
    pkgconfig=$(dirname -- "$(find "$PWD/$1" -name zvEvent.pc)")
    mkdir make
    quietly env PKG_CONFIG_PATH="$pkgconfig" make -C make -f "$root/tests/consumer/Makefile"
}

try_install() {
    build release zvevent_installed
    fresh "The installed library, moved elsewhere" installed
    quietly cmake --install "$root/build/release" --prefix "$PWD/first"
    mv first moved
    consume_by_cmake cmake "$PWD/moved" all
    run_consumer cmake/consumer_c
    run_consumer cmake/consumer_cpp
    consume_by_make moved
    run_consumer env LD_LIBRARY_PATH=moved/lib make/consumer_c
    run_consumer env LD_LIBRARY_PATH=moved/lib make/consumer_cpp
    moved/bin/zvevent --version
    heading "docs/install.md, as it says"
    python3 -B "$root/tests/handbook/run_pages.py" "$root" docs/install.md
}

try_zip() {
    fresh "The ZIP file, by mingw-w64" zip
    unzip -q "$packages"/zvEvent-*-windows-x64.zip
    mv zvEvent-*-windows-x64 zvEvent
    local compiler=x86_64-w64-mingw32
    consume_by_cmake cmake "$PWD/zvEvent" all -DCMAKE_SYSTEM_NAME=Windows \
        -DCMAKE_EXE_LINKER_FLAGS=-static -DCMAKE_C_COMPILER=$compiler-gcc-posix \
        -DCMAKE_CXX_COMPILER=$compiler-g++-posix
    cp cmake/consumer_*.exe zvEvent/bin
    run_consumer "$wine" zvEvent/bin/consumer_c.exe
    run_consumer "$wine" zvEvent/bin/consumer_cpp.exe
    "$wine" zvEvent/bin/zvevent.exe --version

    heading "The ZIP file, as docs/install.md says without CMake"
    cp -- "$root/examples/cpp/first_event.cpp" .
    quietly bash -e <(sed -n '/^x86_64-w64-mingw32-g++/,/^```/{/^```/!p}' "$root/docs/install.md")
    mv first_event.exe zvEvent/bin
    touch events.xml
    "$wine" zvEvent/bin/first_event.exe

    heading "The ZIP file, in the form of Visual C++"
    local source=$root/tests/consumer/msvc target=x86_64-pc-windows-msvc
    quietly clang --target=$target -Wall -Wextra -Werror -c "$source/start.c" -o start.obj
    quietly llvm-dlltool -m i386:x86-64 -d "$source/msvcrt.def" -l msvcrt.lib
    consume_by_cmake visual "$PWD/zvEvent" consumer_c -DCMAKE_SYSTEM_NAME=Windows \
        -DCMAKE_C_COMPILER=clang -DCMAKE_C_COMPILER_TARGET=$target -DCMAKE_CXX_COMPILER=clang++ \
        -DCMAKE_CXX_COMPILER_TARGET=$target -DCMAKE_TRY_COMPILE_TARGET_TYPE=STATIC_LIBRARY \
        -DCMAKE_C_FLAGS="-Werror -I$source" \
        -DCMAKE_C_STANDARD_LIBRARIES="$PWD/start.obj $PWD/msvcrt.lib" \
        -DCMAKE_EXE_LINKER_FLAGS="-Xlinker /entry:mainCRTStartup"
    grep -q 'zvEvent/lib/zvEvent\.lib' visual/build.ninja || fail "not linked by zvEvent.lib"
    cp visual/consumer_c.exe zvEvent/bin/consumer_msvc.exe
    run_consumer "$wine" zvEvent/bin/consumer_msvc.exe
    local name
    for name in pugixml libcurl SQLite mingw-w64 'libgcc and libstdc++' CLI11 nlohmann-json \
        cpp-httplib uPlot; do
        grep -qx "## $name" zvEvent/share/zvevent/THIRD-PARTY.md || fail "no notice of $name"
    done
    llvm-pdbutil dump -publics zvEvent/bin/zvEvent.pdb | grep -F '`zvEventSubmit`' >/dev/null ||
        fail "the PDB does not know zvEventSubmit"
}

try_debian() {
    fresh "Debian's packages, unpacked into a folder" debian
    local file
    for file in "$packages"/*.deb; do dpkg-deb -x "$file" .; done
    consume_by_cmake cmake "$PWD/usr" all
    run_consumer cmake/consumer_cpp
    consume_by_make usr
    local libraries=(usr/lib/*-linux-gnu)
    run_consumer env LD_LIBRARY_PATH="${libraries[0]}" make/consumer_c
    run_consumer env LD_LIBRARY_PATH="${libraries[0]}" make/consumer_cpp
}

# Needs root for chroot, and the network for the packages that ours depend on.
try_bare() {
    [ "$(id -u)" = 0 ] || fail "a bare system to install into needs root"
    need debootstrap
    local kept=$root/build/deps/bare.tar
    if [ ! -e "$kept" ]; then
        heading "Fetching a bare Debian system with a compiler"
        rm -rf -- "$root/build/deps/bare"
        quietly debootstrap --variant=minbase --include=g++,make,pkg-config \
            "$(. /etc/os-release && echo "$VERSION_CODENAME")" "$root/build/deps/bare"
        tar -cf "$kept.new" -C "$root/build/deps/bare" .
        mv -- "$kept.new" "$kept"
        rm -rf -- "$root/build/deps/bare"
    fi
    fresh "Debian's packages, installed into a bare system and removed" bare
    tar -xf "$kept"
    cp /etc/resolv.conf etc
    mkdir -p srv/make
    cp "$packages"/*.deb "$root"/tests/consumer/consumer.* "$root"/tests/consumer/Makefile srv
    local apt="DEBIAN_FRONTEND=noninteractive apt-get -qy --no-install-recommends"
    quietly chroot . sh -c "apt-get -q update"
    find etc usr -xdev ! -name ld.so.cache | sort >before.txt

    quietly chroot . sh -c "$apt install /srv/libzvevent1_*.deb /srv/zvevent_*.deb"
    chroot . zvevent --version
    quietly chroot . sh -c "$apt install /srv/libzvevent-dev_*.deb"
    quietly chroot . make -C /srv/make -f /srv/Makefile
    run_consumer chroot . /srv/make/consumer_c
    run_consumer chroot . /srv/make/consumer_cpp

    [ "$(chroot . apt-get -s purge libzvevent1 | grep -c ^Purg)" = 3 ] ||
        fail "the tool or the development package does without the library"
    quietly chroot . sh -c "$apt purge libzvevent1 libzvevent-dev zvevent"
    quietly chroot . sh -c "$apt autoremove --purge"
    find etc usr -xdev ! -name ld.so.cache | sort | diff before.txt - ||
        fail "the packages left something behind"
}

# The forms named, or all but the bare system.
test_packages() {
    local form
    [ $# -gt 0 ] || set -- install debian zip
    need "${package_packages[@]}"
    for form in "$@"; do
        case $form in install | debian | zip | bare) ;; *) fail "no form named '$form'" ;; esac
    done
    [ "$*" = install ] || package
    for form in "$@"; do ("try_$form"); done
    heading "All forms passed"
}
