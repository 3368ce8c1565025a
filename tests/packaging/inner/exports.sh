#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# exports.sh LIBRARY: says whether it exports its own function, and not that of the library inside it.
set -eu
exported=$(nm --dynamic --defined-only "$1")
echo "$exported"
echo "$exported" | grep -q outerFunction
! echo "$exported" | grep -q innerFunction
