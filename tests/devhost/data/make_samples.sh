#!/bin/sh
# Makes the small executables of this folder from sample.c and tables.c, in the folder it is called from. They are
# checked in because tests cannot count on every linker; Debian's clang-14, lld-14 and llvm-14 made them, and lld-16 the
# last one.
set -eu
data=$(dirname "$0")
source=$data/sample.c
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

# With tables of functions: not for the first one, so that nothing but the code tells.
windows() { # <name> <target> <machine of the import library> <further options of the linker>
  name=$1 target=$2 machine=$3
  shift 3
  clang -O1 -fvisibility=hidden -fno-ident --target="$target" -c "$source" -o sample.obj
  llvm-dlltool -m "$machine" -d other.def -l other.lib
  lld-link /entry:begin /subsystem:console /nodefaultlib /timestamp:0 "$@" /out:"$name" sample.obj other.lib
}
windows sample_pdata.exe x86_64-pc-windows-msvc i386:x86-64 /dynamicbase
windows sample_arm64.exe aarch64-pc-windows-msvc arm64
windows sample_x86.exe i686-pc-windows-msvc i386 /safeseh:no

$compile --target=x86_64-apple-macos11 -c "$source" -o sample.o
"$ld64_lld" -arch x86_64 -platform_version macos 11.0 11.0 -dylib -undefined dynamic_lookup \
  -o sample_x86_64.dylib sample.o
$compile --target=arm64-apple-macos11 -c "$source" -o sample.o
"$ld64_lld" -arch arm64 -platform_version macos 11.0 11.0 -dylib -undefined dynamic_lookup \
  -o sample_arm64.dylib sample.o
/usr/lib/llvm-14/bin/llvm-lipo -create sample_x86_64.dylib sample_arm64.dylib -output sample_universal.dylib

$compile --target=x86_64-apple-macos13 -c "$data/tables.c" -o sample.o
/usr/lib/llvm-16/bin/ld64.lld -arch x86_64 -platform_version macos 13.0 13.0 -dylib -undefined dynamic_lookup \
  -fixup_chains -o sample_chained_fixups.dylib sample.o
rm -f sample.obj other.def other.lib sample.o sample_x86_64.lib sample_pdata.lib sample_arm64.lib sample_x86.lib
