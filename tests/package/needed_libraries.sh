#!/bin/sh
# needed_libraries.sh LIBRARY: it needs nothing at run time but the runtimes of C and C++.
set -eu
needed=$(readelf -d "$1" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
echo "$needed"
[ -n "$needed" ]
others=$(echo "$needed" | grep -Ev '^(libc|libm|libstdc\+\+|libgcc_s|ld-linux[a-z0-9_-]*)\.so' || true)
[ -z "$others" ]
