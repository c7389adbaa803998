#!/bin/sh
# installed.sh CMAKE BUILD PREFIX INPUT EXPECTED: the installed program finds the installed library
# by itself, also after the whole prefix has moved, and its manual page lies where man looks.
set -eu
cmake=$1
build=$2
prefix=$3
input=$4
expected=$5

rm -rf "$prefix" "$prefix.moved"
"$cmake" --install "$build" --prefix "$prefix" >/dev/null
[ -f "$prefix/share/man/man1/wbx-decode.1" ]
[ -f "$prefix/share/zsh/site-functions/_wbx-decode" ]
# The completion knows every option that the help lists.
completion=$prefix/share/bash-completion/completions/wbx-decode
bash -n "$completion"
"$build/tools/wbx-decode" --help | grep -o -e '--[a-z-]*' | sort -u | while read -r option; do
  grep -q -e "$option" "$completion"
  sed 's/\\-/-/g' "$prefix/share/man/man1/wbx-decode.1" | grep -q -e "$option"
done
mv "$prefix" "$prefix.moved"
unset LD_LIBRARY_PATH
"$prefix.moved/bin/wbx-decode" "$input" - --format pam | cmp - "$expected"
rm -rf "$prefix.moved"
