#!/bin/sh
# Makes the small executables of this folder from sample.c, in the folder it is called from. They are checked in
# because tests cannot count on every linker; Debian's clang-14, lld-14 and llvm-14 made them.
set -eu
source=$(dirname "$0")/sample.c
# Debian installs it under its folder's name only.
ld64_lld=/usr/lib/llvm-14/bin/ld64.lld
compile="clang -O1 -fvisibility=hidden -fno-asynchronous-unwind-tables -fno-ident"

elf() { # <name> <target> <further options>
  name=$1 target=$2
  shift 2
  $compile --target="$target" -fPIC -nostdlib -shared -fuse-ld=lld -Wl,-e,begin -Wl,--build-id=none \
    "$@" "$source" -o "$name"
}
elf sample_x86_64.elf x86_64-linux-gnu
elf sample_x86.elf i386-linux-gnu
elf sample_arm64.elf aarch64-linux-gnu
elf sample_arm.elf armv7a-linux-gnueabihf -marm
elf sample_thumb.elf armv7a-linux-gnueabihf -mthumb
llvm-strip -o sample_arm64_stripped.elf sample_arm64.elf

$compile --target=x86_64-pc-windows-msvc -c "$source" -o sample.obj
printf 'LIBRARY other.dll\nEXPORTS\nimported\n' > other.def
llvm-dlltool -m i386:x86-64 -d other.def -l other.lib
lld-link /entry:begin /subsystem:console /nodefaultlib /timestamp:0 /out:sample_x86_64.exe sample.obj other.lib

$compile --target=x86_64-apple-macos11 -c "$source" -o sample.o
"$ld64_lld" -arch x86_64 -platform_version macos 11.0 11.0 -dylib -undefined dynamic_lookup \
  -o sample_x86_64.dylib sample.o
$compile --target=arm64-apple-macos11 -c "$source" -o sample.o
"$ld64_lld" -arch arm64 -platform_version macos 11.0 11.0 -dylib -undefined dynamic_lookup \
  -o sample_arm64.dylib sample.o
rm -f sample.obj other.def other.lib sample.o sample_x86_64.lib
