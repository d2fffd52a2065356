#!/usr/bin/env bash
# One step of the install checks (tests/install/CMakeLists.txt names them): install_check.sh STEP
# The environment gives SOURCE_DIR, BUILD_DIR, WORK_DIR, CMAKE_COMMAND, CPACK_COMMAND, CC,
# INSTALL_LIBDIR, SANITIZE_FLAGS and PATTERN_SERVER. Prints what went wrong and exits 1.
set -euo pipefail

step="$1"
prefix="$WORK_DIR/prefix"
libdir="$prefix/$INSTALL_LIBDIR"
examples="$prefix/share/doc/PlayerSDK/examples"
expected="$SOURCE_DIR/tests/install/expected"
mkdir -p "$WORK_DIR"

fail() {
    echo "FAILED: $*" >&2
    exit 1
}

# The pattern server: started on a free port, stopped by its pid when the step ends.
server_pid=""
stop_server() {
    if [ -n "$server_pid" ]; then
        kill "$server_pid" 2>/dev/null || true
        wait "$server_pid" 2>/dev/null || true
        server_pid=""
    fi
}
trap stop_server EXIT
start_server() {
    local out="$WORK_DIR/server-$step.url"
    : >"$out"
    "$PATTERN_SERVER" >"$out" &
    server_pid=$!
    for _ in $(seq 100); do
        [ -s "$out" ] && break
        sleep 0.1
    done
    url="$(head -n 1 "$out")"
    [ -n "$url" ] || fail "the pattern server printed no URL"
}

# A loopback port nobody listens on: the connection is refused at once.
closed_port() {
    local port
    for port in $(shuf -i 20000-60000 -n 50); do
        if ! (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null; then
            echo "$port"
            return 0
        fi
    done
    fail "no closed loopback port found"
}

# Paths one a line, the library folder written LIBDIR and the build type of the CMake
# package's per-configuration file written CONFIG.
normalize() {  # libdir
    sed -e "s|^$1/|LIBDIR/|" -e 's|PlayerSDKTargets-[a-z]*\.cmake$|PlayerSDKTargets-CONFIG.cmake|' |
        LC_ALL=C sort
}

# The regular files and links below a folder.
listing() {  # folder libdir
    (cd "$1" && find . -type f -o -type l) | sed -e 's|^\./||' | normalize "$2"
}

same_listing() {  # expected-file actual-listing-file
    diff -u "$1" "$2" || fail "the files differ from $(basename "$1") (- expected, + found)"
}

deb_of() {
    ls "$WORK_DIR"/debs/"$1"_*.deb 2>/dev/null | head -n 1
}

build_examples_cmake() {  # prefix-path build-dir source-dir
    "$CMAKE_COMMAND" -S "$3" -B "$2" -DCMAKE_PREFIX_PATH="$1" \
        -DCMAKE_C_COMPILER="$CC" -DCMAKE_C_FLAGS="-Werror $SANITIZE_FLAGS" \
        -DCMAKE_EXE_LINKER_FLAGS="$SANITIZE_FLAGS" >"$2.log" 2>&1 ||
        { cat "$2.log"; fail "configuring the examples against $1"; }
    "$CMAKE_COMMAND" --build "$2" >>"$2.log" 2>&1 ||
        { cat "$2.log"; fail "building the examples against $1"; }
}

expect_connect_error() {  # program
    local port rc=0
    port="$(closed_port)"
    "$1" "rtsp://127.0.0.1:$port/live" 2 >"$WORK_DIR/$step.out" 2>&1 || rc=$?
    cat "$WORK_DIR/$step.out"
    [ "$rc" -eq 2 ] || fail "exit status $rc, expected 2 (the play failed)"
    grep -q NOTIFY_CONNECT_ERROR "$WORK_DIR/$step.out" || fail "no NOTIFY_CONNECT_ERROR printed"
}

case "$step" in
install)
    rm -rf "$prefix"
    "$CMAKE_COMMAND" --install "$BUILD_DIR" --prefix "$prefix" >"$WORK_DIR/install.log" ||
        fail "cmake --install"
    listing "$prefix" "$INSTALL_LIBDIR" >"$WORK_DIR/prefix.txt"
    same_listing "$expected/prefix.txt" "$WORK_DIR/prefix.txt"
    ;;
sonames)
    for lib in libPlayerSDK.so.2.6.0:libPlayerSDK.so.2 libPlayerDecoder.so.1.0.0:libPlayerDecoder.so.1; do
        file="${lib%%:*}"
        soname="${lib##*:}"
        readelf -d "$libdir/$file" | grep -q "(SONAME).*\[$soname\]" ||
            fail "$file does not carry the SONAME $soname"
    done
    readelf -d "$libdir/libPlayerSDK.so.2.6.0" | grep -q '(NEEDED).*\[libPlayerDecoder.so.1\]' ||
        fail "libPlayerSDK.so does not ask for libPlayerDecoder.so.1"
    ;;
demo)
    rm -rf "$WORK_DIR/demo-out"
    env -u LD_LIBRARY_PATH "$prefix/bin/playersdk-demo" --seconds 1 --out "$WORK_DIR/demo-out" ||
        fail "the installed demo exited with $?"
    ;;
