#!/bin/sh
# exported_names.sh LIBRARY NAMES: the library exports exactly the names of the list.
set -eu
nm -D --defined-only "$1" | awk '{ print $3 }' | LC_ALL=C sort >exported_names.found
LC_ALL=C sort "$2" >exported_names.expected
diff exported_names.expected exported_names.found
[ "$(wc -l <exported_names.found)" -eq 23 ]
