#!/usr/bin/env bash
# The examples built by GNU make from the fragments brisk generates, with
# make rerunning brisk when a configuration file changes.
#   workflow.sh BRISK SOURCE_DIR
# Exits 77 (skipped) when make or cc is missing.
set -euo pipefail
brisk=$(realpath "$1")
source_dir=$(realpath "$2")
for tool in make cc; do
    if ! command -v "$tool" >/dev/null; then
        echo "skipped: $tool is not installed"
        exit 77
    fi
done

work=$(mktemp -d "${TMPDIR:-/tmp}/brisk-make-XXXXXX")
trap 'rm -rf "$work"' EXIT
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }
expect() {  # expect WHAT WANT GOT
    if [ "$2" != "$3" ]; then fail "$1: expected [$2], got [$3]"; fi
}
stamps() { for f in "$@"; do stat -c '%n %Y.%y' "$f"; done; }
# Timestamps one second apart at least, whatever the file system's resolution.
tick() { sleep 1; }

# --- hello: regeneration on a touched and on a changed included file
cp -r "$source_dir/examples/hello" "$work/hello"
cd "$work/hello"
make -j2 BRISK="$brisk" >build.log 2>&1 || { cat build.log; fail "hello: first build"; }
expect "hello: first run" "hello, world" "$(./hello | head -1)"
expect "hello: depfile" "hello.mk: \\
    brisk.conf \\
    toolchain.conf" "$(cat hello.d)"

before=$(stamps main.o greet.o util.o version.o hello)
tick
touch toolchain.conf
make -j2 BRISK="$brisk" >touch.log 2>&1 || { cat touch.log; fail "hello: make after touch"; }
grep -q -- "-M hello.d -o hello.mk brisk.conf" touch.log || fail "hello: touching an included file did not rerun brisk"
expect "hello: nothing rebuilt after a touch" "$before" "$(stamps main.o greet.o util.o version.o hello)"

before=$(stamps main.o util.o version.o)
tick
sed -i 's/^GREETING = hello$/GREETING = howdy/' toolchain.conf
make -j2 BRISK="$brisk" >change.log 2>&1 || { cat change.log; fail "hello: make after a change"; }
grep -q -- "-o greet.o src/greet.c" change.log || fail "hello: greet.o was not rebuilt"
expect "hello: only greet.o rebuilt" "$before" "$(stamps main.o util.o version.o)"
expect "hello: the change shows" "howdy, world" "$(./hello | head -1)"
make BRISK="$brisk" >again.log 2>&1
grep -q "Nothing to be done" again.log || { cat again.log; fail "hello: a third make still did work"; }

# --- firmware: toolchain along BRISK_PATH, several directories, an image
cp -r "$source_dir/examples/firmware" "$work/firmware"
cd "$work/firmware"
make -j2 BRISK="$brisk" >build.log 2>&1 || { cat build.log; fail "firmware: first build"; }
expect "firmware: run" "firmware 2.3 on host: boot ok, 4 vectors, tick 1
ready (crc 2995)
listening (crc 6eb5)" "$(./firmware)"
cmp -s firmware firmware-host.bin || fail "firmware: the image is not the program"
expect "firmware: summary" "firmware 2.3 for host: start.o vectors.o uart.o timer.o main.o crc.o messages.o" \
    "$(make -s BRISK="$brisk" summary)"
grep -q "targets/host.conf" firmware-host.d || fail "firmware: the toolchain file is not in the depfile"
grep -q "drivers/sources.conf" firmware-host.d || fail "firmware: a directory list is not in the depfile"

before=$(stamps start.o vectors.o uart.o timer.o main.o crc.o messages.o firmware)
tick
touch targets/host.conf
make -j2 BRISK="$brisk" >touch.log 2>&1 || { cat touch.log; fail "firmware: make after touch"; }
grep -q -- "-o firmware-host.mk firmware.conf" touch.log || fail "firmware: touching the toolchain did not rerun brisk"
expect "firmware: nothing rebuilt after a touch" "$before" \
    "$(stamps start.o vectors.o uart.o timer.o main.o crc.o messages.o firmware)"

tick
printf 'ready\nlistening\nstopped\n' >app/messages.txt
make -j2 BRISK="$brisk" >change.log 2>&1 || { cat change.log; fail "firmware: make after a change"; }
expect "firmware: a new message shows" "stopped (crc d0b5)" "$(./firmware | tail -1)"

# Another target: generated only (its compiler is not expected here).
BRISK_PATH=targets "$brisk" -D TARGET=cortex-m4 -o cortex.mk firmware.conf
grep -q "^CC = arm-none-eabi-gcc$" cortex.mk || fail "firmware: the cortex-m4 toolchain was not selected"
grep -q "^firmware-cortex-m4.bin: firmware$" cortex.mk || fail "firmware: no image rule for cortex-m4"

if [ "$failures" -ne 0 ]; then
    echo "$failures failure(s)"
    exit 1
fi
echo "make workflow: all checks passed"
