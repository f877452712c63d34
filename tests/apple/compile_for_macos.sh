#!/usr/bin/env bash
# Compiles sources for macOS, as far as a system without its SDK can: with clang for an Apple target, against libc++,
# Debian's C library and the declarations in macos/ and frameworks/. Warnings are errors.
#   compile_for_macos.sh SOURCE...       paths count from the project's folder
# Prints what fails; the last line says how many sources were compiled.
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)

flags=(
  -target arm64-apple-macos14 -std=c++23 -D_LIBCPP_ENABLE_EXPERIMENTAL
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wimplicit-fallthrough -Werror
  -nostdinc++ -nostdlibinc -isystem /usr/lib/llvm-19/include/c++/v1
  -isystem "$here/macos" -idirafter /usr/aarch64-linux-gnu/include -idirafter /usr/include
  # Apple's compiler has a word that Debian's C library uses for something else, and hides what is not plain C.
  -U__nonnull -D_GNU_SOURCE
  -include "$here/macos/darwin_additions.h"
  -I"$root" -I"$root/src" -DTOVRIN_APP_GROUP='"group.com.tovrin"'
)
objc_flags=(
  -fobjc-arc -fblocks -I"$root/apple" -isystem "$here/frameworks"
  -Wnullable-to-nonnull-conversion -Wnullability-completeness -Wunguarded-availability
  -Wmethod-signatures -Woverriding-method-mismatch -Wselector
)

compile() {
  local command=(clang++-19 -fsyntax-only "${flags[@]}")
  if [[ $1 == *.mm ]]; then command+=("${objc_flags[@]}"); fi
  "${command[@]}" "$root/$1" || { echo "does not compile for macOS: $1" >&2; return 1; }
}

# As many at a time as there are processors.
failed=0 running=0
for source in "$@"; do
  if [ "$running" -ge "$(nproc)" ]; then
    wait -n || failed=$((failed + 1))
    running=$((running - 1))
  fi
  compile "$source" &
  running=$((running + 1))
done
while [ "$running" -gt 0 ]; do
  wait -n || failed=$((failed + 1))
  running=$((running - 1))
done

echo "$(($# - failed)) of $# sources compile for macOS"
[ "$failed" -eq 0 ]