build-pkgconfig)
    rm -rf "$WORK_DIR/examples-pc"
    cp -r "$examples" "$WORK_DIR/examples-pc"
    PKG_CONFIG_PATH="$libdir/pkgconfig" make -C "$WORK_DIR/examples-pc" CC="$CC" \
        CFLAGS="-O1 -g -Werror $SANITIZE_FLAGS" LDFLAGS="$SANITIZE_FLAGS -Wl,-rpath,$libdir" ||
        fail "building the examples through pkg-config"
    ;;
play-live)
    start_server
    rc=0
    "$WORK_DIR/examples-pc/play_url" "$url" 3 >"$WORK_DIR/$step.out" 2>&1 || rc=$?
    cat "$WORK_DIR/$step.out"
    [ "$rc" -eq 0 ] || fail "play_url exited with $rc"
    grep -q NOTIFY_CONNECT_SUCCESS "$WORK_DIR/$step.out" || fail "no NOTIFY_CONNECT_SUCCESS"
    grep -Eq ': [1-9][0-9]* frames/s' "$WORK_DIR/$step.out" || fail "no frames counted"
    ;;
build-cmake)
    rm -rf "$WORK_DIR/examples-cmake"
    build_examples_cmake "$prefix" "$WORK_DIR/examples-cmake" "$examples"
    ;;
play-refused)
    expect_connect_error "$WORK_DIR/examples-cmake/play_url"
    ;;
record)
    rm -rf "$WORK_DIR/recordings"
    start_server
    rc=0
    "$WORK_DIR/examples-cmake/record_and_play" "$url" "$WORK_DIR/recordings/live.rec" 2 \
        >"$WORK_DIR/$step.out" 2>&1 || rc=$?
    cat "$WORK_DIR/$step.out"
    [ "$rc" -eq 0 ] || fail "record_and_play exited with $rc"
    grep -q "played to the end" "$WORK_DIR/$step.out" || fail "the recording did not play back"
    ;;
grab)
    rm -rf "$WORK_DIR/pictures"
    start_server
    "$WORK_DIR/examples-cmake/grab_pictures" "$url" "$WORK_DIR/pictures" 3 ||
        fail "grab_pictures exited with $?"
    pictures=0
    for picture in "$WORK_DIR"/pictures/picture-*.jpg; do
        [ -f "$picture" ] || continue
        [ "$(head -c 3 "$picture" | od -An -tx1 | tr -d ' ')" = ffd8ff ] ||
            fail "$picture is not a JPEG file"
        pictures=$((pictures + 1))
    done
    [ "$pictures" -gt 0 ] || fail "no picture written"
    ;;
subdirectory)
    rm -rf "$WORK_DIR/subproject"
    "$CMAKE_COMMAND" -S "$SOURCE_DIR/tests/install/subproject" -B "$WORK_DIR/subproject" \
        -DPLAYERSDK_SOURCE="$SOURCE_DIR" -DCMAKE_C_COMPILER="$CC" >"$WORK_DIR/subproject.log" 2>&1 ||
        { cat "$WORK_DIR/subproject.log"; fail "configuring a project that adds PlayerSDK"; }
    "$CMAKE_COMMAND" --build "$WORK_DIR/subproject" --target print_version -j 2 \
        >>"$WORK_DIR/subproject.log" 2>&1 ||
        { tail -n 50 "$WORK_DIR/subproject.log"; fail "building it"; }
    [ "$("$WORK_DIR/subproject/print_version")" = "2.6.0.1" ] ||
        fail "the program built with add_subdirectory printed another version"
    ;;
packages)
    rm -rf "$WORK_DIR/debs"
    "$CPACK_COMMAND" -G DEB --config "$BUILD_DIR/CPackConfig.cmake" -B "$WORK_DIR/debs" \
        >"$WORK_DIR/cpack.log" 2>&1 || { cat "$WORK_DIR/cpack.log"; fail "cpack -G DEB"; }
    for package in libplayersdk2 libplayersdk-dev playersdk-tools; do
        [ -n "$(deb_of $package)" ] || fail "no $package package"
    done
    dpkg-deb --field "$(deb_of libplayersdk-dev)" Depends | grep -q 'libplayersdk2 (= ' ||
        fail "the -dev package does not depend on the runtime package of its version"
    ;;
contents-*)
    package="${step#contents-}"
    deb="$(deb_of "$package")"
    [ -n "$deb" ] || fail "no $package package"
    dpkg-deb --contents "$deb" | awk '$1 !~ /^d/ {print $6}' | sed -e 's|^\./usr/||' |
        normalize "$INSTALL_LIBDIR" >"$WORK_DIR/$package.txt"
    same_listing "$expected/$package.txt" "$WORK_DIR/$package.txt"
    ;;
unpacked-build)
    rm -rf "$WORK_DIR/root" "$WORK_DIR/examples-deb"
    for package in libplayersdk2 libplayersdk-dev; do
        dpkg -x "$(deb_of $package)" "$WORK_DIR/root"
    done
    build_examples_cmake "$WORK_DIR/root/usr" "$WORK_DIR/examples-deb" \
        "$WORK_DIR/root/usr/share/doc/PlayerSDK/examples"
    expect_connect_error "$WORK_DIR/examples-deb/play_url"
    ;;
*)
    fail "unknown step $step"
    ;;
esac
