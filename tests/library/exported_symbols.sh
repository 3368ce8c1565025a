#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# Compares what a shared library exports with a checked-in list, so that nothing gets in or out unnoticed.
# Usage: exported_symbols.sh LIBRARY LIST; with RENEW=1 in the environment the list is written instead.
set -eu
export LC_ALL=C
library=$1
list=$2

# Strong symbols only: which weak ones (templates, inline functions) there are depends on the optimizer. The sanitizers'
# own are left out.
exported() {
  nm --dynamic --defined-only --demangle "$library" |
    sed -nE 's/^[0-9a-f]+ [TDBRi] //p' | grep -vE '^__odr_asan|^_init$|^_fini$' | sort -u
}

if [ "${RENEW:-}" = 1 ]; then
  exported > "$list"
  exit
fi
if ! exported | diff -u --label "$list" --label "$library" "$list" -; then
  echo "The library exports other symbols (+) than the list names (-). If that is meant, renew the list:"
  echo "  RENEW=1 $0 $library $list"
  exit 1
fi
