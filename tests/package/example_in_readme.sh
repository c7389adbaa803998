#!/bin/sh
# example_in_readme.sh README EXAMPLE: the C program of the README is the example, line by line.
set -eu
awk '/^```c$/ { inside = 1; next } /^```$/ { inside = 0 } inside' "$1" | diff - "$2"
